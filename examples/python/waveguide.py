#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
# %% [markdown]
# From the store of the waveguide example to a Smith chart and the picture of a mode. Cells are marked
# as notebooks mark them; it runs as a script as well:
#
#     waveguide solve guide && python3 waveguide.py guide
#
# Needs matplotlib, SciPy and scikit-rf. The pictures are waveguide-smith.png and waveguide-mode.png.

# %%
from __future__ import annotations

import sys

import fieldstore
import matplotlib
import numpy as np
import skrf
from scipy.sparse import coo_matrix
from scipy.sparse.linalg import eigsh

matplotlib.use("Agg")
from matplotlib import pyplot as plt  # noqa: E402

store = fieldstore.open(sys.argv[1] if len(sys.argv) > 1 else "guide", fieldstore.Results)
print(store)

# %% [markdown]
# ## The guide as a network
# The matrices have the modes of port 0 and then those of port 1. Reflection and transmission of the
# first mode follow from rows and columns 0 and n/2, with 50 ohm at both ends.

# %%
network = store.matrices.network(z=(0, 1), z0=50)
own = [0, network.nports // 2]
s = network.s[:, own][:, :, own]
first = skrf.Network(frequency=network.frequency, s=s, z0=50, name="first mode")
print(first)

figure, axes = plt.subplots(figsize=(6, 6))
first.plot_s_smith(m=0, n=0, ax=axes, label="reflection, first mode")
figure.savefig("waveguide-smith.png", dpi=120)

# %% [markdown]
# ## The field of the first mode
# The store has the mesh: corners of the elements in the assembly data, positions of the nodes in the
# metrics. On linear triangles, K x = k^2 M x gives the field, and a cutoff to compare with the stored
# one, which is of higher order and so a little lower.

# %%
ids, positions = store.metrics.nodes
corners = store.assembly.nodes(1)
triangles = np.searchsorted(ids, corners.elements.reshape(-1, 3).astype(np.uint32))
x, y = positions[:, 0], positions[:, 1]

p = positions[triangles][:, :, :2]
edges = p[:, [2, 0, 1]] - p[:, [1, 2, 0]]  # each opposite to its corner
area = np.abs(edges[:, 0, 0] * edges[:, 1, 1] - edges[:, 0, 1] * edges[:, 1, 0]) / 2
stiffness = np.einsum("eik,ejk->eij", edges, edges) / (4 * area)[:, None, None]
mass = area[:, None, None] / 12 * (np.ones((3, 3)) + np.eye(3))
rows, columns = np.repeat(triangles, 3, axis=1).ravel(), np.tile(triangles, (1, 3)).ravel()
size = (len(ids), len(ids))
used = np.unique(triangles)
k = coo_matrix((stiffness.ravel(), (rows, columns)), size).tocsr()[used][:, used]
m = coo_matrix((mass.ravel(), (rows, columns)), size).tocsr()[used][:, used]
squares, fields = eigsh(k, 2, m, sigma=-1.0)  # the first is the constant field, which is no mode
cutoff = float(np.sqrt(squares[1]))
stored = store.metrics.values(4, 1, id=1).values[-1, 0]  # of the last pass
print(f"first cutoff {cutoff:.3f} rad/m on linear triangles; stored {stored:.3f} rad/m")

field = np.zeros(len(ids))
field[used] = fields[:, 1]
figure, axes = plt.subplots(figsize=(8, 4))
picture = axes.tripcolor(x * 1e3, y * 1e3, triangles, field, shading="gouraud", cmap="cividis")
axes.triplot(x * 1e3, y * 1e3, triangles, color="0.3", linewidth=0.2)
axes.set(xlabel="x in mm", ylabel="y in mm", title="H_z of the first mode", aspect="equal")
figure.colorbar(picture, ax=axes, label="H_z in arbitrary units")
figure.savefig("waveguide-mode.png", dpi=120)

# SPDX-License-Identifier: Apache-2.0
"""Pictures of results, drawn with matplotlib (Debian: python3-matplotlib).

Every function takes data that :func:`fieldstore.open` gave, and optionally the axes to draw on; it
returns the axes. Without axes it takes the current ones of ``matplotlib.pyplot``::

    import fieldstore
    import fieldstore.plot

    store = fieldstore.open("results/")
    axes = fieldstore.plot.gamma(store.modes, port=1)
    fieldstore.plot.smith(store.matrices, z=(0, 1), z0=50)

==================== ===========================================================
function             draws
==================== ===========================================================
``gamma``            attenuation or phase constant of modes over frequency
``voltage``          magnitude of a modal voltage; ``current``, ``impedance``
``s_db``             |S| in dB over frequency; ``s_phase``, ``smith``
``heatmap``          one matrix
``convergence``      metrics over the index, such as the pass
``metric``           metrics over the entities
``mesh``             mesh, coloured by values of its elements or nodes
``field``            vectors at the nodes, such as the field of a mode
``sparsity``         where the entries of a DOF map are; ``pairs`` of a mesh tree
``tree``             a binary tree level by level
``records``          records of a DOF list by partition
``assembly``         nodes in the lists of elements
``ports``            degrees of freedom by position
==================== ===========================================================

Types have the names of ``labels.json`` next to the data. Colours can be told apart with colour
blindness. What is too much to draw is thinned, and a note below the axes says how; :func:`notes` gives
these notes.
"""

from ._axes import notes
from ._dofs import assembly, pairs, ports, records, sparsity
from ._mesh import field, mesh
from ._metrics import convergence, metric
from ._modes import current, gamma, impedance, voltage
from ._network import heatmap, s_db, s_parameters, s_phase, smith
from ._tree import tree

__all__ = [
    "assembly",
    "convergence",
    "current",
    "field",
    "gamma",
    "heatmap",
    "impedance",
    "mesh",
    "metric",
    "notes",
    "pairs",
    "ports",
    "records",
    "s_db",
    "s_parameters",
    "s_phase",
    "smith",
    "sparsity",
    "tree",
    "voltage",
]

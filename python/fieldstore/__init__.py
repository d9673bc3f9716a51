# SPDX-License-Identifier: Apache-2.0
"""Result data of an electromagnetic finite-element solver as NumPy arrays.

:func:`open` reads a file, or a directory of them; :class:`Store` writes them::

    import fieldstore

    with fieldstore.open("results/") as store:
        gamma = store.modes.gamma(port=1)          # [frequency, mode]
        network = store.matrices.network(z=(0, 1)) # a skrf.Network

    with fieldstore.Store("results/", lock=True) as store:
        store.matrices.add(10e9, type=0, values=[[50.0]])

==================== ===================== =============================================
attribute of a store class                 holds
==================== ===================== =============================================
``modes``            Modes                 modal voltages and currents
``dofs``             DofMap                sparse map between degrees of freedom
``matrices``         Matrices              circuit matrices
``mesh``             MeshTree              sets of mesh ids
``lists``            DofList               degrees of freedom by partition
``tree``             BinaryTree            levelled tree of nodes and leaves
``ports``            PortCircuitDofs       degrees of freedom of ports and circuits
``metrics``          Metrics               metrics per entity and pass, with their graph
``assembly``         Assembly              elements and their nodes
==================== ===================== =============================================
"""

from ._assembly import Assembly, BasisCounts
from ._base import Lists, ResultObject
from ._dofs import DofMap
from ._fieldstore import __version__
from ._lists import DofList
from ._matrices import Matrices
from ._mesh import MeshTree
from ._metrics import Definition, Metrics, MetricValues, Nodes
from ._modes import Modes
from ._open import CLASSES, Results, open
from ._ports import PortCircuitDofs
from ._store import Store
from ._tree import BinaryTree
from .errors import DamagedError, Error, LockedError, MissingPackageError, StoreError
from .labels import Label, Labels

__all__ = [
    "Assembly",
    "BasisCounts",
    "BinaryTree",
    "CLASSES",
    "DamagedError",
    "Definition",
    "DofList",
    "DofMap",
    "Error",
    "Label",
    "Labels",
    "Lists",
    "LockedError",
    "Matrices",
    "MeshTree",
    "MetricValues",
    "Metrics",
    "MissingPackageError",
    "Modes",
    "Nodes",
    "PortCircuitDofs",
    "ResultObject",
    "Results",
    "Store",
    "StoreError",
    "__version__",
    "open",
]

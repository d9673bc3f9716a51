# SPDX-License-Identifier: Apache-2.0
"""The guide that is solved, and the numbers that its results are stored under."""

from __future__ import annotations

import json
import pathlib
from typing import Any, Dict, List

import numpy as np

LIGHT = 299792458.0  # m/s
VACUUM_PERMEABILITY = 4e-7 * np.pi  # H/m

# A WR-90 guide with a slab of ceramic at the wall x = 0, over the full height.
WIDTH, HEIGHT = 22.86e-3, 10.16e-3  # m
SLAB = WIDTH / 4  # m; a mesh of 4, 8, 12, ... cells along the width keeps to the interface
PERMITTIVITY = 9.8 * (1 - 0.005j)  # of the slab; exp(j omega t), so losses are negative
LENGTH = 20e-3  # m, between the ports

# Five modes propagate at all of them.
FREQUENCIES: List[float] = [10.6e9, 10.8e9, 11e9, 11.2e9, 11.4e9]  # Hz
FIELD_FREQUENCY = 11e9  # Hz, at which the fields are stored
MODES = 5
# A mode with a smaller real part of gamma / (j k0) does not count as one that propagates.
LEAST_INDEX = 0.1

PORT = 1
LSE, LSM = 0, 1  # groups of the modes: no E, or no H, across the interface
FAMILIES = ("LSE", "LSM")
IMPEDANCE_REAL, IMPEDANCE_IMAGINARY = 0, 1  # types of circuit matrices

RUN, ELEMENT, MODE, NODE, UNKNOWN = 1, 3, 4, 5, 6  # entity types
SETTINGS = 1  # of RUN
OWNER = 1  # of ELEMENT
INDEX, RESIDUAL = 1, 2  # of MODE
FIELD = 1  # of NODE
COEFFICIENT = 1  # of UNKNOWN

EDGE_UNKNOWN, FIXED, INNER_UNKNOWN, NODE_UNKNOWN = 0, 1, 2, 3  # types of degrees of freedom

LABELS: Dict[str, Any] = {
    "schema": 1,
    "comment": "Written by modes.py",
    "matrixTypes": {
        str(IMPEDANCE_REAL): {"name": "Re Z", "unit": "ohm"},
        str(IMPEDANCE_IMAGINARY): {"name": "Im Z", "unit": "ohm"},
    },
    "entityTypes": {
        str(RUN): {"name": "run"},
        str(ELEMENT): {"name": "element"},
        str(MODE): {"name": "mode"},
        str(NODE): {"name": "node"},
        str(UNKNOWN): {"name": "unknown"},
    },
    "valueTypes": {
        f"{RUN}{SETTINGS}": {
            "name": "settings",
            "components": ["order", "cells along the height", "ranks"],
        },
        f"{ELEMENT}{OWNER}": {"name": "rank that owns it"},
        f"{MODE}{INDEX}": {"name": "effective index", "components": ["real", "imaginary"]},
        f"{MODE}{RESIDUAL}": {"name": "residual of the eigenvalue"},
        f"{NODE}{FIELD}": {"name": "field", "components": ["x", "y", "z"]},
        f"{UNKNOWN}{COEFFICIENT}": {"name": "coefficient", "components": ["real", "imaginary"]},
    },
}


def wave_number(frequency: float) -> float:
    """In vacuum, rad/m."""
    return 2 * np.pi * frequency / LIGHT


def write_labels(directory: pathlib.Path) -> None:
    """Names for the numbers, which the tool and the report show."""
    text = json.dumps(LABELS, indent=2) + "\n"
    (directory / "labels.json").write_text(text, encoding="utf-8")

#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""A host in Python: several processes work out a frequency sweep and store it in one file.

Usage: parallel_host.py DIRECTORY [PROCESSES]

The calculation is that of a rectangular waveguide of 22.86 mm x 10.16 mm: for the modes TE_mn,
gamma = sqrt((m pi / a)^2 + (n pi / b)^2 - (2 pi f / c)^2), with impedance j 2 pi f mu / gamma."""

from __future__ import annotations

import multiprocessing
import pathlib
import sys

import fieldstore
import numpy as np

A, B = 22.86e-3, 10.16e-3  # m
LIGHT, MU = 299792458.0, 4e-7 * np.pi
MODES = [(1, 0), (2, 0), (0, 1), (1, 1)]


def store_part(directory: pathlib.Path, frequencies: list[float]) -> int:
    """Works out the modes at some frequencies and commits them at once."""
    with fieldstore.Store(directory, lock=True) as store:
        for frequency in frequencies:
            k0 = 2 * np.pi * frequency / LIGHT
            cutoff = np.array([np.hypot(m * np.pi / A, n * np.pi / B) for m, n in MODES])
            gamma = np.sqrt(cutoff**2 - k0**2 + 0j)
            impedance = 2j * np.pi * frequency * MU / gamma
            unit = np.eye(len(MODES))
            for port in (1, 2):
                store.modes.add(frequency, port, gamma, impedance * unit, unit)
    return len(frequencies)


def main() -> int:
    if len(sys.argv) not in (2, 3):
        print(__doc__, file=sys.stderr)
        return 2
    directory = pathlib.Path(sys.argv[1])
    directory.mkdir(parents=True, exist_ok=True)
    processes = int(sys.argv[2]) if len(sys.argv) == 3 else 4
    sweep = np.round(np.linspace(8.2e9, 12.4e9, 43)).tolist()
    parts = [(directory, sweep[first::processes]) for first in range(processes)]
    with multiprocessing.Pool(processes) as pool:
        stored = sum(pool.starmap(store_part, parts))
    modes = fieldstore.open(directory / "modeinfo.dat", fieldstore.Modes)
    print(f"{stored} frequencies by {processes} processes: {modes}")
    propagating = (modes.gamma(port=1).imag > 0).sum(axis=1)
    print(f"modes that propagate: {propagating[0]} at the lowest, {propagating[-1]} at the highest")
    return 0


if __name__ == "__main__":
    sys.exit(main())

#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Loads the stores of modes.py and compares them with the characteristic equation:

    python3 compare.py out
    python3 compare.py out --against elsewhere    # the same, from another number of ranks

Exit status: 0 all agrees, 1 something does not, 2 wrong command line, 3 no stores, or unreadable ones.
Needs NumPy and SciPy, but none of the packages that modes.py solves with."""

from __future__ import annotations

import argparse
import math
import pathlib
import sys
from typing import Any, Dict, List, NamedTuple, Tuple

import fieldstore
import guide
import numpy as np
from equation import ExactMode, exact_modes
from stored import Stored, differences, find

# What two solutions of one problem may differ by: the eigensolver stops at 1e-12.
ROUNDING = 1e-8
# How far the rate on the finest meshes may be from its limit, twice the order.
RATE_MARGIN = 0.3


class Checks:
    """Prints what was compared."""

    def __init__(self) -> None:
        self.failed = 0

    def add(self, is_fine: bool, text: str) -> None:
        self.failed += not is_fine
        print(f"{'ok  ' if is_fine else 'FAIL'} {text}")


def matched(groups: Any, exact: List[ExactMode]) -> List[ExactMode]:
    """The mode of the equation for each stored one: of a family, those of the largest index first.
    Raises ValueError when a family has more stored modes than there are."""
    left = {family: [mode for mode in exact if mode.family == family] for family in (0, 1)}
    for family in left:
        count = int((groups == family).sum())
        if count > len(left[family]):
            raise ValueError(
                f"{count} stored modes are {guide.FAMILIES[family]}, but the equation has "
                f"{len(left[family])}; solve on a finer mesh"
            )
    return [left[group].pop(0) for group in groups.tolist()]


class Errors(NamedTuple):
    """Of gamma relative to itself, by mode, at each frequency; the largest of gamma^2, relative to
    eps k0^2 of the slab, which all modes share; and of the impedances, relative to themselves and
    weighted by gamma^2 / (eps k0^2), as they go with gamma or its inverse."""

    of_gamma: Dict[str, List[float]]
    of_square: float
    of_impedance: float


def errors_of(stored: Stored) -> Errors:
    of_gamma: Dict[str, List[float]] = {}
    of_square = of_impedance = 0.0
    for at, frequency in enumerate(stored.frequencies):
        slab = abs(guide.PERMITTIVITY) * guide.wave_number(frequency) ** 2
        modes = matched(stored.groups[at], exact_modes(frequency))
        for mode, gamma, impedance in zip(modes, stored.gamma[at], stored.impedance[at]):
            of_gamma.setdefault(mode.name, []).append(abs(gamma / mode.gamma - 1))
            of_square = max(of_square, abs(gamma**2 - mode.gamma**2) / slab)
            weight = abs(mode.gamma**2) / slab
            of_impedance = max(of_impedance, weight * abs(impedance / mode.impedance - 1))
    return Errors(of_gamma, of_square, of_impedance)


def expected_error(stored: Stored) -> float:
    """The relative error of k^2 of a plane wave in the slab on elements of this order in one
    dimension, as long as the sides of the cells."""
    p, h = stored.order, guide.HEIGHT / stored.divisions
    kh = math.sqrt(guide.PERMITTIVITY.real) * guide.wave_number(max(stored.frequencies)) * h
    ratio = math.factorial(p) / math.factorial(2 * p)
    return float(ratio**2 * kh ** (2 * p) / (2 * p + 1))


def check_store(checks: Checks, stored: Stored) -> Errors:
    """Everything that one store says."""
    print(f"{stored.directory}: {stored.unknown_count} unknowns, ranks: {stored.ranks}")
    errors, most = errors_of(stored), expected_error(stored)
    for name, error in (("gamma^2", errors.of_square), ("impedances", errors.of_impedance)):
        checks.add(error <= most, f"{name}: off by {error:.1e} of eps k0^2, at most {most:.1e}")
    power = float(np.abs(stored.power - 1).max())
    checks.add(power < ROUNDING, f"power of the waves: off 1 W by {power:.1e}")
    checks.add(stored.is_one_sheet(), "mesh: one sheet that fills the guide")
    checks.add(stored.has_one_owner_each(), "unknowns: one owner each, and ghosts in their ranges")
    section = max(
        float(np.abs(matrix - section_matrix(gamma, impedance)).max() / np.abs(matrix).max())
        for matrix, gamma, impedance in zip(stored.matrices(), stored.gamma, stored.impedance)
    )
    checks.add(section < ROUNDING, f"matrices: off by {section:.1e} from gamma and impedances")
    if stored.order == 1:
        field = stored.frequencies.index(guide.FIELD_FREQUENCY)
        quotient = float(np.abs(stored.quotients() / stored.gamma[field] ** 2 - 1).max())
        checks.add(quotient < ROUNDING, f"fields: integrated anew, gamma^2 is off by {quotient:.1e}")
    return errors


def section_matrix(gamma: Any, impedance: Any) -> Any:
    """Z of the section between the ports, from the travelling waves of each mode."""
    decay = np.exp(-gamma * guide.LENGTH)
    own = np.diag(impedance * (1 + decay**2) / (1 - decay**2))
    other = np.diag(2 * impedance * decay / (1 - decay**2))
    return np.block([[own, other], [other, own]])


def print_modes(stored: Stored) -> None:
    at = stored.frequencies.index(guide.FIELD_FREQUENCY)
    print(f"\nModes at {guide.FIELD_FREQUENCY / 1e9:g} GHz, from {stored.directory}")
    print("| mode | gamma (1/m) | of the equation | V/I (ohm) | of the equation |")
    print("|---|---|---|---|---|")
    exact = matched(stored.groups[at], exact_modes(guide.FIELD_FREQUENCY))
    for mode, gamma, impedance in zip(exact, stored.gamma[at], stored.impedance[at]):
        numbers = [f"{gamma:.4f}", f"{mode.gamma:.4f}", f"{impedance:.3f}", f"{mode.impedance:.3f}"]
        print("| " + " | ".join([mode.name, *numbers]) + " |")


def print_convergence(checks: Checks, known: List[Tuple[Stored, Errors]]) -> None:
    """The largest error of gamma over the frequencies, mode by mode, and the rate from the mesh
    before; checks that of gamma^2 on the finest meshes of each order."""
    names = list(known[0][1].of_gamma)
    last: Dict[int, float] = {}
    print("\nLargest relative error of gamma over the frequencies (observed rate)")
    print("| order | cells | unknowns | " + " | ".join(names) + " |")
    print("|---" * (3 + len(names)) + "|")
    for (before, coarse), (stored, errors) in zip([known[0], *known], known):
        pairs = [(max(coarse.of_gamma[name]), max(errors.of_gamma[name])) for name in names]
        cells = [f"{error:.1e}" for _, error in pairs]
        if before.order == stored.order and before.divisions < stored.divisions:
            finer = math.log(stored.divisions / before.divisions)
            cells = [f"{b:.1e} ({math.log(a / b) / finer:.2f})" for a, b in pairs]
            last[stored.order] = math.log(coarse.of_square / errors.of_square) / finer
        mesh = f"{2 * stored.divisions} x {stored.divisions}"
        print(f"| {stored.order} | {mesh} | {stored.unknown_count} | " + " | ".join(cells) + " |")
    print()
    for order, rate in last.items():
        expected = 2 * order
        text = f"order {order}: gamma^2 converges with h^{rate:.2f}, expected h^{expected}"
        checks.add(abs(rate - expected) < RATE_MARGIN, text)


def compare_stores(checks: Checks, stores: List[Stored], others: List[Stored]) -> None:
    """The same problems, solved on different numbers of ranks."""
    by_problem = {(stored.order, stored.divisions): stored for stored in others}
    for stored in stores:
        other = by_problem.get((stored.order, stored.divisions))
        if other is None:
            checks.add(False, f"{stored.directory}: not solved in the other directory")
            continue
        print(f"{stored.directory} and {other.directory}, ranks: {stored.ranks} and {other.ranks}")
        found = differences(stored, other)
        for name, difference in found.items():
            checks.add(difference < ROUNDING, f"{name}: differ by {difference:.1e}")


def main() -> int:
    parser = argparse.ArgumentParser(description=(__doc__ or "").split("\n\n")[0])
    parser.add_argument("directory", type=pathlib.Path, nargs="+")
    parser.add_argument("--against", type=pathlib.Path, help="stores of the same problems")
    options = parser.parse_args()
    checks = Checks()
    try:
        stores = find(options.directory)
        others = find([options.against]) if options.against else []
        if not stores:
            raise FileNotFoundError(f"{options.directory[0]} has no stores; make some with modes.py")
        if options.against:
            compare_stores(checks, stores, others)
        else:
            known = [(stored, check_store(checks, stored)) for stored in stores]
            print_modes(stores[-1])
            print_convergence(checks, known)
    except (OSError, fieldstore.Error, KeyError, ValueError) as error:
        print(error, file=sys.stderr)
        return 3
    print(f"{checks.failed} comparisons failed." if checks.failed else "All comparisons agree.")
    return 1 if checks.failed else 0


if __name__ == "__main__":
    sys.exit(main())

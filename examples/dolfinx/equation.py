# SPDX-License-Identifier: Apache-2.0
"""The modes of a guide with a slab at its wall, from its characteristic equation.

With k_1, k_2 the wave numbers across slab and air, d and e = a - d their widths, and n half waves
along the height,

    k_1^2 = eps k_0^2 + gamma^2 - (n pi / b)^2,    k_2^2 = k_0^2 + gamma^2 - (n pi / b)^2,

    LSE (no E across the interface):  k_1 cot(k_1 d) + k_2 cot(k_2 e) = 0,              n = 0, 1, ...
    LSM (no H across the interface):  (k_1 / eps) tan(k_1 d) + k_2 tan(k_2 e) = 0,      n = 1, 2, ...

R. F. Harrington, Time-Harmonic Electromagnetic Fields, McGraw-Hill 1961, section 4-6, derives them
from potentials along x, and so does R. E. Collin, Field Theory of Guided Waves, 2nd ed., IEEE Press
1991, chapter 6."""

from __future__ import annotations

import cmath
from typing import List, NamedTuple

import numpy as np
from guide import (
    FAMILIES,
    HEIGHT,
    LEAST_INDEX,
    LIGHT,
    LSE,
    LSM,
    PERMITTIVITY,
    SLAB,
    VACUUM_PERMEABILITY,
    WIDTH,
    wave_number,
)
from scipy import optimize

AIR = WIDTH - SLAB
# Between neighbouring roots of one equation there are some hundred of these.
SAMPLES = 4001
# Steps from the slab without losses to the one with all of them.
LOSS_STEPS = 8


class ExactMode(NamedTuple):
    """A mode as the equation gives it."""

    name: str  # as LSE10: half waves across, as many as without a slab, and along the height
    family: int
    gamma: complex  # 1/m
    impedance: complex  # ohm, from power and voltage


class _Branch(NamedTuple):
    """One of the equations, in x = -gamma^2, without poles."""

    family: int
    half_waves: int
    k0: float

    @property
    def along_height(self) -> float:
        return self.half_waves * np.pi / HEIGHT

    def across(self, x: complex, permittivity: complex) -> complex:
        return cmath.sqrt(permittivity * self.k0**2 - x - self.along_height**2)

    def __call__(self, x: complex, permittivity: complex) -> complex:
        k1, k2 = self.across(x, permittivity), self.across(x, 1)
        c1, c2 = cmath.cos(k1 * SLAB), cmath.cos(k2 * AIR)
        if self.family == LSM:
            s1, s2 = k1 * cmath.sin(k1 * SLAB), k2 * cmath.sin(k2 * AIR)
            return s1 * c2 / permittivity + s2 * c1
        return c1 * _sine_over(k2, AIR) + c2 * _sine_over(k1, SLAB)

    def roots(self) -> List[complex]:
        """All x of modes that propagate: those without losses, followed to those with them."""
        real = PERMITTIVITY.real
        least = (LEAST_INDEX * self.k0) ** 2

        def lossless(x: float) -> float:
            return self(x, real).real

        samples = np.linspace(least, real * self.k0**2, SAMPLES)
        signs = np.sign([lossless(x) for x in samples])
        places = np.flatnonzero(signs[1:] != signs[:-1])
        return [
            self._with_losses(optimize.brentq(lossless, samples[at], samples[at + 1], xtol=1e-9))
            for at in places
        ]

    def _with_losses(self, lossless: float) -> complex:
        x = complex(lossless)
        for part in np.linspace(0, 1, LOSS_STEPS + 1)[1:]:
            permittivity = complex(PERMITTIVITY.real, part * PERMITTIVITY.imag)
            near = x * (1 + 1e-6)
            x = optimize.newton(self, x, x1=near, args=(permittivity,), tol=1e-12 * abs(x))
        return x

    def impedance(self, gamma: complex) -> complex:
        """The integral of E.E over that of E x H, both across the section and without conjugates."""
        omega_mu = self.k0 * VACUUM_PERMEABILITY * LIGHT
        height2 = self.along_height**2
        if self.family == LSE:
            return 1j * omega_mu * gamma / (gamma**2 - height2)
        k1, k2 = (self.across(-(gamma**2), eps) for eps in (PERMITTIVITY, 1))
        ratio = cmath.cos(k1 * SLAB) / cmath.cos(k2 * AIR)
        squares, power = 0j, 0j
        for k, width, scale, eps in ((k1, SLAB, 1, PERMITTIVITY), (k2, AIR, ratio, 1)):
            ripple = cmath.sin(2 * k * width) / (4 * k)
            field2, slope2 = scale**2 * (width / 2 + ripple), (scale * k) ** 2 * (width / 2 - ripple)
            transverse = height2 - gamma**2
            squares += (transverse**2 * field2 + height2 * slope2) / eps**2
            power += transverse * field2 / eps
        # 1 / (j omega eps) = -j omega mu / k^2
        return 1j * omega_mu / self.k0**2 * squares / (gamma * power)


def _sine_over(k: complex, width: float) -> complex:
    """sin(k width) / k, which has a limit where k is 0."""
    return cmath.sin(k * width) / k if abs(k * width) > 1e-8 else complex(width)


def exact_modes(frequency: float) -> List[ExactMode]:
    """The modes that propagate, those of the largest effective index first."""
    k0 = wave_number(frequency)
    highest = int(np.sqrt(PERMITTIVITY.real) * k0 * HEIGHT / np.pi)
    found = []
    for family, first in ((LSE, 0), (LSM, 1)):
        for half_waves in range(first, highest + 1):
            branch = _Branch(family, half_waves, k0)
            for across, x in enumerate(reversed(branch.roots()), start=1 - first):
                gamma = 1j * cmath.sqrt(x)
                name = f"{FAMILIES[family]}{across}{half_waves}"
                found.append(ExactMode(name, family, gamma, branch.impedance(gamma)))
    return sorted(found, key=lambda mode: -mode.gamma.imag)

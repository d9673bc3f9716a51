#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Prints the numbers that are hardest to convert: those closest to a half between two results.

For every binary exponent these are doubles next to a half of 16 digits, and for every decimal one
numbers of 19 digits next to a half of two doubles. With a number N as argument only every Nth
exponent."""
import math
import sys
from fractions import Fraction

WANTED = 8  # of each kind and exponent, about


def first_within(a, modulus, low, high):
    """The least x >= 0 with low <= a x mod modulus <= high, for 0 <= low <= high; None without one."""
    if low == 0 or high >= modulus:
        return 0
    a %= modulus
    if a == 0:
        return None
    if 2 * a > modulus:
        return first_within(modulus - a, modulus, modulus - high, modulus - low)
    x = -(-low // a)
    if a * x <= high:
        return x
    # No multiple of a lies in the range: first the one of the modulus that puts it within a step.
    y = first_within(-modulus % a, a, low % a, high % a)
    return None if y is None else -(-(low + modulus * y) // a)


def near_half(least, most, ratio):
    """The x from `least` to `most` for which x ratio is closest to a half."""
    top, modulus = 2 * ratio.numerator, 2 * ratio.denominator  # twice, so that halves are integers
    width = min(modulus * WANTED // (2 * (most - least + 1)), modulus // 2 - 1)
    for _ in range(4 * WANTED):  # where a half is met exactly, there is no end of them
        low = (modulus // 2 - width - top * least) % modulus
        x = first_within(top, modulus, low, low + 2 * width)
        least = most + 1 if x is None else least + x
        if least > most:
            return
        yield least
        least += 1


def hardest(first, last, unit, base, digits):
    """The x from `first` to `last` - 1 for which x unit is hard to round to digits of a base."""
    logarithm = math.log(first * unit.numerator) - math.log(unit.denominator)
    power = math.floor(logarithm / math.log(base)) - 1
    while Fraction(base) ** power < last * unit:
        least = max(first, math.ceil(Fraction(base) ** power / unit))
        most = min(last, math.ceil(Fraction(base) ** (power + 1) / unit)) - 1
        if least <= most:
            yield from near_half(least, most, unit / Fraction(base) ** (power - digits + 1))
        power += 1


def main():
    step = int(sys.argv[1]) if len(sys.argv) > 1 else 1
    for exponent in range(-1074, 972, step):
        for mantissa in hardest(2 ** 52, 2 ** 53, Fraction(2) ** exponent, 10, 16):
            print(repr(math.ldexp(mantissa, exponent)))
    for exponent in range(-326, 290, step):
        for digits in hardest(10 ** 18, 10 ** 19, Fraction(10) ** exponent, 2, 53):
            print(f"{digits}e{exponent}")


if __name__ == "__main__":
    main()

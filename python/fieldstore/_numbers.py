# SPDX-License-Identifier: Apache-2.0
"""Numbers as people read them."""

from __future__ import annotations

import math
from typing import List, Sequence, Tuple

_PREFIXES = {-12: "p", -9: "n", -6: "µ", -3: "m", 0: "", 3: "k", 6: "M", 9: "G", 12: "T"}


def prefix_of(largest: float) -> Tuple[float, str]:
    """The power of a thousand, with its prefix, that leaves one to three digits before the point.

    >>> prefix_of(12.4e9)
    (1000000000.0, 'G')
    """
    if largest == 0 or not math.isfinite(largest):
        return 1.0, ""
    exponent = min(max(3 * math.floor(math.log10(abs(largest)) / 3 + 1e-12), -12), 12)
    return 10.0**exponent, _PREFIXES[exponent]


def quantity(value: float, unit: str) -> str:
    """A value with its unit and the prefix that suits it.

    >>> quantity(8.2e9, "Hz"), quantity(0.05, "m")
    ('8.2 GHz', '50 mm')
    """
    scale, prefix = prefix_of(value)
    return f"{number(value / scale)} {prefix}{unit}"


def number(value: float, digits: int = 5) -> str:
    """A number with as many digits as people compare.

    >>> number(1234567), number(0.000123456789), number(2.5), number(1e300)
    ('1,234,567', '1.2346e-04', '2.5', '1.0000e+300')
    """
    if math.isnan(value):
        return "–"
    if math.isinf(value):
        return "∞" if value > 0 else "−∞"
    if value == int(value) and abs(value) < 1e12:
        return signed(f"{int(value):,}")
    if 1e-3 <= abs(value) < 1e6:
        whole = len(str(int(abs(value))))
        text = f"{value:,.{max(digits - whole, 0)}f}"
        return signed(text.rstrip("0").rstrip(".") if "." in text else text)
    return signed(f"{value:.{digits - 1}e}")


def column(values: Sequence[float], digits: int = 5) -> List[str]:
    """Numbers below each other, as many places behind the point for all.

    >>> column([103.2, 214.5012, float("nan")])
    ['103.20', '214.50', '–']
    """
    finite = [abs(value) for value in values if math.isfinite(value)]
    largest = max(finite, default=0.0)
    if largest >= 1e7 or 0 < largest < 1e-3:
        return [number(value, digits) for value in values]
    whole = len(str(int(largest)))
    places = 0 if all(value == int(value) for value in finite) else max(digits - whole, 0)
    return [
        signed(f"{value:,.{places}f}") if math.isfinite(value) else number(value)
        for value in values
    ]


def signed(text: str) -> str:
    """The text of a number with a real minus sign before it."""
    return "−" + text[1:] if text.startswith("-") else text


def size(count: int) -> str:
    """A number of bytes.

    >>> size(512), size(1536), size(3 << 30)
    ('512 B', '1.5 KiB', '3.0 GiB')
    """
    value = float(count)
    for unit in ("B", "KiB", "MiB", "GiB"):
        if value < 1024:
            break
        value /= 1024
    else:
        unit = "TiB"
    return f"{count} B" if unit == "B" else f"{value:.1f} {unit}"

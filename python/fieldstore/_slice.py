# SPDX-License-Identifier: Apache-2.0
"""Which entries of a file are wanted, by their keys."""

from __future__ import annotations

import math
from typing import Dict, Mapping, Optional, Sequence, Tuple, Union

# A number, a text as the tool takes it ("10GHz", "8GHz:12GHz"), or the first and the last number, where
# None is open. None: all.
Key = Union[None, float, str, Tuple[Optional[float], Optional[float]]]
Ranges = Dict[str, Union[str, Tuple[int, int]]]

_LEAST, _MOST = -(1 << 63), (1 << 63) - 1


def ranges(keys: Mapping[str, Key], known: Sequence[str], class_name: str) -> Ranges:
    """The wanted keys as the library takes them; those that are None are left out."""
    wanted: Ranges = {}
    for name, key in keys.items():
        if name not in known:
            names = f"has the keys {', '.join(known)}" if known else "has no keys to select by"
            raise TypeError(f"{name} is not a key of {class_name}, which {names}")
        if key is not None:
            wanted[name] = key if isinstance(key, str) else _range(name, key)
    return wanted


def _range(name: str, key: Union[float, Tuple[Optional[float], Optional[float]]]) -> Tuple[int, int]:
    first, last = key if isinstance(key, tuple) else (key, key)
    least = _LEAST if first is None else math.ceil(first)
    most = _MOST if last is None else math.floor(last)
    if least > most:
        raise ValueError(f"{name} is {key!r}, in which there is no whole number")
    return max(least, _LEAST), min(most, _MOST)

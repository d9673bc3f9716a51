# SPDX-License-Identifier: Apache-2.0
"""The names that a host gives its numbers for types, from ``labels.json`` next to the data."""

from __future__ import annotations

import os
from typing import Any, Mapping, NamedTuple, Optional, Tuple, Union

FILE_NAME = "labels.json"


class Label(NamedTuple):
    """What a number stands for; the unit is "" when none is known."""

    name: str
    unit: str = ""

    def __str__(self) -> str:
        return f"{self.name} ({self.unit})" if self.unit else self.name


class Labels:
    """Labels by kind, as ``"matrixTypes"``, and number. Without a file there are none.

    >>> labels = Labels({"matrixTypes": {"0": {"name": "Re Z", "unit": "ohm"}}})
    >>> labels.get("matrixTypes", 0)
    Label(name='Re Z', unit='ohm')
    >>> labels.name("matrixTypes", 7, default="type 7")
    'type 7'
    """

    def __init__(self, content: Optional[Mapping[str, Any]] = None) -> None:
        self._content = dict(content) if content is not None else {}

    def get(self, kind: str, number: int) -> Optional[Label]:
        """The label of a number, or None."""
        kinds = self._content.get(kind)
        entry = kinds.get(str(number)) if isinstance(kinds, dict) else None
        if isinstance(entry, str):
            return Label(entry)
        if isinstance(entry, dict) and isinstance(entry.get("name"), str):
            unit = entry.get("unit")
            return Label(entry["name"], unit if isinstance(unit, str) else "")
        return None

    def name(self, kind: str, number: int, default: Optional[str] = None) -> str:
        """The name of a number; without one, ``default`` or the number itself."""
        label = self.get(kind, number)
        if label is not None:
            return label.name
        return str(number) if default is None else default

    def components(self, kind: str, number: int) -> Tuple[str, ...]:
        """The names of the numbers of a vector, as far as there are any."""
        kinds = self._content.get(kind)
        entry = kinds.get(str(number)) if isinstance(kinds, dict) else None
        names = entry.get("components") if isinstance(entry, dict) else None
        return tuple(map(str, names)) if isinstance(names, list) else ()

    def __bool__(self) -> bool:
        return bool(self._content)

    def __repr__(self) -> str:
        return f"Labels({self._content!r})"


def read(directory: Union[str, "os.PathLike[str]"]) -> Labels:
    """The labels in a directory. Those of a file that is missing, or cannot be understood, are none:
    labels are for people alone, and no reason to keep the data from them."""
    import json  # takes long to import

    try:
        with open(os.path.join(directory, FILE_NAME), encoding="utf-8") as file:
            content = json.load(file)
    except (OSError, ValueError, RecursionError):
        return Labels()
    return Labels(content if isinstance(content, dict) else None)

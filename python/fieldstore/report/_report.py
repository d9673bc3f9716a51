# SPDX-License-Identifier: Apache-2.0
"""From a directory to a page."""

from __future__ import annotations

import contextlib
import os
from typing import Any, Callable, Dict, List, Mapping, NamedTuple, Optional, Tuple, Type

from .. import _output
from .._assembly import Assembly
from .._base import Path, ResultObject
from .._numbers import size
from .._open import CLASSES, Results
from .._optional import need
from .._progress import Progress
from ..errors import DamagedError, Error
from ._content import Section
from ._drawing import Artist
from ._facts import Check, File, files_of, look
from ._page import Overview, page
from ._sections import Context, Settings, fill

_TITLES: Dict[str, str] = {
    "modes": "Modes",
    "matrices": "Circuit matrices",
    "metrics": "Solution metrics",
    "mesh": "Mesh tree",
    "assembly": "Assembly",
    "tree": "Binary tree",
    "dofs": "DOF map",
    "lists": "DOF list",
    "ports": "Ports and circuits",
}


class Report(NamedTuple):
    """A page, and how many files it shows as damaged or unreadable."""

    html: str
    damaged: int


def render(
    directory: Path,
    *,
    reference: float = 50.0,
    parts: Optional[Mapping[str, Any]] = None,
    progress: Optional[Progress] = None,
) -> Report:
    """The report of a directory of results.

    Args:
        directory: The directory.
        reference: The reference impedance of the scattering parameters in ohm.
        parts: What the matrices are, as of :func:`fieldstore.plot.s_parameters`: ``{"z": (0, 1)}``.
        progress: A bar to move.

    Raises what :class:`fieldstore.Results` raises for a directory, ValueError when there is nothing to
    report, and MissingPackageError without matplotlib. Damaged files are shown as such.
    """
    need("matplotlib", "fieldstore report")
    store = Results(directory)
    found = files_of(store.path)
    sizes = {path: _size_of(path) for path, _ in found}
    progress = progress or Progress(_work(sizes.values()))
    known = [path for path, class_name in found if class_name]
    check = Check(known)
    try:
        files, troubles = _look_at(found, progress, sizes)
        if not files and not troubles:
            raise ValueError(f"{store.path}: there are no result files in this directory.")
        with contextlib.closing(store):
            sections = _sections(store, files, progress, Settings(reference, dict(parts or {})))
        progress.step("checking", 0)
        verdicts = check.verdicts()
    finally:
        check.stop()
    overview = Overview(os.path.abspath(store.path), files, troubles, verdicts, check.trouble)
    broken = sum(1 for section in sections if section.damage) + len(troubles)
    return Report(page(overview, sections), broken)


def write(
    directory: Path,
    output: Path,
    *,
    force: bool = False,
    reference: float = 50.0,
    parts: Optional[Mapping[str, Any]] = None,
) -> None:
    """Writes the report of a directory to a file, whole or not at all. ``force`` replaces a file that
    exists; other arguments and errors as of :func:`render`."""
    report = render(directory, reference=reference, parts=parts)
    _output.write_whole(os.fspath(output), report.html.encode("utf-8"), force)


def work_of(directory: str) -> int:
    """What a progress bar counts up to."""
    return _work(_size_of(path) for path, _ in files_of(directory))


def _work(sizes: Any) -> int:
    # Each is read twice, to look at it and to load it, and drawn.
    return sum(2 * count + _DRAWING for count in sizes)


# Drawing takes as long as reading so many bytes.
_DRAWING = 300_000_000


def _size_of(path: str) -> int:
    try:
        return os.path.getsize(path)
    except OSError:
        return 0


def _look_at(
    found: List[Tuple[str, str]], progress: Progress, sizes: Dict[str, int]
) -> Tuple[List[File], List[str]]:
    """The files, and sentences about those that could not be looked at. What is not a result file, and
    does not have the name of one, is left out."""
    files, troubles = [], []
    for path, class_name in found:
        progress.step(f"reading {os.path.basename(path)}", sizes[path])
        try:
            file = look(path, class_name)
        except (OSError, RuntimeError) as error:
            troubles.append(f"{os.path.basename(path)}: cannot be read: {error}")
            continue
        if file.kind is not None:
            files.append(file)
    return files, troubles


def _sections(
    store: Results, files: List[File], progress: Progress, settings: Settings
) -> List[Section]:
    order: Dict[Optional[Type[ResultObject]], int] = {
        CLASSES[name]: place for place, name in enumerate(_TITLES)
    }
    titles = {CLASSES[name]: title for name, title in _TITLES.items()}
    artist = Artist()
    sections = []
    for place, file in enumerate(sorted(files, key=lambda file: order[file.kind])):
        if file.kind is None:
            continue
        progress.step(f"drawing {file.name}", file.size + _DRAWING)
        section = Section(f"file-{place}", titles[file.kind], file.name)
        sections.append(section)
        section.damage = _damage(file)
        if section.damage is None:
            _fill(section, file, file.kind, Context(artist, settings, _elements_of(store)))
    return sections


def _elements_of(store: Results) -> Callable[[], Assembly]:
    return lambda: store.assembly


def _fill(section: Section, file: File, kind: Type[ResultObject], context: Context) -> None:
    try:
        with kind(file.path, "text" if file.text else "binary") as data:
            fill(section, data, context)
    except DamagedError as error:
        section.damage = str(error)
    except (OSError, Error, ValueError, KeyError, IndexError, MemoryError) as error:
        # A file may hold what its class allows and no picture can show.
        section.remarks.append(f"Only a part of this section could be made: {error}")


def _damage(file: File) -> Optional[str]:
    """What is wrong with a file that is not whole."""
    if file.state == "whole":
        return None
    byte, cause = file.fault if file.fault is not None else (0, "it is damaged")
    saved = (
        f"fieldstore repair saves {file.bodies:,} whole {'body' if file.bodies == 1 else 'bodies'} of it"
        if file.state == "torn"
        else "No part of it could be read as what its name says"
    )
    return f"Byte {byte:,} of {size(file.size)}: {cause}. {saved}."

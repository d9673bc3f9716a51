# SPDX-License-Identifier: Apache-2.0
"""The program fieldstore-report, which ``fieldstore report`` runs."""

from __future__ import annotations

import argparse
import os
import sys
from typing import Optional, Sequence

from .. import _output
from .._numbers import size
from .._open import Results
from .._progress import Progress
from ..plot.command import _parts
from ._report import render, work_of

NAME = "fieldstore report"


def _parser() -> argparse.ArgumentParser:
    parser = argparse.ArgumentParser(
        prog=NAME,
        description="Writes one HTML file with what a directory of results holds: state, pictures and\n"
        "tables. It needs nothing else to be looked at.",
        epilog="A file that is damaged is shown as damaged, and does not stop the rest.\n\n"
        "Exit status: 0 done, 2 trouble.\n\n"
        "Examples:\n"
        "  fieldstore report results/ -o report.html\n"
        "  fieldstore report results/ -o report.html --reference 500 --force",
        formatter_class=argparse.RawDescriptionHelpFormatter,
    )
    add = parser.add_argument
    add("directory", metavar="DIRECTORY", help="directory of result files")
    add("-o", "--output", metavar="OUT", required=True, help="file to write; - for standard output")
    add("--reference", type=float, default=50.0, metavar="OHM",
        help="reference impedance of the scattering parameters (50)")
    add("--z", type=_parts, metavar="RE,IM", help="matrix types of the impedances; else labels tell, or 0,1")
    add("--y", type=_parts, metavar="RE,IM", help="matrix types of the admittances")
    add("--s", type=_parts, metavar="RE,IM", help="matrix types of the scattering parameters")
    add("--force", action="store_true", help="replace an output file that exists")
    return parser


def _report(arguments: argparse.Namespace) -> int:
    output = arguments.output
    if output != "-":
        _output.require_free(output, arguments.force)
    Results(arguments.directory)  # raises when it is no directory
    parts = {kind: getattr(arguments, kind) for kind in "zys" if getattr(arguments, kind) is not None}
    if len(parts) > 1:
        raise ValueError("at most one of --z, --y and --s can be given")
    if not arguments.reference > 0:
        raise ValueError("a reference impedance is positive")
    with Progress(work_of(arguments.directory)) as progress:
        report = render(
            arguments.directory, reference=arguments.reference, parts=parts, progress=progress
        )
    content = report.html.encode("utf-8")
    if output == "-":
        sys.stdout.buffer.write(content)
        sys.stdout.buffer.flush()
    else:
        _output.write_whole(output, content, arguments.force)
        _output.say(NAME, f"wrote {os.path.normpath(output)}, {size(len(content))}")
    if report.damaged:
        files = "1 file is" if report.damaged == 1 else f"{report.damaged} files are"
        _output.say(NAME, f"{files} damaged; the report says how")
    return _output.DONE


def main(words: Optional[Sequence[str]] = None) -> int:
    """Runs the program; returns its exit status."""
    arguments = _parser().parse_args(words)
    return _output.run(NAME, lambda: _report(arguments))


if __name__ == "__main__":
    sys.exit(main())

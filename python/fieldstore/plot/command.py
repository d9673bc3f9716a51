# SPDX-License-Identifier: Apache-2.0
"""The program fieldstore-plot, which ``fieldstore plot`` runs: one picture of one file."""

from __future__ import annotations

import argparse
import io
import os
import sys
from typing import Any, Callable, Dict, List, NamedTuple, Optional, Sequence, Tuple

import fieldstore

from .. import _output
from .._optional import need
from ._axes import notes

NAME = "fieldstore plot"


class Picture(NamedTuple):
    """What can be drawn of a class: the function, and the options that it knows."""

    of: type
    options: Tuple[str, ...]
    draw: Callable[[Any, Any, Any], Any]


def _pictures() -> Dict[str, Picture]:
    from fieldstore import plot

    network = ("z", "y", "s", "reference")

    def of_network(function: Any) -> Any:
        return lambda data, given, ax: function(
            data, z=given.z, y=given.y, s=given.s, z0=given.reference, ax=ax
        )

    def of_metrics(function: Any) -> Any:
        return lambda data, given, ax: function(data, *_types(data, given), given.component, ax=ax)

    def on_mesh(function: Any) -> Any:
        def draw(data: Any, given: Any, ax: Any) -> Any:
            elements = fieldstore.open(_beside(data, given.assembly), fieldstore.Assembly)
            wanted = None if given.entity is None else _types(data, given)
            if wanted is None and function is plot.field:
                raise ValueError("say which vectors with --entity and --value")
            keywords = {} if function is plot.field else {"on": given.on}
            return function(
                data, elements, wanted, given.component, index=given.index, ax=ax, **keywords
            )

        return draw

    def of_mode(function: Any) -> Any:
        return lambda data, given, ax: function(data, _port(data, given), ax=ax)

    modes, matrices, metrics = fieldstore.Modes, fieldstore.Matrices, fieldstore.Metrics
    values = ("entity", "value", "component")
    return {
        "phase-constant": Picture(modes, ("port",), of_mode(plot.gamma)),
        "attenuation": Picture(
            modes,
            ("port",),
            lambda data, given, ax: plot.gamma(data, _port(data, given), "real", ax=ax),
        ),
        "voltage": Picture(modes, ("port",), of_mode(plot.voltage)),
        "current": Picture(modes, ("port",), of_mode(plot.current)),
        "impedance": Picture(modes, ("port",), of_mode(plot.impedance)),
        "s-db": Picture(matrices, network, of_network(plot.s_db)),
        "s-phase": Picture(matrices, network, of_network(plot.s_phase)),
        "smith": Picture(matrices, network, of_network(plot.smith)),
        "matrix": Picture(
            matrices,
            ("type", "frequency"),
            lambda data, given, ax: plot.heatmap(
                data, next(iter(data)) if given.type is None else given.type, given.frequency, ax=ax
            ),
        ),
        "convergence": Picture(metrics, values, of_metrics(plot.convergence)),
        "metric": Picture(
            metrics,
            (*values, "index"),
            lambda data, given, ax: plot.metric(
                data, *_types(data, given), given.component, index=given.index, ax=ax
            ),
        ),
        "mesh": Picture(metrics, (*values, "index", "on", "assembly"), on_mesh(plot.mesh)),
        "field": Picture(metrics, (*values, "index", "assembly"), on_mesh(plot.field)),
        "sparsity": Picture(fieldstore.DofMap, (), lambda data, _, ax: plot.sparsity(data, ax=ax)),
        "pairs": Picture(fieldstore.MeshTree, (), lambda data, _, ax: plot.pairs(data, ax=ax)),
        "records": Picture(fieldstore.DofList, (), lambda data, _, ax: plot.records(data, ax=ax)),
        "tree": Picture(
            fieldstore.BinaryTree,
            ("counter",),
            lambda data, given, ax: plot.tree(data, counter=given.counter, ax=ax),
        ),
        "ports": Picture(fieldstore.PortCircuitDofs, (), lambda data, _, ax: plot.ports(data, ax=ax)),
        "assembly": Picture(fieldstore.Assembly, (), lambda data, _, ax: plot.assembly(data, ax=ax)),
    }


def _port(modes: Any, given: Any) -> int:
    return int(modes.ports[0]) if given.port is None else int(given.port)


def _types(metrics: Any, given: Any) -> Tuple[int, int]:
    """The types of values that were asked for; the first that fit what was given."""
    for entity, value in metrics.definitions:
        if given.entity in (None, entity) and given.value in (None, value):
            return entity, value
    raise KeyError(f"{metrics.path} has no values of these types")


def _beside(metrics: Any, given: Optional[str]) -> str:
    return given or os.path.join(os.path.dirname(metrics.path), fieldstore.Assembly.file_name)


def _parts(text: str) -> Any:
    """One matrix type, or those of the real and the imaginary part, as in 0,1."""
    numbers = [int(part) for part in text.split(",")]
    if len(numbers) > 2:
        raise ValueError(text)
    return numbers[0] if len(numbers) == 1 else (numbers[0], numbers[1])


def _parser(pictures: Dict[str, Picture]) -> argparse.ArgumentParser:
    by_class: Dict[str, List[str]] = {}
    for name, picture in pictures.items():
        by_class.setdefault(picture.of.__name__, []).append(name)
    listed = "\n".join(f"  {kind:16}{', '.join(names)}" for kind, names in by_class.items())
    parser = argparse.ArgumentParser(
        prog=NAME,
        description="Draws one picture of a result file.",
        epilog=f"Pictures, by what a file holds:\n{listed}\n\n"
        "Exit status: 0 done, 2 trouble.\n\n"
        "Examples:\n"
        "  fieldstore plot results/circuitmatrices.dat --what smith -o s.svg\n"
        "  fieldstore plot results/solutiondata.dat --what mesh --entity 3 --value 1 -o mesh.png",
        formatter_class=argparse.RawDescriptionHelpFormatter,
    )
    add = parser.add_argument
    add("file", metavar="FILE", help="result file")
    add("-o", "--output", metavar="OUT", required=True,
        help="picture to write; its suffix says the format: svg, png or pdf; - for SVG to standard output")
    add("--what", choices=list(pictures), metavar="PICTURE", help="see below; else the first one")
    add("--class", dest="class_", metavar="CLASS", help="class of the file; else its name tells")
    add("--port", type=int, help="port of the modes; else the first one")
    add("--z", type=_parts, metavar="RE,IM", help="matrix types of the impedances; else labels tell, or 0,1")
    add("--y", type=_parts, metavar="RE,IM", help="matrix types of the admittances")
    add("--s", type=_parts, metavar="RE,IM", help="matrix types of the scattering parameters")
    add("--reference", type=float, default=50.0, metavar="OHM", help="reference impedance (50)")
    add("--type", type=int, help="matrix type; else the first one")
    add("--frequency", type=float, metavar="HZ", help="frequency of the matrix; else the middle one")
    add("--entity", type=int, help="entity type of metrics; else the first one")
    add("--value", type=int, help="value type of metrics; else the first one")
    add("--component", type=int, default=0, help="number of the component of the vectors (0)")
    add("--index", type=int, help="index of metrics, such as the pass; else the last one")
    add("--on", choices=("nodes", "elements"), help="what the entities are; else labels tell")
    add("--assembly", metavar="FILE", help="file with the elements; else assemblyinfo.dat beside FILE")
    add("--counter", type=int, choices=range(1, 6), help="counter of the leaves of a tree")
    add("--size", type=_size, default=(6.4, 4.4), metavar="WxH", help="in inches (6.4x4.4)")
    add("--force", action="store_true", help="replace an output file that exists")
    return parser


def _size(text: str) -> Tuple[float, float]:
    width, height = (float(part) for part in text.split("x"))
    if not (0.5 <= width <= 100 and 0.5 <= height <= 100):
        raise ValueError(text)
    return width, height


def picture(figure: Any, format: str) -> bytes:
    """The bytes of a figure; the same ones each time."""
    out = io.BytesIO()
    undated: Dict[str, Any] = {"svg": {"Date": None}, "pdf": {"CreationDate": None}}
    metadata = undated.get(format)
    figure.savefig(out, format=format, dpi=150, metadata=metadata, bbox_inches="tight")
    return out.getvalue()


def _draw(arguments: argparse.Namespace, pictures: Dict[str, Picture]) -> int:
    format = "svg" if arguments.output == "-" else os.path.splitext(arguments.output)[1][1:].lower()
    if format not in ("svg", "png", "pdf"):
        raise ValueError(f"{arguments.output}: no format. Let its name end with .svg, .png or .pdf.")
    need("matplotlib", NAME)
    if os.path.isdir(arguments.file):
        raise IsADirectoryError(21, "this is a directory; name one of its files", arguments.file)
    data = fieldstore.open(arguments.file, arguments.class_)
    fitting = [name for name, known in pictures.items() if isinstance(data, known.of)]
    what = arguments.what or fitting[0]
    if what not in fitting:
        raise ValueError(
            f"{arguments.file} has no {what}, as it holds {type(data).__name__}. Its pictures: "
            + ", ".join(fitting)
        )
    from matplotlib import rc_context
    from matplotlib.figure import Figure

    with rc_context({"svg.hashsalt": "fieldstore"}):
        figure = Figure(figsize=arguments.size, layout="constrained")
        ax = figure.add_subplot()
        pictures[what].draw(data, arguments, ax)
        content = picture(figure, format)
    for text in notes(ax):
        _output.say(NAME, text)
    if arguments.output == "-":
        sys.stdout.buffer.write(content)
        sys.stdout.buffer.flush()
    else:
        _output.write_whole(arguments.output, content, arguments.force)
    return _output.DONE


def main(words: Optional[Sequence[str]] = None) -> int:
    """Runs the program; returns its exit status."""
    pictures = _pictures()
    arguments = _parser(pictures).parse_args(words)
    return _output.run(NAME, lambda: _draw(arguments, pictures))


if __name__ == "__main__":
    sys.exit(main())

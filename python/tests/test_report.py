# SPDX-License-Identifier: Apache-2.0
"""What a report holds: structure, numbers, damage, thinning."""

from __future__ import annotations

import html.parser
import json
import os
import pathlib
import pty
import re
import signal
import subprocess
import sys
import time
from typing import Any, Dict, List, Optional, Tuple

import fieldstore
import numpy as np
import pytest

pytest.importorskip("matplotlib").use("Agg")
from fieldstore.report import command, render  # noqa: E402
from test_examples import make_store  # noqa: E402

VOID = {"meta", "link", "br"}


class Outline(html.parser.HTMLParser):
    """Elements with their attributes, their nesting checked."""

    def __init__(self, page: str) -> None:
        super().__init__()
        self.open: List[str] = []
        self.found: List[Tuple[str, Dict[str, Optional[str]]]] = []
        self.feed(page)
        assert self.open == []

    def handle_starttag(self, tag: str, attributes: Any) -> None:
        self.found.append((tag, dict(attributes)))
        if tag not in VOID:
            self.open.append(tag)

    def handle_startendtag(self, tag: str, attributes: Any) -> None:
        self.found.append((tag, dict(attributes)))

    def handle_endtag(self, tag: str) -> None:
        assert self.open.pop() == tag

    def all(self, *tags: str) -> List[Dict[str, Optional[str]]]:
        return [attributes for tag, attributes in self.found if tag in tags]


@pytest.fixture()
def results(tmp_path: pathlib.Path, monkeypatch: pytest.MonkeyPatch) -> pathlib.Path:
    """A store of all classes, and a check that finds a problem in one of them."""
    directory = tmp_path / "results"
    directory.mkdir()
    make_store(directory)
    tool = tmp_path / "tool"
    finding = {"kind": "problem", "offset": 1234, "text": "values are <odd>"}
    answer = [{"path": str(directory / "evtree.dat"), "verdict": "problems", "problems": 1,
               "findings": [finding]}]
    tool.write_text(f"#!/bin/sh\ncat <<'END'\n{json.dumps(answer)}\nEND\n")
    tool.chmod(0o755)
    monkeypatch.setenv("FIELDSTORE_TOOL", str(tool))
    return directory


def test_a_page_is_whole_and_asks_for_nothing(results: pathlib.Path) -> None:
    report = render(results)
    outline = Outline(report.html)
    assert report.damaged == 0
    ids = [str(attributes["id"]) for _, attributes in outline.found if "id" in attributes]
    assert len(ids) == len(set(ids))
    for tag, attributes in outline.found:
        for name, value in attributes.items():
            assert not name.startswith("on") and tag != "script"
            if name in ("href", "xlink:href", "src"):
                text = str(value)
                assert text.startswith("data:") or (text[0] == "#" and text[1:] in ids)
    assert "@import" not in report.html and re.findall(r"url\((?!#)", report.html) == []
    pictures = outline.all("svg")
    assert len(pictures) > 15
    assert all(p["role"] == "img" and len(str(p["aria-label"])) > 30 for p in pictures)
    levels = [int(tag[1]) for tag, _ in outline.found if re.fullmatch("h[1-6]", tag)]
    assert levels[0] == 1 and levels.count(1) == 1
    assert all(next_ - level <= 1 for level, next_ in zip(levels, levels[1:]))
    assert all("scope" in cell for cell in outline.all("th"))
    regions = [each for each in outline.all("div") if each.get("role") == "region"]
    assert len(regions) > 8 and all(each["tabindex"] == "0" and each["aria-label"] for each in regions)


def test_it_tells_what_is_stored(results: pathlib.Path) -> None:
    page = render(results).html
    for known in fieldstore.CLASSES.values():
        assert known.class_name in page and known.file_name in page
    assert "10 GHz to 11 GHz" in page and "209 j" in page
    assert '<span class="bad">1 problem</span>' in page
    assert "byte 1,234: values are &lt;odd&gt;" in page
    # Im γ of the first mode, as those hear it who do not see the picture.
    assert "mode 0: 2 points from 209 to 230, between 209 and 230" in page
    assert "no picture of the mesh" in page


def test_damaged_files_are_shown_and_the_rest_goes_on(results: pathlib.Path) -> None:
    whole = render(results).html.count("<svg")
    (results / "evtree.dat").write_bytes((results / "evtree.dat").read_bytes()[:20])
    (results / "file3.dat").unlink()
    (results / "file3.dat").mkdir()  # no file is no result
    (results / "modeinfo.dat").write_bytes(b"")
    (results / "notes.txt").write_text("someone's own")
    report = render(results)
    assert report.damaged == 1
    assert "<strong>Damaged.</strong> Byte" in report.html and "notes.txt" not in report.html
    assert whole - 10 <= report.html.count("<svg") < whole


def test_names_cannot_steer_the_page(tmp_path: pathlib.Path, monkeypatch: pytest.MonkeyPatch) -> None:
    directory = tmp_path / "<script>alert(1)\u202e"
    directory.mkdir()
    monkeypatch.setenv("FIELDSTORE_TOOL", "/nonexistent")
    with fieldstore.Store(directory, version="<b>\x1b") as store:
        store.metrics.define(1, 1)
        store.metrics.add(1, 1, range(3), [1.0, 2.0, 3.0])
        store.metrics.add_edges([1], [[1, 2]])
    label = json.dumps({"valueTypes": {"11": {"name": "</svg><img src=x onerror=y>$\\frac{$"}}})
    (directory / "labels.json").write_text(label)
    page = render(directory).html
    assert not Outline(page).all("img", "script", "b")
    assert "\u202e" not in page and "\x1b" not in page and "\\u202e" in page
    assert "could not be run" in page


def test_large_sets_are_thinned_visibly(tmp_path: pathlib.Path) -> None:
    side = 400
    x, y = np.meshgrid(np.arange(side + 1.0), np.arange(side + 1.0))
    ids = np.arange(1, (side + 1) ** 2 + 1)
    corner = np.arange(side * (side + 1)).reshape(side, side + 1)[:, :side].ravel() + 1
    nodes = np.concatenate([
        np.stack([corner, corner + 1, corner + side + 2], 1),
        np.stack([corner, corner + side + 2, corner + side + 1], 1)])
    elements = np.arange(1, len(nodes) + 1)
    with fieldstore.Store(tmp_path) as store:
        store.metrics.add_nodes(ids, np.stack([x.ravel(), y.ravel(), 0 * x.ravel()], 1))
        store.metrics.add_edges([1], [[1, 2]])
        store.metrics.define(3, 1)
        store.metrics.add(3, 1, elements, np.sqrt(elements))
        begins = np.arange(len(nodes) + 1)
        none = (0 * begins, np.zeros(0, int))
        store.assembly.add(elements, 0 * elements, (3 * begins, nodes.ravel()), none, none)
    (tmp_path / "labels.json").write_text('{"entityTypes": {"3": {"name": "element"}}}')
    page = render(tmp_path).html
    assert "Mean of the 320,000 triangles in each of 300 x 300 cells." in page
    assert len(page) < 3_000_000


def test_the_program(
    results: pathlib.Path, tmp_path: pathlib.Path, capsys: pytest.CaptureFixture[str]
) -> None:
    out = tmp_path / "report.html"
    assert command.main([str(results), "-o", str(out)]) == 0
    assert "wrote" in capsys.readouterr().err and out.read_text().endswith("</html>\n")
    for words, said in (
        ([str(results), "-o", str(out)], "exists already"),
        ([str(tmp_path / "none"), "-o", str(tmp_path / "x.html")], "No such file"),
        ([str(out), "-o", str(tmp_path / "x.html")], "Not a directory"),
        ([str(results), "-o", str(tmp_path)], "is a directory"),
        ([str(results), "-o", str(tmp_path / "x.html"), "--z", "0", "--y", "1"], "at most one"),
    ):
        assert command.main(words) == 2 and said in capsys.readouterr().err
    assert not (tmp_path / "x.html").exists()


def test_a_program_that_is_ended_leaves_nothing(results: pathlib.Path, tmp_path: pathlib.Path) -> None:
    """With a bar on the terminal, and a file that stays as it was."""
    out = tmp_path / "out" / "report.html"
    out.parent.mkdir()
    out.write_text("before")
    master, terminal = pty.openpty()
    words = [sys.executable, "-m", "fieldstore.report.command", str(results), "-o", str(out), "--force"]
    process = subprocess.Popen(words, stderr=terminal, env={**os.environ, "FIELDSTORE_PROGRESS_DELAY": "1"})
    os.close(terminal)
    seen = b""
    while b"drawing" not in seen:
        seen += os.read(master, 1000)
    assert b"[#" in seen or b"[." in seen
    process.send_signal(signal.SIGTERM)
    deadline = time.monotonic() + 60
    while process.poll() is None and time.monotonic() < deadline:
        try:
            os.read(master, 1000)
        except OSError:
            time.sleep(0.01)
    os.close(master)
    assert process.wait() == 143
    assert out.read_text() == "before" and list(out.parent.iterdir()) == [out]

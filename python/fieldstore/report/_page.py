# SPDX-License-Identifier: Apache-2.0
"""The HTML of a report. All texts from files and names are escaped; there is no script."""

from __future__ import annotations

import datetime
import html
import importlib.resources
import os
from typing import Any, Dict, List, NamedTuple, Tuple

from .. import _fieldstore
from .._numbers import size
from .._output import visible
from ._content import Cells, Drawing, Section
from ._facts import File

MOST_FINDINGS = 50
# The page asks nothing of anyone, even if a text in it tried to.
_POLICY = "default-src 'none'; style-src 'unsafe-inline'; img-src data:; base-uri 'none'; form-action 'none'"


class Overview(NamedTuple):
    """What the head of the page tells: the directory, its files, what could not be looked at, the
    verdicts of ``fieldstore check`` by path, and why there are none."""

    directory: str
    files: List[File]
    troubles: List[str]
    verdicts: Dict[str, Any]
    trouble: str


def page(overview: Overview, sections: List[Section]) -> str:
    """The whole page."""
    name = os.path.basename(overview.directory) or overview.directory
    links = "".join(
        f'<li><a href="#{section.anchor}">{text(section.title)}</a>{_badge(section)}</li>'
        for section in sections
    )
    body = "".join(_section(section) for section in sections)
    return f"""<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<meta name="color-scheme" content="light dark">
<meta http-equiv="Content-Security-Policy" content="{_POLICY}">
<link rel="icon" href="data:,">
<title>Results in {text(name)}</title>
<style>
{_style()}</style>
</head>
<body>
<a class="skip" href="#content">Skip to the content</a>
<header>
<h1>Results in <span class="path">{text(name)}</span></h1>
{_summary(overview)}
</header>
<nav aria-label="Sections"><ul><li><a href="#stored">What is stored</a></li>{links}</ul></nav>
<main id="content" tabindex="-1">
{_stored(overview, sections)}
{body}</main>
<footer><p>Made by fieldstore {text(_fieldstore.__version__)}. Results: <span class="path">\
{text(overview.directory)}</span></p></footer>
</body>
</html>
"""


def text(content: Any) -> str:
    """A text for HTML; what could steer the reading direction or a terminal is shown."""
    return html.escape(visible(str(content)))


def _style() -> str:
    return (importlib.resources.files("fieldstore.report") / "style.css").read_text("utf-8")


def _summary(overview: Overview) -> str:
    total = size(sum(file.size for file in overview.files))
    count = len(overview.files)
    newest = max((os.path.getmtime(file.path) for file in overview.files), default=None)
    facts = [f"{count} result {'file' if count == 1 else 'files'}", total]
    if newest is not None:
        facts.append(f"last stored {_time(newest)}")
    facts.append(f"report of {_time(datetime.datetime.now().timestamp())}")
    return f'<p class="lead">{" · ".join(map(text, facts))}</p>'


def _time(seconds: float) -> str:
    return datetime.datetime.fromtimestamp(seconds).astimezone().strftime("%Y-%m-%d %H:%M %z")


def _badge(section: Section) -> str:
    return ' <span class="bad">damaged</span>' if section.damage else ""


def _stored(overview: Overview, sections: List[Section]) -> str:
    anchors = {section.file: section.anchor for section in sections}
    rows = "".join(_file_row(file, overview, anchors.get(file.name, "")) for file in overview.files)
    header = "".join(
        f'<th scope="col"{" class=n" if right else ""}>{name}</th>'
        for name, right in (
            ("File", False), ("Class", False), ("State", False), ("Check", False), ("Mode", False),
            ("Size", True), ("Bodies", True), ("Entries", True), ("Seal", False), ("Version", False),
        )
    )
    table = _scrolled(
        "Files",
        f'<table class="files"><caption>Files</caption><thead><tr>{header}</tr></thead>'
        f"<tbody>{rows}</tbody></table>",
    )
    return f"""<section id="stored" aria-labelledby="stored-title">
<h2 id="stored-title">What is stored</h2>
{table}
{_findings(overview)}
</section>
"""


def _file_row(file: File, overview: Overview, anchor: str) -> str:
    state = file.state + (", locked by a writer" if file.locked else "")
    kind = file.kind.class_name if file.kind else "–"
    name = f'<a href="#{anchor}">{text(file.name)}</a>' if anchor else text(file.name)
    unreadable = file.state == "unreadable"
    mode = "–" if unreadable else "text" if file.text else "binary"
    good = "good" if file.state == "whole" else "bad"
    cells = [
        f"<td>{text(kind)}{' (guess)' if file.guessed else ''}</td>",
        f'<td><span class="{good}">{text(state)}</span></td>',
        f"<td>{_verdict(file, overview)}</td>",
        f"<td>{mode}</td>",
        f'<td class="n">{size(file.size)}</td>',
        f'<td class="n">{file.bodies:,}</td>',
        f'<td class="n">{file.entries:,}</td>',
        f"<td>{text(file.seal)}</td>",
        f"<td>{text(file.version if file.version is not None else '–')}</td>",
    ]
    return f'<tr><th scope="row">{name}</th>{"".join(cells)}</tr>'


def _verdict(file: File, overview: Overview) -> str:
    verdict = overview.verdicts.get(file.path)
    if verdict is None:
        return "not checked"
    found = verdict.get("findings", [])
    if verdict.get("verdict") == "sound":
        return f'<span class="good">sound</span>{_counted(len(found), ", {} note")}'
    problems = verdict.get("problems", 0)
    return f'<span class="bad">{_counted(problems, "{} problem") or text(verdict.get("verdict"))}</span>'


def _counted(count: int, words: str) -> str:
    return "" if count == 0 else words.format(count) + ("" if count == 1 else "s")


def _findings(overview: Overview) -> str:
    items = [f'<li class="problem">{text(trouble)}</li>' for trouble in overview.troubles]
    left = 0
    for file in overview.files:
        verdict = overview.verdicts.get(file.path) or {}
        found = verdict.get("findings", [])
        left += max(len(found) - MOST_FINDINGS, 0)
        if "trouble" in verdict:
            items.append(f'<li class="problem">{text(verdict["trouble"])}</li>')
        items += [_finding(file, finding) for finding in found[:MOST_FINDINGS]]
    more = f"<p class=note>{left:,} more findings: fieldstore check --full.</p>" if left else ""
    listed = f"<ul class=findings>{''.join(items)}</ul>{more}" if items else "<p>None.</p>"
    if overview.trouble:
        listed += f'<p class="bad">The files were not checked. {text(overview.trouble)}</p>'
    return f"<h3>What the check finds</h3>{listed}"


def _finding(file: File, finding: Dict[str, Any]) -> str:
    """A finding as ``fieldstore check --json`` gives it."""
    problem = finding.get("kind") == "problem"
    return (
        f'<li class="{"problem" if problem else "remark"}"><span class="path">{text(file.name)}</span>: '
        f'byte {finding.get("offset", 0):,}: {"" if problem else "note: "}'
        f"{text(finding.get('text', ''))}</li>"
    )


def _section(section: Section) -> str:
    parts = [f'<h2 id="{section.anchor}-title">{text(section.title)}</h2>']
    parts.append(f'<p class="lead path">{text(section.file)}</p>')
    if section.damage is not None:
        parts.append(f'<p class="damage" role="note"><strong>Damaged.</strong> {text(section.damage)}</p>')
    if section.facts:
        facts = "".join(f"<div><dt>{text(k)}</dt><dd>{text(v)}</dd></div>" for k, v in section.facts)
        parts.append(f"<dl>{facts}</dl>")
    tables = [_table(table) for table in section.tables]
    if section.drawings:
        # A picture or two leave room for the tables beside them.
        beside = tables if len(section.drawings) <= 2 else []
        wide = " wide" if len(section.drawings) == 1 else ""
        heading = "Pictures and numbers" if beside else "Pictures"
        parts.append(f'<h3>{heading}</h3><div class="pictures">')
        parts += [_figure(drawing) for drawing in section.drawings]
        parts += [f'<div class="beside{wide}">{table}</div>' for table in beside]
        parts.append("</div>")
        tables = [] if beside else tables
    if tables:
        parts.append("<h3>Numbers</h3>")
        parts += tables
    if section.remarks:
        parts.append("<h3>Remarks</h3><ul>")
        parts += [f"<li>{text(remark)}</li>" for remark in section.remarks]
        parts.append("</ul>")
    inside = "\n".join(parts)
    return f'<section id="{section.anchor}" aria-labelledby="{section.anchor}-title">\n{inside}\n</section>\n'


def _figure(drawing: Drawing) -> str:
    picture = drawing.svg.replace("<svg", f'<svg role="img" aria-label="{text(drawing.description)}"', 1)
    notes = "".join(f'<span class="note">{text(note)}</span>' for note in drawing.notes)
    return f"<figure>{picture}<figcaption>{text(drawing.title)}{notes}</figcaption></figure>"


def _table(table: Cells) -> str:
    right = [_is_number(cells) for cells in zip(*table.rows)] or [False] * len(table.header)
    head = "".join(
        f'<th scope="col"{" class=n" if number else ""}>{text(name)}</th>'
        for name, number in zip(table.header, right)
    )
    rows = "".join(_row(row, right) for row in table.rows)
    note = f'<p class="note">{text(table.note)}</p>' if table.note else ""
    whole = (
        f"<table><caption>{text(table.caption)}</caption><thead><tr>{head}</tr></thead>"
        f"<tbody>{rows}</tbody></table>"
    )
    return _scrolled(table.caption, whole) + note


def _row(row: Tuple[str, ...], right: List[bool]) -> str:
    cells = "".join(
        f'<td{" class=n" if number else ""}>{text(cell)}</td>'
        for cell, number in list(zip(row, right))[1:]
    )
    number = " class=n" if right[0] else ""
    return f'<tr><th scope="row"{number}>{text(row[0])}</th>{cells}</tr>'


def _is_number(cells: Tuple[str, ...]) -> bool:
    return all(cell[:1].isdigit() or cell[:1] in "−–∞" for cell in cells)


def _scrolled(label: str, content: str) -> str:
    """What is wider than a phone scrolls on its own, by keyboard as well."""
    return f'<div class="scroll" tabindex="0" role="region" aria-label="{text(label)}">{content}</div>'

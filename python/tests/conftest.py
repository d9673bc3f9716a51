# SPDX-License-Identifier: Apache-2.0
"""Result files for the tests."""

from __future__ import annotations

import pathlib
import re
from typing import Dict

import fieldstore
import pytest

FORMAT = pathlib.Path(__file__).parents[2] / "docs" / "file-format.md"
FILES = {known.class_name: known.file_name for known in fieldstore.CLASSES.values()}


def documented_examples() -> Dict[str, bytes]:
    """The bytes of the examples in the description of the file format, by their headings."""
    sections = re.split(r"^### ", FORMAT.read_text(), flags=re.MULTILINE)[1:]
    examples = {}
    for section in sections:
        dump = re.search(r"```hex\n(.*?)```", section, re.DOTALL)
        if dump:
            words = re.findall(r"^ *\d+  ((?:[0-9a-f]{2} ?){1,16})", dump[1], re.MULTILINE)
            examples[section.split("\n")[0]] = bytes.fromhex(" ".join(words))
    return examples


@pytest.fixture(scope="session")
def documented(tmp_path_factory: pytest.TempPathFactory) -> pathlib.Path:
    """A store of the examples, each in its class's file, in binary."""
    directory = tmp_path_factory.mktemp("documented")
    for heading, content in documented_examples().items():
        if heading in FILES:
            (directory / FILES[heading]).write_bytes(content)
    return directory

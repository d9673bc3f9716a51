# SPDX-License-Identifier: Apache-2.0
"""Compares a data file with its seal, by docs/seal-format.md alone; prints the bodies that changed.

Usage: verify_seal.py DATA
"""
import json
import sys

import xxhash


def digest(content):
    return xxhash.xxh3_128_hexdigest(content)


def changed_bodies(path):
    with open(path + ".seal", "rb") as file:
        lines = file.read().splitlines(keepends=True)
    head, *bodies, last = (json.loads(line) for line in lines)
    if last != {"lines": len(lines) - 1, "xxh3_128": digest(b"".join(lines[:-1]))}:
        raise SystemExit("the seal is damaged")
    with open(path, "rb") as file:
        content = file.read(head["length"])
    changed = [body["body"] for body in bodies if body["xxh3_128"] !=
               digest(content[body["begin"]:body["begin"] + body["length"]])]
    if head["head_xxh3_128"] != digest(content[:bodies[0]["begin"] if bodies else None]):
        changed.insert(0, 0)
    if (head["xxh3_128"] == digest(content)) != (changed == []):
        raise SystemExit("the whole and its parts disagree")
    return changed


if __name__ == "__main__":
    print(*changed_bodies(sys.argv[1]))

# SPDX-License-Identifier: Apache-2.0
"""What the drivers of the campaigns share: where things are, counting, and what a driver says."""
import argparse
import collections
import json
import os
import pathlib
import shutil
import signal
import sys
import tempfile
import threading
import time

ROOT = pathlib.Path(__file__).resolve().parents[2]
CLASSES = {}  # what the build says of each class, by name


def parser(description):
    """The options that every driver has."""
    options = argparse.ArgumentParser(description=description)
    options.add_argument("--build", type=lambda path: pathlib.Path(path).resolve(),
                         default=ROOT / "build/release",
                         help="the build directory of the hosts and the tool")
    options.add_argument("--short", action="store_true", help="the form for every change")
    options.add_argument("--seed", type=int, default=1, help="of everything random")
    options.add_argument("--shown", type=int, default=3, help="examples per kind of fault")
    return options


def read_classes(build):
    CLASSES.update(json.loads((build / "classes.json").read_text(encoding="utf-8")))


def appends(name):
    return CLASSES[name]["appends"]


def built(build, *names):
    """Where the build has put the hosts and libraries of the campaigns."""
    return [str(build / "reliability/campaigns" / name) for name in names]


def tool(build):
    return str(build / "tool/fieldstore")


def scratch(parent=None):
    """A new directory, in memory where that is possible."""
    if parent is None:
        parent = "/dev/shm" if os.access("/dev/shm", os.W_OK) else None
    return pathlib.Path(tempfile.mkdtemp(prefix="fieldstore-campaign-", dir=parent))


def terminate_on_signals():
    """Has a termination leave through `finally`, which ends processes and removes directories."""
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(143))


class Report:
    """Counts what was tried and what came of it, and keeps the faults."""

    def __init__(self, what, arguments):
        self.what = what
        self.shown = arguments.shown
        self.begin = time.monotonic()
        self.counts = collections.Counter()
        self.faults = []
        self.lock = threading.Lock()

    def count(self, name, number=1):
        with self.lock:
            self.counts[name] += number

    def fault(self, title, detail):
        with self.lock:
            self.faults.append((title, detail))

    def progress(self, name):
        """Says on a terminal what is being tried."""
        if sys.stderr.isatty():
            sys.stderr.write(f"\r\033[K{time.monotonic() - self.begin:5.0f} s  {name}"[:100])

    def close(self):
        """Prints everything; the exit status."""
        if sys.stderr.isatty():
            sys.stderr.write("\r\033[K")
        print(f"{self.what}: {time.monotonic() - self.begin:.1f} s")
        for name in sorted(self.counts):
            print(f"  {self.counts[name]:8d}  {name}")
        kinds = collections.Counter(title for title, _ in self.faults)
        for kind, number in kinds.most_common():
            print(f"  FAULT {number:4d} times: {kind}")
            for detail in [d for title, d in self.faults if title == kind][:self.shown]:
                print(f"      {detail}")
        print("  no fault" if not self.faults else f"  {len(self.faults)} faults")
        return 1 if self.faults else 0


def remove(directory):
    shutil.rmtree(directory, ignore_errors=True)

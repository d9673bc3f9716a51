#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Cuts the power while hosts commit, and looks for what they had acknowledged.

A file system lies on a disk that records, in order, what is written to it, when it is told to keep
that for good, and each acknowledgement of a host (recorded_disk). From the record come copies of the
disk as a power cut may leave them, at any moment: all that was written until then, or only what was
written before the last command to keep it, or of what was written since then some sectors and others
not. A copy is mounted, and then: everything acknowledged before the cut loads with its values, a
replaced file is the acknowledged content or a later one, fieldstore repair saves all acknowledged
bodies of a torn file, a lock left by the dead is cleared, one more commit under the lock succeeds, and
the file loads with all of it.
"""
import concurrent.futures
import ctypes
import dataclasses
import os
import pathlib
import random
import re
import subprocess
import sys
import threading
import uuid

import common
from recorded_disk import FILE_SYSTEMS, Copies, Record, RecordedDisk, places, run, unmount

SKIPPED = 77
PATIENCE = 120  # seconds for a host
LAST_KEY = 99  # of the commit after the cut; no run gets there
COPIES_AGAIN = 8  # behind a torn tail on which a host goes on
TAILS_AGAIN = 2  # of one disk
COPIES = 100  # of each file system, class and form; runs share them
SMALL, LARGE = 40, 100000  # numbers of a body
SIZED = ("POModeInfo", "POCircuitMatrices", "POAssemblyInfo", "POMeshTree")  # the others: samples
UNSYNCED = "unsynced"  # hosts that want no durability
# What a host may lack, and where that has to be seen: the others are syncs that get lost. Without
# those of directories only a renaming is lost, as the sync of a new file brings its name along here.
WEAKNESSES = {UNSYNCED: ("POMeshTree replaced", "POCircuitMatrices grows", "POModeInfo new"),
              "directories": ("POMeshTree replaced",),
              "files": ("POMeshTree replaced", "POCircuitMatrices grows")}
HOST = DISK = TOOL = LOST_SYNCS = SLOW_WRITES = ""
FAULTS = ("acknowledged lost", "wrong values", "old contents lost", "commits failed")
STOP = threading.Event()


@dataclasses.dataclass(frozen=True)
class Case:
    """A class and what its commits do: a file grows, is replaced, or is new each time. One that grew
    may grow on after a first cut, until a second one."""
    name: str
    form: str

    def __str__(self):
        return f"{self.name} {self.form}"

    def appends(self):
        return common.appends(self.name)


@dataclasses.dataclass(frozen=True)
class Variant:
    mode: str
    large: bool
    neighbour: bool  # another program keeps writing to the disk and syncing

    def size(self, name):
        return 0 if name not in SIZED else LARGE if self.large else SMALL

    def __str__(self):
        return (f"{self.mode} {'large' if self.large else 'small'}"
                + (" beside a neighbour" if self.neighbour else ""))


AGAIN = "grows, cut again"
CASES = []  # of every class, by make_cases()
VARIANTS = (Variant("binary", False, False), Variant("text", True, True),
            Variant("binary", True, False), Variant("text", False, False),
            Variant("binary", True, True))


def make_cases():
    CASES.extend(Case(name, form) for name in sorted(common.CLASSES, key=common.appends, reverse=True)
                 for form in (("grows", AGAIN, "new") if common.appends(name)
                              else ("replaced", "new")))


def on_another_machine():
    """What a command begins with that runs after the cut, as on a machine of another name. Marks of
    appends tell that, as they tell a machine that was started again."""
    return ["unshare", "--uts", "sh", "-c", 'hostname "$0" && exec "$@"', f"after-{uuid.uuid4()}"]


class Check:
    """Looks at a mounted copy."""

    def __init__(self, case, variant, files, scratch, acknowledged):
        self.start = on_another_machine()
        self.case, self.variant, self.files, self.scratch = case, variant, files, scratch
        self.acknowledged = acknowledged
        self.faults = []
        self.counts = {}
        self.lost = set()  # (file, key), each once, however often it is missed

    def fault(self, kind, detail):
        self.faults.append(f"{kind}: {detail}")
        self.count(kind)

    def lose(self, path, keys, detail):
        new = {(path.name, key) for key in keys} - self.lost
        if new:
            self.faults.append(f"acknowledged lost: {len(new)}, {detail}")
        self.lost |= new
        self.counts["acknowledged lost"] = len(self.lost)

    def count(self, kind, number=1):
        self.counts[kind] = self.counts.get(kind, 0) + number

    def tool(self, *words):
        return subprocess.run([*self.start, TOOL, *map(str, words)], stdout=subprocess.DEVNULL, text=True,
                              stderr=subprocess.PIPE, stdin=subprocess.DEVNULL, check=False,
                              timeout=PATIENCE)

    def load(self, paths):
        """(result, keys) of each; result None for values that nobody wrote."""
        done = subprocess.run([*self.start, HOST, "keys", self.case.name, self.variant.mode,
                               *map(str, paths)],
                              stdout=subprocess.PIPE, text=True, check=False, timeout=PATIENCE)
        lines = done.stdout.splitlines()
        if done.returncode != 0 or len(lines) != len(paths):
            raise RuntimeError(f"The host of a load ends with {done.returncode}.")
        return [(None, set()) if line == "wrong" else
                (int(line.split()[0]), set(map(int, line.split()[1:]))) for line in lines]

    def run(self):
        if self.case.form != "new":
            path = self.files / "FILE.dat"
            self.look(path, self.acknowledged, self.load([path])[0], range(LAST_KEY))
            return
        paths = [self.files / f"FILE{key}.dat" for key in range(LAST_KEY)]
        last = max(self.acknowledged, default=-1)
        for key, (path, loaded) in enumerate(zip(paths, self.load(paths))):
            if key >= last and loaded[0] != 2:  # the last ones are seen through to the end
                self.look(path, {key} & self.acknowledged, loaded, [key])
            else:
                self.contents(path, {key} & self.acknowledged, loaded, [key])

    def look(self, path, acknowledged, loaded, begun):
        self.contents(path, acknowledged, loaded, begun)
        if self.case.appends() and loaded[0] != 2:
            self.repair(path, acknowledged)
        self.commit(path, acknowledged, loaded[1])

    def contents(self, path, acknowledged, loaded, begun):
        """What a load gives."""
        result, keys = loaded
        where = f"{path.name}, {len(acknowledged)} acknowledged, result {result}, keys {keys}"
        if result is None or not keys <= set(begun):
            return self.fault("wrong values", where)
        if not self.case.appends():
            if result == 1 or (result == 2 and acknowledged) or (result == 0 and not keys):
                return self.fault("old contents lost", where)
            if result == 0 and acknowledged and max(keys) < max(acknowledged):
                self.lose(path, {max(acknowledged)}, where)
            return None
        if result == 1:  # of metrics, an empty file does not load
            return self.lose(path, acknowledged, where)
        if self.has_tail(path):
            self.count("torn tails")
        return self.lose(path, acknowledged - keys, where)

    def has_tail(self, path):
        """Whether an append that a mark tells of has lengthened the file."""
        mark = path.with_name(path.name + ".undo")
        length = mark.read_text().partition("\n")[0] if mark.exists() else ""
        return length.isdecimal() and path.exists() and path.stat().st_size > int(length)

    def repair(self, path, acknowledged):
        """Of an appended file: a torn tail costs nothing that was acknowledged."""
        saved = self.scratch / "saved"
        done = self.tool("repair", path, "-o", saved, "--class", self.case.name, "--force")
        result, keys = self.load([saved])[0] if done.returncode == 0 else (2, set())
        saved.unlink(missing_ok=True)
        if result is None:
            self.fault("wrong values", f"{path.name}, repaired")
        else:
            self.lose(path, acknowledged - keys, f"{path.name}, repaired: {done.stderr}")

    def commit(self, path, acknowledged, held):
        """One more commit of another host, once a person has cleared the lock of the dead."""
        lock = path.with_suffix(".lck")
        if lock.exists():
            self.count("locks left")
            done = self.tool("unlock", "--force", path)
            if done.returncode != 0 or lock.exists():
                return self.fault("commits failed", f"unlock: {done.stderr}")
        if path.with_name(path.name + ".undo").exists():
            self.count("marks left")
        done = subprocess.run(
            [*self.start, HOST, "write", self.case.name, self.variant.mode, str(path),
             str(self.variant.size(self.case.name)), str(LAST_KEY), "1", "1", "/dev/null", "synced"],
            stderr=subprocess.PIPE, text=True, check=False, timeout=PATIENCE)
        if done.returncode != 0:
            return self.fault("commits failed", f"{path.name}: {done.stderr}")
        result, keys = self.load([path])[0]
        if result is None:
            return self.fault("wrong values", f"{path.name}, after one more commit")
        if result != 0 or LAST_KEY not in keys:
            return self.fault("commits failed", f"{path.name}: a load after one gives {result}")
        if self.case.appends():
            self.lose(path, (acknowledged | held) - keys, f"{path.name}, after one more commit")
        return None


class Neighbour(threading.Thread):
    """Another program on the disk, whose syncs make the file system write at any moment, the half of
    a commit included."""

    LIBRARY = ctypes.CDLL(None)

    def __init__(self, directory, seed):
        super().__init__(daemon=True)
        self.path, self.random = directory / "neighbour", random.Random(seed)
        self.ended = threading.Event()

    def run(self):
        with open(self.path, "ab", buffering=0) as file:
            while not self.ended.wait(self.random.uniform(0, 0.01)):
                file.write(bytes(self.random.randrange(2000)))
                if self.random.random() < 0.5:
                    os.fsync(file.fileno())
                else:
                    self.LIBRARY.syncfs(file.fileno())

    def stop(self):
        self.ended.set()
        self.join()


def environment(weakness, neighbour, files):
    """Of the hosts: what is preloaded. Beside a neighbour, who should find files half written, they
    write slowly."""
    preloaded, settings = [], {}
    if weakness not in (None, UNSYNCED):
        preloaded.append(LOST_SYNCS)
        settings["LOST_SYNCS"] = weakness
    if neighbour:
        preloaded.append(SLOW_WRITES)
        settings |= {"SHORT_BELOW": str(files), "SHORT_LIMIT": "32768", "SHORT_PAUSE": "1000"}
    return {**os.environ, **settings, "LD_PRELOAD": ":".join(preloaded)}


def commit_all(disk, case, variant, commits, weakness, seed, first=0, start=()):
    """Has hosts commit to the file system of the disk; `start` is what their commands begin with."""
    writers = 2 if case.form == "grows" else 1
    path = disk.files / ("FILE#.dat" if case.form == "new" else "FILE.dat")
    neighbour = Neighbour(disk.files, seed) if variant.neighbour else None
    running = []
    disk.note("begin")
    try:
        if neighbour:
            neighbour.start()
        for writer in range(writers):
            running.append(subprocess.Popen(
                [*start, HOST, "write", case.name, variant.mode, str(path),
                 str(variant.size(case.name)), str(first + writer), str(commits // writers), str(writers), str(disk.acknowledged()),
                 "unsynced" if weakness == UNSYNCED else "synced"],
                stdin=subprocess.DEVNULL, env=environment(weakness, variant.neighbour, disk.files)))
        for process in running:
            if process.wait(PATIENCE) != 0:
                raise RuntimeError(f"A host of {case}, {variant} fails.")
    finally:
        for process in running:
            if process.poll() is None:
                process.kill()
                process.wait()
        if neighbour:
            neighbour.stop()
    disk.note("end")


class Campaign:
    def __init__(self, report, weakness=None):
        self.report, self.weakness = report, weakness
        self.rows = {}  # (file system, case): counts
        self.lock = threading.Lock()

    def add(self, system, case, counts):
        with self.lock:
            row = self.rows.setdefault((system.name, case), {})
            for kind, number in counts.items():
                row[kind] = row.get(kind, 0) + number

    def run(self, system, case, variant, copies, seed):
        """One disk, hosts on it, and copies of it."""
        if STOP.is_set():
            return
        title = f"{system.name}: {case}, {variant}"
        self.report.progress(title)
        chance = random.Random(f"{seed} {title}")
        directory = common.scratch()
        commits = 24 if variant.size(case.name) == LARGE else 60
        try:
            with RecordedDisk(DISK, system, directory) as disk:
                commit_all(disk, case, variant, commits, self.weakness, f"{seed} {title}")
            self.report.count("commits acknowledged", commits)
            self.look_at_copies(system, case, variant, copies, directory, set(), title, chance)
        except (RuntimeError, subprocess.SubprocessError) as error:
            self.report.fault("the campaign itself fails", f"{title}: {error}")
        finally:
            common.remove(directory)

    def look_at_copies(self, system, case, variant, copies, directory, before, title, chance):
        """`before` was acknowledged before the record began."""
        record = Record(directory / "log")
        self.report.count("writes recorded", len(record.indices(Record.WRITE)))
        self.report.count("syncs recorded", len(record.indices(Record.SYNC)))
        maker = Copies(record, directory)
        torn = []
        for cut in places(record, copies, chance):
            if not STOP.is_set():
                manner = chance.choice(Copies.MANNERS)
                copy = maker.make(cut, manner, chance)
                acknowledged = before | record.acknowledged(cut)
                where = f"{title}, cut at {cut}, {manner}"
                untouched = directory / f"untouched-{len(torn)}"
                if case.form == "grows":
                    run("cp", copy, untouched)
                if self.look(system, case, variant, copy, acknowledged, where):
                    torn.append((untouched, acknowledged, where))
        if case.form == "grows" and self.weakness is None:
            for tail in torn[-TAILS_AGAIN:]:
                self.cut_again(system, case, variant, *tail, chance)

    def look(self, system, case, variant, copy, acknowledged, title):
        """Whether the copy has a torn tail."""
        directory = copy.parent / "files"
        check = Check(case, variant, directory, copy.parent, acknowledged)
        check.count("copies")
        check.count("acknowledged", len(acknowledged))
        try:
            run("mount", "-o", "loop," + system.options, copy, directory)
            check.run()
        except subprocess.CalledProcessError as error:
            check.fault("not mounted", f"{error} {error.stderr}")
        finally:
            unmount(directory)
            copy.unlink()
        self.add(system, case, check.counts)
        if self.weakness is None:
            for fault in check.faults:
                kind, detail = fault.split(": ", 1)
                self.report.fault(kind, f"{title}: {detail}")
        return "torn tails" in check.counts

    def cut_again(self, system, case, variant, torn, acknowledged, title, chance):
        """The power goes a second time, while a host commits behind a torn tail."""
        directory = common.scratch()
        case = Case(case.name, AGAIN)
        try:
            with RecordedDisk(DISK, system, directory, torn) as disk:
                run(TOOL, "unlock", "--force", disk.files / "FILE.dat")
                commit_all(disk, case, variant, 2, None, title, first=LAST_KEY - 2,
                           start=on_another_machine())
            self.look_at_copies(system, case, variant, COPIES_AGAIN, directory, acknowledged,
                                f"{title}, again", chance)
        finally:
            common.remove(directory)

    COLUMNS = ("copies", "acknowledged", "acknowledged lost", "wrong values", "old contents lost",
               "torn tails", "locks left", "marks left", "commits failed", "not mounted")

    def print_table(self):
        print("| file system | class | form | " + " | ".join(self.COLUMNS) + " |")
        print("|---" * (3 + len(self.COLUMNS)) + "|")
        for (system, case), counts in sorted(self.rows.items(), key=lambda row: str(row[0])):
            values = " | ".join(str(counts.get(column, 0)) for column in self.COLUMNS)
            print(f"| {system} | {case.name} | {case.form} | {values} |")

    def print_summary(self, systems):
        """Copies: acknowledged commits, of these lost, wrong values, old contents lost, and commits
        that failed afterwards."""
        print("| class | form | " + " | ".join(system.name for system in systems) + " |")
        print("|---" * (2 + len(systems)) + "|")
        for case in sorted({case for _, case in self.rows}, key=CASES.index):
            cells = [self.rows.get((system.name, case), {}) for system in systems]
            print(f"| `{case.name}` | {case.form} | " + " | ".join(
                f"{cell.get('copies', 0)}: {cell.get('acknowledged', 0):,} / "
                + " / ".join(str(cell.get(kind, 0)) for kind in FAULTS) for cell in cells) + " |")

    def total(self, system, kinds):
        return sum(counts.get(kind, 0) for (name, _), counts in self.rows.items()
                   if name == system.name for kind in kinds)


def available(systems):
    """Those that the kernel and the machine have; says which are left out."""
    kernel = pathlib.Path("/proc/filesystems").read_text().split()
    found = []
    for system in systems:
        if system.kernel in kernel:
            found.append(system)
        else:
            print(f"{system.name} is skipped: the kernel does not have it.", file=sys.stderr)
    return found


def tasks(arguments, systems, weakness):
    """(file system, case, variant, copies), the file systems in turn."""
    if weakness is not None:
        return [(system, case, VARIANTS[1], 8) for case in CASES if str(case) in WEAKNESSES[weakness]
                for system in systems]
    cases = [case for case in CASES
             if case.form != AGAIN and re.search(arguments.only, str(case))]
    if arguments.short:
        kept = ("POMeshTree replaced", "POCircuitMatrices grows", "POModeInfo grows")
        cases = [case for case in cases if str(case) in kept]
        return [(system, case, VARIANTS[number % 3], 6) for number, case in enumerate(cases)
                for system in systems]
    each = -(-COPIES // len(VARIANTS))
    return [(system, case, variant, each) for case in cases for variant in VARIANTS
            for system in systems]


def run_all(campaign, arguments, systems):
    pool = concurrent.futures.ThreadPoolExecutor(arguments.jobs)
    running = [pool.submit(campaign.run, *task, arguments.seed)
               for task in tasks(arguments, systems, campaign.weakness)]
    try:
        for task in concurrent.futures.as_completed(running):
            task.result()
    except BaseException:
        STOP.set()
        raise
    finally:
        pool.shutdown(cancel_futures=True)


def self_check(report, arguments, systems):
    """What a library would lose without its syncs, or without some of them, must be seen."""
    for weakness in WEAKNESSES:
        campaign = Campaign(report, weakness)
        run_all(campaign, arguments, systems)
        print(f"\nWithout syncs of {weakness}:\n" if weakness != UNSYNCED else "\nUnsynced:\n")
        campaign.print_table()
        for system in systems:
            number = campaign.total(system, FAULTS)
            report.count(f"faults seen, {weakness}, {system.name}", number)
            if number == 0:
                report.fault("losses are not seen", f"{weakness}, {system.name}")


def main():
    options = common.parser(__doc__.splitlines()[0])
    options.add_argument("--only", default="", help="a regular expression of classes and forms")
    options.add_argument("--file-systems", nargs="+", help="their names; all without it",
                         choices=[system.name for system in FILE_SYSTEMS])
    options.add_argument("--jobs", type=int, default=2, help="disks at a time")
    options.add_argument("--self-check", action="store_true",
                         help="syncs are left out, and the losses have to be seen")
    options.add_argument("--table", action="store_true",
                         help="a table as docs/reliability.md has it")
    arguments = options.parse_args()
    common.read_classes(arguments.build)
    make_cases()
    common.terminate_on_signals()
    global HOST, DISK, TOOL, LOST_SYNCS, SLOW_WRITES
    HOST, DISK, LOST_SYNCS, SLOW_WRITES = common.built(
        arguments.build, "power_host", "recorded_disk", "liblost_syncs.so", "libshort_transfers.so")
    TOOL = common.tool(arguments.build)
    systems = available([system for system in FILE_SYSTEMS
                         if system.name in (arguments.file_systems or system.name)])
    if not systems:
        return SKIPPED
    report = common.Report("Power cuts" + (", self-check" if arguments.self_check else ""),
                           arguments)
    if arguments.self_check:
        self_check(report, arguments, systems)
    else:
        campaign = Campaign(report)
        run_all(campaign, arguments, systems)
        if arguments.table:
            campaign.print_summary(systems)
        else:
            campaign.print_table()
        for kind in ("copies", "acknowledged", "torn tails", "locks left", "marks left"):
            report.count(f"in all: {kind}", sum(campaign.total(system, (kind,))
                                                  for system in systems))
    return report.close()


if __name__ == "__main__":
    sys.exit(main())

#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Kills processes at random moments while they commit to one file.

Eight writers share the commits. After every kill the others are brought to where none holds the
lock, so that a lock that still stands was left by the dead. Then: fieldstore ls shows it, the others
cannot commit while it stands and change nothing, fieldstore repair saves every commit that was
acknowledged, fieldstore unlock clears the lock, and a new process takes the place of the dead. At
the end every acknowledged commit is there.
"""
import json
import mmap
import os
import random
import re
import signal
import struct
import subprocess
import sys
import time

import common

WRITERS = 8
PARKED = 2  # as crowd_host has it
COMMITS_PER_KILL = 4
PATIENCE = 60  # seconds for the others to come to rest, and for a writer's end
HOST = TOOL = ""


class Crowd:
    """The writers of one file."""

    def __init__(self, report, name, mode, commits, size, seed, repairs):
        self.report, self.name, self.mode, self.size = report, name, mode, size
        self.title = f"{name} {mode}" + (", repaired after each kill" if repairs else "")
        self.repairs = repairs
        self.appends = common.appends(name)
        self.random = random.Random(seed)
        self.directory = common.scratch()
        self.data = self.directory / "FILE.dat"
        self.lock = self.directory / "FILE.lck"
        self.acknowledged = self.directory / "acknowledged"
        self.acknowledged.touch()
        control = self.directory / "control"
        control.write_bytes(bytes(4096))
        with open(control, "r+b") as file:
            self.memory = mmap.mmap(file.fileno(), 4096)
        self.each = commits // WRITERS
        self.writers = {}
        self.found = set()  # keys in the file after the last kill
        self.old_mark = None  # of a dead process, which the next commit clears

    def fault(self, title, detail=""):
        self.report.fault(title, f"{self.title}, files {sorted(os.listdir(self.directory))} {detail}")

    # ---- writers ----

    def keys_of(self, slot):
        return range(slot, slot + self.each * WRITERS, WRITERS)

    def start(self, slot):
        """A writer of the keys of this slot that are not there yet. A killed commit may have stored
        its body without having said so; a second one would put the elements of an assembly twice."""
        done = self.acknowledged_keys() | (self.found if self.appends else set())
        left = [key for key in self.keys_of(slot) if key not in done]
        struct.pack_into("i", self.memory, 4 * (slot + 1), PARKED)
        if left:
            self.writers[slot] = subprocess.Popen(
                [HOST, "write", self.name, self.mode, str(self.data), str(self.size), str(left[0]),
                 str(len(left)), str(WRITERS), str(self.acknowledged),
                 str(self.directory / "control"), str(slot + 1)], stdout=subprocess.DEVNULL)

    def acknowledged_keys(self):
        return {int(line) for line in self.acknowledged.read_text().splitlines()}

    def state(self, slot):
        return struct.unpack_from("i", self.memory, 4 * (slot + 1))[0]

    def set_gate(self, closed):
        struct.pack_into("i", self.memory, 0, int(closed))

    def living(self):
        return [slot for slot, writer in self.writers.items() if writer.poll() is None]

    def close_gate(self):
        """Returns when nobody holds the lock or can take it."""
        self.set_gate(True)
        limit = time.monotonic() + PATIENCE
        while any(self.state(slot) != PARKED for slot in self.living()):
            if time.monotonic() > limit:
                raise RuntimeError("The writers do not come to rest.")
            time.sleep(0.0005)

    def wait_for_commits(self, number):
        """Lets the crowd get on, however slow the machine is."""
        wanted = len(self.acknowledged_keys()) + number
        while self.living() and len(self.acknowledged_keys()) < wanted:
            time.sleep(0.001)

    # ---- after a kill ----

    def tool(self, *words):
        return subprocess.run([TOOL, *map(str, words)], stdout=subprocess.PIPE, text=True,
                              stderr=subprocess.PIPE, stdin=subprocess.DEVNULL, check=False)

    def keys(self, path):
        """(result of a load, keys)"""
        done = subprocess.run([HOST, "keys", self.name, self.mode, str(path)], check=False,
                              stdout=subprocess.PIPE, text=True)
        if done.returncode != 0:
            self.fault("a load gives wrong data")
            return 1, set()
        result, *keys = map(int, done.stdout.split())
        return result, set(keys)

    def bytes_on_disk(self):
        return self.data.read_bytes() if self.data.exists() else b""

    def mark(self):
        """Tells one mark of an append from another; None when none stands."""
        try:
            found = (self.directory / "FILE.dat.undo").stat()
        except FileNotFoundError:
            return None
        return found.st_ino, found.st_mtime_ns

    def look_at_lock(self):
        if not self.lock.exists():
            if self.mark() not in (None, self.old_mark):
                self.fault("a mark stands without a lock")
            return
        self.report.count("locks left behind")
        if self.data.exists():
            listed = json.loads(self.tool("ls", "--json", "--class", self.name, self.data).stdout)
            if "lock" not in json.dumps(listed):
                self.fault("fieldstore ls does not show the lock")
        before = self.bytes_on_disk()
        self.set_gate(False)
        time.sleep(0.02)
        self.close_gate()
        if self.bytes_on_disk() != before:
            self.fault("another process wrote while the lock of the dead stood")

    def look_at_data(self):
        """What a load or a repair saves; all that was acknowledged must be in it."""
        acknowledged = self.acknowledged_keys()
        if not self.data.exists():
            if acknowledged:
                self.fault("the file is gone")
            return
        result, keys = self.keys(self.data)
        if result != 0 and not self.appends:
            return self.fault("a replaced file is torn")
        if result != 0:
            self.report.count("torn tails left behind")
            keys = self.keys_after_repair()
        self.found |= keys
        if self.appends and not keys >= acknowledged:
            self.fault("acknowledged commits are lost", f"{len(acknowledged - keys)} of them")

    def keys_after_repair(self):
        saved = self.directory / "saved"
        done = self.tool("repair", self.data, "-o", saved, "--class", self.name, "--json", "--force")
        if done.returncode != 0:
            return set()
        result, keys = self.keys(saved)
        if result != 0:
            self.fault("a repaired file does not load")
        saved.unlink()
        return keys

    def clear(self):
        if self.lock.exists():
            done = self.tool("unlock", "--force", self.data)
            if done.returncode != 0 or self.lock.exists():
                self.fault("fieldstore unlock does not clear the lock", done.stderr)
        self.old_mark = self.mark()
        if self.repairs and self.data.exists() and self.keys(self.data)[0] != 0:
            self.tool("repair", "--in-place", self.data, "--class", self.name,
                      "--lock-directory", self.lock.parent)
            for backup in self.directory.glob("FILE.dat.bak*"):
                backup.unlink()

    # ---- the campaign ----

    def kill_one(self):
        living = self.living()
        if not living:
            return
        busy = [slot for slot in living if self.state(slot) != PARKED]
        slot = self.random.choice(busy or living)
        self.writers[slot].send_signal(signal.SIGKILL)
        self.writers[slot].wait()
        self.report.count("processes killed")
        self.close_gate()
        self.look_at_lock()
        self.look_at_data()
        self.clear()
        self.start(slot)
        self.set_gate(False)

    def run(self):
        self.report.progress(self.title)
        try:
            for slot in range(WRITERS):
                self.start(slot)
            while self.living():
                self.wait_for_commits(self.random.randrange(2 * COMMITS_PER_KILL))
                time.sleep(self.random.uniform(0, 0.005))
                self.kill_one()
            self.finish()
        finally:
            for writer in self.writers.values():
                if writer.poll() is None:
                    writer.kill()
            self.memory.close()
            common.remove(self.directory)

    def finish(self):
        """All is committed. The last kill may have been of a process that had just finished."""
        result, keys = self.keys(self.data)
        everything = {key for slot in range(WRITERS) for key in self.keys_of(slot)}
        lost = (self.acknowledged_keys() - keys) if self.appends else set()
        if result != 0:
            self.fault("the file does not load at the end")
        elif lost or (self.appends and keys != everything):
            self.fault("commits are lost at the end", f"{len(lost)} acknowledged ones")
        self.report.count("commits acknowledged", len(self.acknowledged_keys()))
        self.report.count("commits stored by processes killed before they said so",
                          len(everything - self.acknowledged_keys()) if self.appends else 0)
        self.report.count("acknowledged commits lost", len(lost))
        left = [name for name in os.listdir(self.directory) if ".new" in name]
        self.report.count("temporary files of killed processes", len(left))
        if (self.directory / "FILE.err").exists():
            lines = (self.directory / "FILE.err").read_text().splitlines()
            self.report.count("torn tails cut, as the error log says", len(lines))


def main():
    options = common.parser(__doc__.splitlines()[0])
    options.add_argument("--only", default="", help="a regular expression of classes and modes")
    options.add_argument("--rounds", type=int, default=3, help="of each kind of file")
    arguments = options.parse_args()
    common.read_classes(arguments.build)
    common.terminate_on_signals()
    global HOST, TOOL
    [HOST] = common.built(arguments.build, "crowd_host")
    TOOL = common.tool(arguments.build)
    report = common.Report("Killed writers", arguments)
    kinds = [("POModeInfo", "text", 40000), ("POModeInfo", "binary", 120000),
             ("POCircuitMatrices", "binary", 120000), ("POAssemblyInfo", "binary", 120000),
             ("POSolutionMetrics", "binary", 0), ("POMeshTree", "binary", 60000),
             ("POMeshTree", "text", 60000)]
    commits, rounds = 1000, arguments.rounds
    if arguments.short:
        kinds, commits, rounds = [kinds[0], kinds[2], kinds[5]], 400, 1
    kinds = [kind for kind in kinds if re.search(arguments.only, f"{kind[0]} {kind[1]}")]
    for number in range(rounds):
        for name, mode, size in kinds:
            for repairs in (False, True) if common.appends(name) else (False,):
                Crowd(report, name, mode, commits, size, arguments.seed + number, repairs).run()
                report.count("files")
    return report.close()


if __name__ == "__main__":
    sys.exit(main())

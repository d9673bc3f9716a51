#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Kills one rank of an MPI job at a random moment while the ranks commit as one, again and again.

After each kill, with the lock cleared, readers must see whole steps and nothing else: every step that
was acknowledged, at most one more, and no body of a step without the others. The next commit must
leave just these bodies and its own. In the full form, two ranks also store more than 2 GiB each.
"""
import os
import pathlib
import random
import shutil
import signal
import struct
import subprocess
import sys
import tempfile
import time

import common

PATIENCE = 60  # seconds for the other ranks to end
STEPS = 200
SIZES = (0, 20000, 140000)  # entries: sent to rank 0, the same in several pieces, written by each
ENVIRONMENT = dict(os.environ, OMPI_ALLOW_RUN_AS_ROOT="1", OMPI_ALLOW_RUN_AS_ROOT_CONFIRM="1",
                   OMPI_MCA_rmaps_base_oversubscribe="1", OMPI_MCA_mpi_yield_when_idle="1",
                   OMPI_MCA_hwloc_base_binding_policy="none")


class Round:
    def __init__(self, report, arguments, place, ranks, size):
        self.report = report
        self.host = str(arguments.build / "tests/mpi/fieldstore_mpi_host")
        self.tool = common.tool(arguments.build)
        self.ranks, self.size = ranks, size
        self.title = f"{ranks} ranks, size {size}, in {place}"
        self.directory = pathlib.Path(tempfile.mkdtemp(prefix="fieldstore-mpi-", dir=place))
        self.file = self.directory / "all.dat"

    def close(self):
        shutil.rmtree(self.directory)

    def command(self, **options):
        return (["mpirun", "-n", str(self.ranks), self.host, f"in={self.directory}",
                 f"size={self.size}"] + [f"{key}={value}" for key, value in options.items()])

    def fault(self, what, detail=""):
        self.report.fault(what, f"{self.title}, files {sorted(os.listdir(self.directory))} {detail}")

    def expected(self, steps):
        """The bytes of that many steps: a rank's matrices by ascending frequency in one body."""
        data = bytearray()
        for variant in range(steps * self.ranks):
            entries = [(int(2e9) + variant, 3, struct.pack("<4d", 1, 2, 3, 0.25))]
            if self.size:
                entries.insert(0, (variant, 1, struct.pack("<d", 0.5 + variant) * self.size))
            data += struct.pack("<q", len(entries))
            for frequency, kind, values in entries:
                data += struct.pack("<qiq", frequency, kind, len(values) // 8) + values
        return bytes(data)

    def step_size(self):
        return len(self.expected(1))

    def kill_one(self, chance, earliest, latest):
        """The steps that were acknowledged before the job ended."""
        job = subprocess.Popen(self.command(do="commit", steps=STEPS), env=ENVIRONMENT, text=True,
                               stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        while not self.file.exists() and job.poll() is None:
            time.sleep(0.002)
        time.sleep(chance.uniform(earliest, latest))
        listed = subprocess.run(["ps", "-o", "pid=", "--ppid", str(job.pid)], text=True,
                                capture_output=True, check=False).stdout.split()
        victims = [int(pid) for pid in listed]
        if victims and job.poll() is None:
            try:
                os.kill(chance.choice(victims), signal.SIGKILL)
                self.report.count("ranks killed")
            except ProcessLookupError:
                pass
        output = job.communicate(timeout=PATIENCE)[0]
        deadline = time.monotonic() + PATIENCE
        while any(os.path.exists(f"/proc/{pid}") for pid in victims):
            if time.monotonic() > deadline:
                self.fault("a rank outlived its job")
                break
            time.sleep(0.01)
        return output.split("\n").count("0 ")

    def look(self, acknowledged):
        if (self.directory / "all.lck").exists():
            self.report.count("locks left")
        marked = (self.directory / "all.dat.undo").exists()
        self.report.count("marks left", int(marked))
        seen = self.seen()
        size = self.step_size()
        steps, rest = divmod(len(seen), size)
        if rest or not acknowledged <= steps <= acknowledged + 1:
            return self.fault("lost or half a step", f"{acknowledged} told, {len(seen)} bytes")
        if seen != self.expected(steps):
            return self.fault("other bytes")
        self.report.count("steps acknowledged", acknowledged)
        self.report.count("steps stored, not acknowledged", steps - acknowledged)
        if self.file.stat().st_size > len(seen):
            self.report.count("torn steps")
        self.commit_again(seen)

    def seen(self):
        """What readers see; repairing copies just that."""
        out = self.directory / "seen.dat"
        subprocess.run([self.tool, "repair", "--class", "POCircuitMatrices", self.file, "-o", out],
                       capture_output=True, check=False)
        content = out.read_bytes() if out.exists() else b""
        out.unlink(missing_ok=True)
        return content

    def commit_again(self, seen):
        subprocess.run([self.tool, "unlock", "--force", self.file], capture_output=True, check=True)
        done = subprocess.run(self.command(do="commit"), env=ENVIRONMENT, text=True,
                              capture_output=True, timeout=PATIENCE, check=False)
        if done.returncode != 0 or done.stdout != "0 \n":
            return self.fault("the next commit failed", done.stdout)
        if self.file.read_bytes() != seen + self.expected(1):
            self.fault("the next commit left other bytes")


def kill(report, arguments, rounds):
    chance = random.Random(arguments.seed)
    places = ["/dev/shm", str(arguments.build)]
    for number in range(rounds):
        report.progress(f"kill {number + 1} of {rounds}")
        one = Round(report, arguments, places[number % 2], chance.choice((2, 3, 4, 8)),
                    SIZES[number % len(SIZES)])
        try:
            latest = 0.3 if one.size else 0.15
            one.look(one.kill_one(chance, 0, latest))
        except subprocess.TimeoutExpired:
            one.fault("a job that does not end")
        finally:
            one.close()


def store_more_than_counts_hold(report, arguments):
    """Two ranks with 2.4 GB each; counts of MPI end at 2 GiB."""
    report.progress("more than 2 GiB per rank")
    values = 300_000_000
    one = Round(report, arguments, "/dev/shm", 2, values)
    try:
        done = subprocess.run(one.command(do="commit"), env=ENVIRONMENT, text=True,
                              capture_output=True, check=False)
        if done.stdout != "0 \n":
            return one.fault("not stored", done.stdout + done.stderr)
        with open(one.file, "rb") as file:
            for variant in range(2):
                whole = file.read(28) == struct.pack("<qqiq", 2, variant, 1, values)
                value = struct.pack("<d", 0.5 + variant)
                block = value * 1_000_000
                for _ in range(values // 1_000_000):
                    whole = whole and file.read(len(block)) == block
                file.read(20 + 32)
                if not whole:
                    one.fault("other bytes in a large body")
            if file.read(1):
                one.fault("more bytes than were stored")
        report.count("bodies of 2.4 GB", 2)
    finally:
        one.close()


def main():
    parser = common.parser(__doc__)
    parser.add_argument("--rounds", type=int, help="jobs to kill")
    arguments = parser.parse_args()
    common.terminate_on_signals()
    report = common.Report("Killed ranks", arguments)
    kill(report, arguments, arguments.rounds or (6 if arguments.short else 300))
    if not arguments.short:
        store_more_than_counts_hold(report, arguments)
    return report.close()


if __name__ == "__main__":
    sys.exit(main())

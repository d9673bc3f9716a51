#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Sixteen processes on one file: some commit under the lock, the others load without it.

A load that gives 0 must have every value right and every body that was acknowledged before it began;
one that meets a body being appended may fail. A file that is replaced loads at every moment. Give
directories on other file systems, of a network say, to try those, where a renaming may take a moment.
"""
import pathlib
import subprocess
import sys
import tempfile

import common

PROCESSES = 16
PATIENCE = 600  # seconds for a file
HOST = ""


def crowd(report, parent, atomic, name, mode, size, writers, commits):
    """Runs the crowd on a new file in `parent`. `atomic` is whether a renaming there is."""
    directory = common.scratch(parent)
    data, stop, acknowledged = directory / "FILE.dat", directory / "stop", directory / "acknowledged"
    where = f"{name} {mode} in {parent}, {writers} writers"
    report.progress(where)
    acknowledged.touch()
    each = commits // writers
    running = []

    def begin(*words):
        process = subprocess.Popen([HOST, *map(str, words)], stdout=subprocess.PIPE, text=True,
                                   stderr=subprocess.PIPE)
        running.append(process)
        return process

    try:
        keys = range(writers)
        writing = [begin("write", name, mode, data, size, key, each, writers, acknowledged)
                   for key in keys]
        reading = [begin("read", name, mode, data, acknowledged, stop)
                   for _ in range(PROCESSES - writers)]
        for process in writing:
            output, errors = process.communicate(timeout=PATIENCE)
            if process.returncode != 0:
                report.fault("a writer fails", f"{where}: status {process.returncode} {errors}")
            else:
                report.count("commits tried again, as others held the lock for long", int(output))
        stop.touch()
        for process in reading:
            output, errors = process.communicate(timeout=PATIENCE)
            if process.returncode != 0:
                report.fault("a reader sees wrong data",
                             f"{where}: status {process.returncode} {errors}")
                continue
            whole, failed = map(int, output.split())
            kind = "appended to" if common.appends(name) else "replaced"
            report.count(f"loads of whole bodies from a file being {kind}", whole)
            report.count(f"failed loads of a file being {kind}", failed)
            if failed and kind == "replaced" and atomic:
                report.fault("a file that is replaced does not load at some moment", where)
        check(report, where, name, mode, data, each * writers)
    finally:
        for process in running:
            if process.poll() is None:
                process.kill()
        common.remove(directory)


def check(report, where, name, mode, data, commits):
    done = subprocess.run([HOST, "keys", name, mode, str(data)], stdout=subprocess.PIPE, text=True,
                          check=False)
    result, *keys = map(int, done.stdout.split() or [1])
    wanted = commits if common.appends(name) else 1
    if done.returncode != 0 or result != 0 or len(keys) != wanted:
        report.fault("bodies are missing at the end", f"{where}: {len(keys)} of {wanted}")
    # Names with a dot belong to the file system, as of files removed while others read them.
    left = sorted(path.name for path in data.parent.iterdir() if path.name[0] != ".")
    if left != ["FILE.dat", "acknowledged", "stop"]:
        report.fault("something is left behind", f"{where}: {left}")
    report.count("commits", commits)
    report.count("files")


def main():
    options = common.parser(__doc__.splitlines()[0])
    options.add_argument("directories", nargs="*", type=pathlib.Path,
                         help="where to work; in memory and on disk without any")
    arguments = options.parse_args()
    common.read_classes(arguments.build)
    common.terminate_on_signals()
    global HOST
    [HOST] = common.built(arguments.build, "crowd_host")
    places = arguments.directories or [pathlib.Path("/dev/shm"), pathlib.Path(tempfile.gettempdir())]
    report = common.Report(f"A crowd of {PROCESSES} processes", arguments)
    kinds = [("POModeInfo", "text", 40000), ("POModeInfo", "binary", 40000),
             ("POCircuitMatrices", "binary", 40000), ("POAssemblyInfo", "binary", 40000),
             ("POSolutionMetrics", "binary", 0), ("POMeshTree", "binary", 60000),
             ("POMeshTree", "text", 60000)]
    commits = 1200
    if arguments.short:
        kinds, commits = [kinds[0], kinds[2], kinds[5]], 240
    for place in places:
        for name, mode, size in kinds:
            for writers in (8,) if arguments.short else (2, 8, 14):
                crowd(report, place, not arguments.directories, name, mode, size, writers,
                      commits)
    return report.close()


if __name__ == "__main__":
    sys.exit(main())

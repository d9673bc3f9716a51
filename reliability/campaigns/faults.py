#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Makes each system call of an operation fail, one run per call and error.

A first run under strace lists the calls that touch the directory of the operation. Then, per call
and error, the directory is made anew and the operation runs with that call failing once, from there
on always, or with the process killed at it. From outside are checked the result code against the
bytes on disk, what was left behind, and that a later try succeeds. Pauses between attempts are
skipped, since strace has the sleeping return at once.
"""
import concurrent.futures
import itertools
import os
import pathlib
import re
import resource
import shlex
import signal
import subprocess
import sys
from dataclasses import dataclass

import common

HOST = TOOL = SHORT = ""
# A build that counts its coverage must not lose the counts to calls that keep failing.
NO_COUNTS = {"GCOV_PREFIX": "/dev/null"}
NO_STORAGE = 55  # the host's status when none could be built
LIMIT = 120  # seconds for a run; none takes one
ERRORS = {
    "openat": ("EACCES", "EMFILE", "ENOSPC", "EIO", "EINTR"),
    "read": ("EIO", "EINTR"),
    "write": ("EIO", "ENOSPC", "EINTR"),
    "close": ("EIO", "ENOSPC", "EINTR"),
    "rename": ("EIO", "EACCES", "ENOSPC"),
    "unlink": ("EIO", "EACCES"),
    "fsync": ("EIO", "ENOSPC", "EINTR"),
    "ftruncate": ("EIO", "EINTR"),
    "truncate": ("EIO", "EINTR"),
    "link": ("EIO", "EMLINK", "EPERM"),
}
ALIASES = {"writev": "write", "renameat": "rename", "renameat2": "rename", "unlinkat": "unlink",
           "fdatasync": "fsync", "linkat": "link", "copy_file_range": "write", "sendfile": "write"}
OTHERS = ("EIO", "EACCES")  # of all other calls: status, positions, modes


@dataclass
class Call:
    """The nth call of a kind that an operation makes, in its directory."""
    name: str
    number: int
    text: str

    def errors(self):
        return ERRORS.get(ALIASES.get(self.name, self.name), OTHERS)


@dataclass
class Injection:
    """Calls that fail: (call, error or KILL, whether all later ones of the kind do as well)."""
    faults: list

    def __str__(self):
        return ", ".join(f"{call.name} {call.number}{'+' if always else ''} {error} ({call.text})"
                         for call, error, always in self.faults)

    def options(self):
        names = {"clock_nanosleep"} | {call.name for call, _, _ in self.faults}
        options = ["-e", "trace=" + ",".join(sorted(names)),
                   "-e", "inject=clock_nanosleep:retval=0"]
        for call, error, always in self.faults:
            what = "signal=SIGKILL" if error == "KILL" else "error=" + error
            options += ["-e", f"inject={call.name}:{what}:when={call.number}{'+' if always else ''}"]
        return options

    def kills(self):
        return any(error == "KILL" for _, error, _ in self.faults)

    def fails(self, name):
        return any(ALIASES.get(call.name, call.name) == name for call, _, _ in self.faults)

    def always(self, name):
        return any(always and ALIASES.get(call.name, call.name) == name
                   for call, _, always in self.faults)


@dataclass
class Run:
    status: int
    output: str
    files: dict


def state_of(directory):
    """Relative name -> bytes of every file; error logs aside, which may always be written."""
    return {str(path.relative_to(directory)): path.read_bytes()
            for path in sorted(directory.rglob("*"))
            if path.is_file() and path.suffix != ".err"}


@dataclass
class Operation:
    """What is run, on which files. `{dir}` in a word is the directory."""
    name: str
    words: list
    before: dict
    directory: pathlib.Path
    uninteresting: tuple = ("execve", "mmap")

    def reset(self, files=None):
        common.remove(self.directory)
        (self.directory / "tmp").mkdir(parents=True)
        for name, content in (self.before if files is None else files).items():
            (self.directory / name).write_bytes(content)

    def command(self, words=None):
        return [str(word).replace("{dir}", str(self.directory)) for word in words or self.words]

    def run(self, words=None, prefix=(), before_exec=None, variables=None):
        environment = {**os.environ, "TMPDIR": str(self.directory / "tmp"), "LC_ALL": "C",
                       **(variables or {})}
        done = subprocess.run([*prefix, *self.command(words)], stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE, stdin=subprocess.DEVNULL, env=environment,
                              timeout=LIMIT, preexec_fn=before_exec, cwd="/", check=False)
        return Run(done.returncode, done.stdout.decode(errors="replace"),
                   state_of(self.directory))

    def inject(self, injection, words=None):
        lasting = any(always for _, _, always in injection.faults)
        return self.run(words, ["strace", "-qq", "-o", "/dev/null", *injection.options()],
                        variables=NO_COUNTS if lasting else None)

    def calls(self):
        """The calls of an undisturbed run that touch the directory, or its standard output."""
        self.reset()
        log = self.directory.with_suffix(".calls")
        self.run(prefix=["strace", "-qq", "-y", "-s", "0", "-o", str(log), "-e",
                         "trace=%file,%desc"])
        numbers, found = {}, []
        for line in log.read_text(errors="replace").splitlines():
            match = re.match(r"(\w+)\((.*)", line)
            if not match or match[1] in self.uninteresting:
                continue
            name, rest = match.groups()
            numbers[name] = numbers.get(name, 0) + 1
            where = rest.find(str(self.directory))
            if where >= 0:
                leaf = re.split(r'[">,]', rest[where + len(str(self.directory)):])[0]
                found.append(Call(name, numbers[name], leaf.lstrip("/") or "."))
            elif name in ("write", "writev") and rest.startswith("1<"):
                found.append(Call(name, numbers[name], "standard output"))
        log.unlink()
        return found


def singles(calls, short):
    """Each call failing once and from there on; an interruption never lasts."""
    for call in calls:
        errors = call.errors()
        for error in errors[:1] + errors[-1:] if short else errors:
            yield Injection([(call, error, False)])
            if error != "EINTR":
                yield Injection([(call, error, True)])


def kills(calls):
    for call in calls:
        yield Injection([(call, "KILL", False)])


def pairs(calls):
    """Two calls that fail, which is what the undoing of a failure has to bear. Only one of a kind
    can be named per run."""
    for first, second in itertools.combinations(calls, 2):
        if first.name != second.name:
            yield Injection([(first, "EIO", False), (second, "EIO", False)])


class Checker:
    """Runs an operation with its calls failing; subclasses know what may come of it."""

    def __init__(self, report, operation):
        self.report = report
        self.operation = operation

    def fault(self, title, injection, run):
        command = shlex.join(["strace", *(injection.options() if injection else []),
                              *self.operation.command()])
        left = {name: len(content) for name, content in run.files.items()}
        self.report.fault(title, f"{self.operation.name}: {injection}; status {run.status}, "
                                 f"files {left}\n      {command}")

    def campaign(self, short, with_pairs):
        self.report.progress(self.operation.name)
        self.reference()
        calls = self.operation.calls()
        injections = [*singles(calls, short), *kills(calls)]
        if with_pairs and not short:
            injections += pairs(calls)
        for injection in injections:
            self.operation.reset()
            try:
                run = self.operation.inject(injection)
            except subprocess.TimeoutExpired:
                self.report.fault("it hangs", f"{self.operation.name}: {injection}")
                continue
            self.report.count("runs with a failing call" if not injection.kills() else
                              "runs killed at a call")
            if injection.kills():
                self.check_killed(injection, run)
            elif run.status < 0 or run.status > 90:
                self.fault("it crashed", injection, run)
            else:
                self.check(injection, run)


class CommitChecker(Checker):
    """A commit to FILE.dat: stored whole with 0, taken back with 1."""
    DATA = "FILE.dat"

    def __init__(self, report, directory, word, name, mode, before, key, size):
        self.host = [HOST, word, name, mode, "{dir}/" + self.DATA]
        self.size = size
        self.class_name, self.mode = name, mode
        self.appends = common.appends(name)
        title = (f"{word} {name} {mode}, {size} numbers, "
                 f"on {len(before.get(self.DATA, b''))} bytes" + (", torn" if len(before) > 1 else ""))
        super().__init__(report, Operation(title, [*self.host, key, size, 1], before, directory))
        self.next_words = [*self.host, key + 1, size, 1]
        self.torn = None  # the files of a killed commit that left a torn tail
        self.mended = None  # of a commit that begins with a torn tail: the file without that

    def data(self, files):
        return files.get(self.DATA, b"")

    def reference(self):
        """What the file is before and after, and after another commit upon either."""
        operation = self.operation
        operation.reset()
        self.old = self.data(operation.before)
        run = operation.run()
        self.new = self.data(run.files)
        if run.status != 0:
            raise RuntimeError(f"{operation.name} fails undisturbed: {run.status}")
        self.next_on_new = self.data(operation.run(self.next_words).files)
        operation.reset()
        self.next_on_old = self.data(operation.run(self.next_words).files)

    def check(self, injection, run):
        last = 1 if run.status == NO_STORAGE else run.status % 10
        once = not any(always for _, _, always in injection.faults) and run.status != NO_STORAGE
        # One failed removal is repeated, but not after another failure.
        cannot_remove = injection.always("unlink") or (len(injection.faults) > 1 and
                                                       injection.fails("unlink"))
        left = [name for name in run.files if name != self.DATA]
        data = self.data(run.files)
        if last > 1:
            self.fault("a result that a commit does not have", injection, run)
        if any(name.endswith(".lck") for name in left) and not cannot_remove:
            self.fault("a lock was left behind", injection, run)
        if any(".new" in name for name in left) and not injection.fails("unlink"):
            self.fault("a temporary file was left behind", injection, run)
        marked = any(name.endswith(".undo") for name in left)
        if marked and last == 0 and not injection.fails("unlink"):
            self.fault("a mark was left behind by a commit that gave 0", injection, run)
        if last == 0 and data != self.new:
            self.fault("0, but the file is not what it should be", injection, run)
        expected = [self.next_on_new if last == 0 else self.next_on_old]
        if last == 1 and data != self.old:
            if cannot_remove and data == self.new:
                # The lock cannot be given back, which is no success, nor what is new be removed.
                self.report.count("commits that could not be taken back, as nothing can be removed")
                expected = [self.next_on_new]
            elif injection.fails("fsync") and not self.appends and data == self.new:
                # The new file is in place, but its name may not outlive a power cut.
                self.report.count("replaced files whose directory did not get to the disk")
                expected = [self.next_on_new]
            elif marked and self.appends:
                # That cuts a torn body and keeps a whole one, as it does behind the dead.
                self.report.count("failed commits left to the next one to take back")
                expected += [self.next_on_new] if data == self.new else []
            elif data != self.mended:  # cut, although the commit then failed
                self.fault("1, but the file is not what it was", injection, run)
        self.report.count(f"commits under a fault that gave {last}")
        self.check_next(injection, run, expected)
        if once and len(injection.faults) == 1:
            self.check_second_try(injection)

    def check_second_try(self, injection):
        operation = self.operation
        operation.reset()
        run = operation.inject(injection, [*operation.words[:-1], 2])
        if run.status % 10 != 0 or self.data(run.files) != self.new:
            self.fault("a second try of the same object does not succeed", injection, run)
        self.report.count("second tries")

    def check_next(self, injection, run, expected):
        """Another process commits afterwards, undisturbed."""
        if any(name.endswith(".lck") for name in run.files):
            (self.operation.directory / "FILE.lck").unlink()
        following = self.operation.run(self.next_words)
        if following.status != 0 or self.data(following.files) not in expected:
            self.fault("the next commit does not give the right file", injection, following)
        if any(name.endswith((".lck", ".undo")) for name in following.files):
            self.fault("the next commit leaves something behind", injection, following)

    def check_killed(self, injection, run):
        if run.status != -signal.SIGKILL:
            return self.fault("it was not killed", injection, run)
        data = self.data(run.files)
        for name in run.files:
            self.report.count(f"left by killed commits: {re.sub('[.]new.*', '.new', name)[4:]}")
        if self.DATA in self.operation.before and self.DATA not in run.files:
            self.fault("killed: the file is gone", injection, run)
        if self.appends:
            if not data.startswith(self.mended or self.old):
                self.fault("killed: earlier bodies were changed", injection, run)
            if data not in (self.old, self.new) and ".undo" in "".join(run.files) and self.old:
                self.torn = {name: content for name, content in run.files.items()
                             if not name.endswith(".lck")}
                self.check_repair(injection, run)
        elif data not in (self.old, self.new):
            self.fault("killed: the file is neither the old nor the new one", injection, run)
        locked = "FILE.lck" in run.files
        path = str(self.operation.directory / self.DATA)
        if locked and self.DATA in run.files:
            listed = self.operation.run([TOOL, "ls", path])
            if "locked" not in listed.output:
                self.fault("killed: fieldstore ls does not show the lock", injection, listed)
        if locked:
            cleared = self.operation.run([TOOL, "unlock", "--force", path])
            if cleared.status != 0 or "FILE.lck" in cleared.files:
                self.fault("killed: fieldstore unlock does not clear the lock", injection, cleared)
        following = self.operation.run(self.next_words)
        if following.status != 0 or self.data(following.files) not in (self.next_on_old,
                                                                       self.next_on_new):
            self.fault("killed: the next commit does not give the right file", injection, following)
        cut = len(data) > len(self.data(following.files)) or not self.data(following.files).startswith(data)
        said = (self.operation.directory / "FILE.err").exists()
        if self.appends and cut and not said:
            self.fault("killed: the next commit cut a torn tail and did not say so", injection,
                       following)
        if cut and said:
            self.report.count("torn tails cut by the next commit")

    def check_repair(self, injection, run):
        words = [TOOL, "repair", "{dir}/" + self.DATA, "-o", "{dir}/repaired", "--class",
                 self.class_name]
        repaired = self.operation.run(words)
        if repaired.status != 0 or self.operation.run(
                [HOST, "hash", self.class_name, self.mode, "{dir}/repaired"]).status != 0:
            self.fault("killed: fieldstore repair does not save the earlier bodies", injection, run)
        (self.operation.directory / "repaired").unlink(missing_ok=True)
        self.report.count("torn files repaired")


class LoadChecker(Checker):
    """A load: the right data or a failure, and no file touched."""

    def __init__(self, report, directory, name, mode, content):
        words = [HOST, "load", name, mode, "{dir}/FILE.dat", "HASH", 1]
        super().__init__(report, Operation(f"load {name} {mode} of {len(content)} bytes", words,
                                           {"FILE.dat": content}, directory))
        self.hash_words = [HOST, "hash", name, mode, "{dir}/FILE.dat"]

    def reference(self):
        self.operation.reset()
        self.operation.words[5] = self.operation.run(self.hash_words).output.strip()

    def check(self, injection, run):
        call, error, always = injection.faults[0]
        result = run.status % 10
        if result > 2 and run.status != NO_STORAGE:
            self.fault("a load with wrong data" if result == 3 else "a load that raises", injection, run)
        if call.name == "openat" and error != "EINTR" and result != 2:
            self.fault("a file that could not be opened is not result 2", injection, run)
        if run.files != self.operation.before:
            self.fault("a load changed files", injection, run)
        self.report.count(f"loads under a fault that gave {result}")
        if not always and len(injection.faults) == 1 and run.status != NO_STORAGE:
            again = self.operation.inject(injection, [*self.operation.words[:-1], 2])
            if again.status % 10 != 0:
                self.fault("a second load of the same object does not succeed", injection, again)
            self.report.count("second tries")

    def check_killed(self, injection, run):
        if run.files != self.operation.before:
            self.fault("killed: a load changed files", injection, run)


class DeleteChecker(Checker):
    """The deletion of a file and of its lock."""

    def __init__(self, report, directory, name, mode, content):
        words = [HOST, "delete", name, mode, "{dir}/FILE.dat", 1]
        super().__init__(report, Operation(f"delete {name} {mode}", words,
                                           {"FILE.dat": content, "FILE.lck": b""}, directory))

    def reference(self):
        self.operation.reset()
        run = self.operation.run()
        if run.status != 0 or run.files:
            raise RuntimeError(f"{self.operation.name} fails undisturbed: {run.status}")

    def check(self, injection, run):
        result = run.status % 10
        if (result == 0) != (not run.files):
            self.fault("the result of a deletion does not tell what is left", injection, run)
        self.check_next(injection, run)

    def check_next(self, injection, run):
        for name, content in run.files.items():
            if content != self.operation.before.get(name):
                self.fault("a deletion changed files", injection, run)
        again = self.operation.run()
        if again.status != 0 or again.files:
            self.fault("a second deletion does not succeed", injection, again)
        self.report.count("second tries")

    check_killed = check_next


class ToolChecker(Checker):
    """A command of the tool: everything or nothing."""

    def __init__(self, report, directory, title, words, before):
        # Positions of files do not fail, and the tool asks for hundreds.
        super().__init__(report, Operation(f"fieldstore {title}", [TOOL, *words], before, directory,
                                           ("execve", "mmap", "lseek")))

    def reference(self):
        self.operation.reset()
        self.done = self.operation.run()

    @staticmethod
    def without_ages(output):
        """Of locks, which grow."""
        return re.sub(r"for \d+ \w+", "", output)

    def check(self, injection, run):
        self.report.count(f"tool commands under a fault with status {run.status}")
        succeeded = run.status == self.done.status
        told = self.without_ages(run.output) == self.without_ages(self.done.output)
        if succeeded and not (told and self.same(run.files)):
            self.fault("a tool command reports what it did not do", injection, run)
        if not succeeded:
            if run.status != 2:
                self.fault("a tool command fails with another status than 2", injection, run)
            extra = self.beside(run.files)
            if extra and not injection.always("unlink"):
                self.fault("a failed tool command leaves something behind", injection, run)
            self.check_inputs(injection, run)
        self.check_again(injection)

    def same(self, files):
        return files == self.done.files

    def beside(self, files):
        """What was not there before; a backup is allowed, being the input itself."""
        return [name for name, content in files.items() if name not in self.operation.before
                and not (".bak" in name and content in self.operation.before.values())]

    def check_inputs(self, injection, run):
        for name, content in self.operation.before.items():
            if run.files.get(name) not in (content, self.done.files.get(name)):
                self.fault("a tool command changed a file without finishing", injection, run)

    def check_killed(self, injection, run):
        self.check_inputs(injection, run)
        for name, content in run.files.items():
            if name in self.done.files and content not in (self.done.files[name],
                                                           self.operation.before.get(name)):
                self.fault("killed: an output is there in part", injection, run)
        self.check_again(injection)

    def check_again(self, injection):
        for marker in self.operation.directory.glob("*.lck"):
            if marker.name not in self.operation.before:
                marker.unlink()
        again = self.operation.run()
        if again.status not in (0, self.done.status):
            self.fault("a later try of a tool command does not succeed", injection, again)
        self.report.count("second tries")


# ---- what is tried ----

def make(directory, name, mode, bodies, size=0):
    """The bytes of a file with so many bodies."""
    operation = Operation("make", [], {}, directory)
    operation.reset()
    for key in range(bodies):
        run = operation.run([HOST, "commit", name, mode, "{dir}/FILE.dat", key, size, 1])
        if run.status != 0:
            raise RuntimeError(f"no sample of {name}")
    return state_of(directory)["FILE.dat"]


def library_checkers(report, base, short):
    classes = [(name, mode) for name in common.CLASSES for mode in ("text", "binary")]
    # Large bodies reach the disk in several parts; a half is what these have then.
    large = {"POModeInfo": 9000, "POCircuitMatrices": 90000, "POAssemblyInfo": 90000,
             "POMeshTree": 60000}
    if short:
        classes = [("POModeInfo", "text"), ("POMeshTree", "binary")]
        large = {"POModeInfo": 60000, "POMeshTree": 60000}
    else:
        large["POModeInfo"] = 60000
    counter = itertools.count()

    def directory():
        return base / f"case{next(counter)}"

    for name, mode in classes:
        earlier = 2 if common.appends(name) else 1
        content = make(directory(), name, mode, earlier)
        for before in ({}, {"FILE.dat": content}):
            for word in ("append", "commit"):
                yield CommitChecker(report, directory(), word, name, mode, before, 5, 0)
        yield LoadChecker(report, directory(), name, mode, content)
        yield DeleteChecker(report, directory(), name, mode, content)
    for name, size in large.items():
        for mode in (("binary",) if short else ("text", "binary")):
            content = make(directory(), name, mode, 1, size)
            yield CommitChecker(report, directory(), "append", name, mode, {"FILE.dat": content}, 5,
                                size)
            yield LoadChecker(report, directory(), name, mode, content)


def tool_checkers(report, base, short):
    counter = itertools.count()

    def directory():
        return base / f"tool{next(counter)}"

    content = make(directory(), "POModeInfo", "text", 2)
    more = make(directory(), "POModeInfo", "text", 3)[len(content):]
    metrics = make(directory(), "POSolutionMetrics", "binary", 2)
    matrices = make(directory(), "POCircuitMatrices", "binary", 2, 40000)
    torn = metrics[:-20]
    made = Operation("dump", [], {"modeinfo.dat": content}, directory())
    made.reset()
    document = made.run([TOOL, "dump", "{dir}/modeinfo.dat"]).output.encode()
    modes, out = {"modeinfo.dat": content}, ["-o", "{dir}/out", "--force"]
    commands = [
        ("ls", ["ls", "{dir}/modeinfo.dat"], modes),
        ("check", ["check", "{dir}/modeinfo.dat"], modes),
        ("repair -o", ["repair", "{dir}/solutiondata.dat", *out], {"solutiondata.dat": torn}),
        ("repair --in-place", ["repair", "{dir}/solutiondata.dat", "--in-place"],
         {"solutiondata.dat": torn}),
        ("compact", ["compact", "{dir}/modeinfo.dat", *out], modes),
        ("convert", ["convert", "{dir}/modeinfo.dat", "--to", "binary", *out], modes),
        ("merge", ["merge", "{dir}/modeinfo.dat", "{dir}/more.dat", *out, "--class", "POModeInfo"],
         {**modes, "more.dat": more}),
        ("dump -o", ["dump", "{dir}/modeinfo.dat", *out], modes),
        ("dump", ["dump", "{dir}/modeinfo.dat"], modes),
        ("build", ["build", "{dir}/made.json", *out], {"made.json": document}),
        ("unlock", ["unlock", "--force", "{dir}/modeinfo.dat"], {**modes, "modeinfo.lck": b""}),
        ("compact of a large file", ["compact", "{dir}/circuitmatrices.dat", *out],
         {"circuitmatrices.dat": matrices}),
        ("repair of a large file", ["repair", "{dir}/circuitmatrices.dat", *out],
         {"circuitmatrices.dat": matrices}),
        ("show", ["show", "{dir}/modeinfo.dat"], modes),
        ("diff", ["diff", "{dir}/modeinfo.dat", "{dir}/other.dat", "--class", "POModeInfo"],
         {**modes, "other.dat": content}),
        ("convert upon an old output", ["convert", "{dir}/modeinfo.dat", "--to", "binary", *out],
         {**modes, "out": b"old"}),
    ]
    for title, words, before in commands[:7] if short else commands:
        yield ToolChecker(report, directory(), title, words, before)


def recovery_checkers(report, base, torn):
    """The commits that take back what a killed one left."""
    for number, checker in enumerate(torn):
        words = checker.operation.words
        recovery = CommitChecker(report, base / f"recover{number}", words[1], checker.class_name,
                                 checker.mode, checker.torn, words[5], checker.size)
        recovery.mended = checker.old
        yield recovery


def in_parallel(checkers, action):
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        try:
            for done in [pool.submit(action, checker) for checker in checkers]:
                done.result()
        except BaseException:
            pool.shutdown(cancel_futures=True)
            raise


# ---- full disks, short transfers ----

def allow_only(length):
    """For a new process: files end there, and writing further fails instead of killing it."""
    def limit():
        signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
        resource.setrlimit(resource.RLIMIT_FSIZE, (length, length))
    return limit


def try_short(report, checkers):
    """Every read and write transfers only a part."""
    for checker in checkers:
        checker.reference()
        for limit in ({}, {"SHORT_LIMIT": "4093"}, {"SHORT_LIMIT": "1"}):
            operation = checker.operation
            operation.reset()
            undisturbed = operation.run()
            size = sum(len(content) for content in undisturbed.files.values())
            if limit.get("SHORT_LIMIT") == "1" and size > 100000:
                continue
            operation.reset()
            run = operation.run(variables={"LD_PRELOAD": SHORT, **limit,
                                           "SHORT_BELOW": str(operation.directory)})
            if (run.status, run.files) != (undisturbed.status, undisturbed.files):
                checker.fault("short transfers change the outcome", None, run)
            report.count("runs with short transfers")


def try_limits(report, checkers):
    """The file may not grow beyond a length: the write before is short, the next one fails."""
    for checker in checkers:
        checker.reference()
        old, new = len(checker.old), len(checker.new)
        steps = {new - 1, (old + new) // 2, old + 1, old, max(0, old - 1), 0}
        for length in sorted(length for length in steps if 0 <= length < new):
            checker.operation.reset()
            run = checker.operation.run(
                before_exec=allow_only(length), variables=NO_COUNTS,
                prefix=["strace", "-qq", "-o", "/dev/null", "-e", "trace=clock_nanosleep",
                        "-e", "inject=clock_nanosleep:retval=0"])
            checker.check(Injection([]), run)
            report.count("runs with a limit to the file's length")


class FullDisk:
    """A small file system in memory, filled up to some pages."""

    def __init__(self, directory, pages, files=1000):
        self.directory = directory
        self.options = f"size={pages * 4096},nr_inodes={files}"

    def __enter__(self):
        self.directory.mkdir(parents=True, exist_ok=True)
        subprocess.run(["mount", "-t", "tmpfs", "-o", self.options, "none", str(self.directory)],
                       check=True)
        return self

    def __exit__(self, *_):
        subprocess.run(["umount", str(self.directory)], check=True)

    def fill(self, pages_left):
        free = os.statvfs(self.directory).f_bfree - pages_left
        with open(self.directory / "filler", "wb") as filler:
            for _ in range(free):
                filler.write(bytes(4096))

    def use_up_files(self, left):
        for number in range(os.statvfs(self.directory).f_ffree - left):
            (self.directory / f"used{number}").touch()


def try_full_disk(report, checkers, base, short):
    if os.geteuid() != 0:
        print("  full disk: skipped, since mounting a small file system needs root")
        return
    skip_pauses = ["strace", "-qq", "-o", "/dev/null", "-e", "trace=clock_nanosleep", "-e",
                   "inject=clock_nanosleep:retval=0"]
    for checker in checkers:
        report.progress(f"full disk: {checker.operation.name}")
        operation = checker.operation
        place = base / "disk"
        operation.directory = place / "case"
        checker.reference()
        total = sum(len(content) for content in operation.run().files.values())
        need = total // 4096 + 4
        steps = range(0, need + 1, max(1, need // 8) if short else 1)
        for pages, files in [(step, None) for step in steps] + [(None, n) for n in range(6)]:
            with FullDisk(place, 2 * need + 64) as disk:
                operation.reset()
                disk.fill(pages) if files is None else disk.use_up_files(files)
                run = operation.run(prefix=skip_pauses)
                for name in [n for n in os.listdir(place) if n.startswith(("filler", "used"))]:
                    (place / name).unlink()
                checker.check(Injection([]), run)
            report.count("runs on a full disk")


def main():
    options = common.parser(__doc__.splitlines()[0])
    options.add_argument("--only", default="", help="a regular expression of operations")
    options.add_argument("--keep", action="store_true", help="keep the directories")
    arguments = options.parse_args()
    common.read_classes(arguments.build)
    common.terminate_on_signals()
    global HOST, TOOL, SHORT
    HOST, SHORT = common.built(arguments.build, "fault_host", "libshort_transfers.so")
    TOOL = common.tool(arguments.build)
    if subprocess.run(["strace", "-o", "/dev/null", "true"], check=False,
                      stderr=subprocess.DEVNULL).returncode != 0:
        print("Skipped: this machine does not let strace follow a process.")
        return 0
    report = common.Report("Failing system calls", arguments)
    base = common.scratch()

    def chosen(checkers):
        return [c for c in checkers if re.search(arguments.only, c.operation.name)]

    def campaign(checker):
        checker.campaign(arguments.short, with_pairs=isinstance(checker, CommitChecker))

    try:
        library = chosen(library_checkers(report, base, arguments.short))
        in_parallel(library, campaign)
        torn = [c for c in library if isinstance(c, CommitChecker) and c.torn]
        report.count("torn states to recover from", len(torn))
        in_parallel(recovery_checkers(report, base, torn), campaign)
        in_parallel(chosen(tool_checkers(report, base, arguments.short)), campaign)
        commits = [c for c in library if isinstance(c, CommitChecker)]
        try_short(report, library)
        try_limits(report, commits)
        try_full_disk(report, [*commits, *chosen(tool_checkers(report, base, arguments.short))],
                      base, arguments.short)
    finally:
        if not arguments.keep:
            common.remove(base)
    return report.close()


if __name__ == "__main__":
    sys.exit(main())

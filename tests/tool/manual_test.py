# SPDX-License-Identifier: Apache-2.0
"""Installs a build and holds the manual pages and completions against the tool's own help.

Usage: manual_test.py BUILD_DIRECTORY [unittest arguments]
"""
import glob
import os
import pty
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

BUILD = os.path.abspath(sys.argv[1])
# What makes each shell ready: completion loaded, a prompt, and ^T to tell its line and end.
SHELLS = {
    "bash": (["bash", "--norc", "-i"], "bash-completion/completions/fieldstore",
             "PS1=; . {file}; tell() {{ printf %s \"$READLINE_LINE\" >line; exit; }}; "
             "bind -x '\"\\C-t\": tell'; PS1=Rea''dy\n"),
    "zsh": (["zsh", "-f", "-i"], "zsh/*/_fieldstore",
            "PS1=; fpath=({directory} $fpath); autoload -U compinit; compinit -u -D; "
            "tell() {{ print -rn -- $BUFFER >line; exit }}; zle -N tell; bindkey '^T' tell; "
            "PS1=Rea''dy\n"),
}
# What is typed before the tabulator, and what becomes of it.
TYPED = {
    "fieldstore conv": "fieldstore convert ",
    "fieldstore check --fu": "fieldstore check --full ",
    "fieldstore dump --format m": "fieldstore dump --format mtx ",
    "fieldstore load-json --to=te": "fieldstore load-json --to=text ",
    "fieldstore ls --class POMe": "fieldstore ls --class POMeshTree ",
    "fieldstore show a": "fieldstore show a\\ file.dat ",
    "fieldstore merge a\\ file.dat -o b": "fieldstore merge a\\ file.dat -o bfile.dat ",
    "fieldstore show --port a": "fieldstore show --port a",
}


def complete(shell, typed, share, directory):
    arguments, script, ready = SHELLS[shell]
    script, = glob.glob(os.path.join(share, script))
    process, terminal = pty.fork()
    if process == 0:
        os.chdir(directory)
        os.environ.update(TERM="dumb", LC_ALL="C", HISTFILE="")
        os.execvp(arguments[0], arguments)
    os.write(terminal, ready.format(file=script, directory=os.path.dirname(script)).encode())
    screen = b""
    try:
        while b"Ready" not in screen:
            screen += os.read(terminal, 1000)
        os.write(terminal, (typed + "\t\x14").encode())
        while True:
            screen += os.read(terminal, 1000)
    except OSError:  # the shell has ended
        pass
    os.close(terminal)
    os.waitpid(process, 0)
    with open(os.path.join(directory, "line"), encoding="utf-8") as line:
        return line.read()


class ManualTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.directory = tempfile.mkdtemp(prefix="fieldstore-test-")
        cls.addClassCleanup(shutil.rmtree, cls.directory)
        subprocess.run(["cmake", "--install", BUILD, "--prefix", "/opt/fieldstore"], check=True,
                       stdout=subprocess.DEVNULL, env={**os.environ, "DESTDIR": cls.directory})
        prefix = os.path.join(cls.directory, "opt/fieldstore")
        cls.tool = os.path.join(prefix, "bin/fieldstore")
        cls.share = os.path.join(prefix, "share")
        subcommands = cls.help().split("\nSubcommands:\n")[1].split("\n\n")[0]
        cls.commands = re.findall(r"^  ([a-z]+)", subcommands, re.M)
        for name in ("a file.dat", "bfile.dat"):
            open(os.path.join(cls.directory, name), "wb").close()

    @classmethod
    def help(cls, *command):
        return subprocess.run([cls.tool, *command, "--help"], check=True, capture_output=True,
                              text=True).stdout

    def options(self, *command):
        """The option names in the help, each with the values that it lists."""
        found = {}
        for names, values in re.findall(r"^  (-[-,a-z]+)(?: [A-Z]+:\{(.*?)\})?", self.help(*command),
                                        re.M):
            found.update((name, values.split(",") if values else []) for name in names.split(","))
        self.assertIn("--help", found)
        return found

    def test_pages(self):
        pages = {os.path.basename(path): path for path in glob.glob(self.share + "/man/man1/*")}
        names = {f"fieldstore-{command}.1": [command] for command in self.commands}
        names["fieldstore.1"] = []
        self.assertGreaterEqual(len(names), 12)
        self.assertEqual(set(pages), set(names))
        for name, command in names.items():
            with open(pages[name], encoding="utf-8") as file:
                page = file.read()
            listed = re.findall(r"^\.TP\n(\\fB\\-.*)", page, re.M)
            self.assertEqual(
                {option.replace("\\", "") for line in listed
                 for option in re.findall(r"\\fB((?:\\-)[-\\a-z]+)\\fR", line)},
                set(self.options(*command)), name)
            for heading in ("NAME", "SYNOPSIS", "DESCRIPTION", "OPTIONS", "EXIT STATUS",
                            "EXAMPLES", "SEE ALSO"):
                self.assertIn(f"\n.SH {heading}\n", page)
            if shutil.which("man"):
                shown = subprocess.run(["man", "--warnings", "-l", pages[name]], check=True,
                                       capture_output=True, text=True)
                self.assertEqual(shown.stderr, "")

    def test_bash_offers_what_the_help_lists(self):
        def offered(*words):
            script = ('. "$1" && shift && COMP_WORDS=("$@") COMP_CWORD=$(($# - 1)) && _fieldstore '
                      '&& printf "%s\\n" "${COMPREPLY[@]}"')
            file, = glob.glob(os.path.join(self.share, SHELLS["bash"][1]))
            return subprocess.run(["bash", "-c", script, "bash", file, "fieldstore", *words],
                                  check=True, capture_output=True, text=True).stdout.split()
        self.assertEqual(offered(""), self.commands)
        self.assertEqual(set(offered("-")), set(self.options()))
        for command in self.commands:
            options = self.options(command)
            self.assertEqual(set(offered(command, "-")), set(options), command)
            for option, values in options.items():
                if values:
                    self.assertEqual(offered(command, option, ""), values)

    def test_typing(self):
        for shell in SHELLS:
            if not shutil.which(shell):
                continue
            for typed, expected in TYPED.items():
                with self.subTest(shell=shell, typed=typed):
                    self.assertEqual(complete(shell, typed, self.share, self.directory), expected)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1] + sys.argv[2:])

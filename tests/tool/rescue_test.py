# SPDX-License-Identifier: Apache-2.0
"""Seals, rescue behind damage and the live view: what watches over files while they are written.

Usage: rescue_test.py FIELDSTORE MAKE_SAMPLES CLASSES [unittest arguments]
"""
import json
import os
import pty
import random
import select
import shutil
import signal
import subprocess
import sys
import time
import unittest

from tool_test import APPENDING, MAKE_SAMPLES, SAMPLES, TOOL, WINDOWS, ToolTest

VERIFY_SEAL = os.path.join(os.path.dirname(os.path.abspath(__file__)), "verify_seal.py")


def python_with(module):
    """An interpreter that has a package of Debian, which one from elsewhere may lack."""
    for python in (sys.executable, "/usr/bin/python3"):
        if subprocess.run([python, "-c", "import " + module], capture_output=True,
                          check=False).returncode == 0:
            return python
    raise RuntimeError("install python3-" + module)


PYTHON = python_with("xxhash")


class Seals(ToolTest):
    def changed(self, path):
        """The bodies that differ from the seal, as the page about seals has it."""
        found = subprocess.run([PYTHON, "-B", VERIFY_SEAL, path], capture_output=True, check=True)
        return [int(number) for number in found.stdout.split()]

    def verify(self, path, status):
        verdict = self.only("verify", path, status=status)
        return verdict["verdict"], verdict["changedBodies"], verdict["appendedBodies"]

    def test_a_changed_byte_is_found_and_its_body_named(self):
        for path, mode, _, bodies, _ in self.all_samples():
            copy = shutil.copy(path, self.path(os.path.basename(path)))
            self.run_tool("seal", copy, "--force")
            self.assertEqual((self.verify(copy, 0), self.changed(copy)), (("intact", [], 0), []))
            head, *_ = self.split(path) if mode != "blocked" else [b""]
            content = self.read(path)
            spots = {len(head): 1, len(content) - 1: bodies}
            if head:
                spots[len(head) - 1] = 0
            for spot, body in spots.items():
                flipped = bytes([content[spot] ^ 1])
                self.write(os.path.basename(path), content[:spot] + flipped + content[spot + 1:])
                self.assertEqual(self.changed(copy), [body], (path, spot))
                self.assertEqual(self.verify(copy, 1), ("changed", [body] if body else [], 0))
                self.run_tool("seal", "--update", copy, status=1)
            self.write(os.path.basename(path), content[:-1])
            self.assertEqual(self.verify(copy, 1), ("changed", [bodies], 0))

    def test_ls_and_check_see_what_reads_well_and_is_wrong(self):
        content = bytearray(self.read(self.sample("circuitmatrices.dat")))
        path = self.write("circuitmatrices.dat", content)
        self.run_tool("seal", path)
        self.assertRegex(self.out("ls", path), r"(?m)^sealed +POCircuitMatrices ")
        content[-3] ^= 4  # of a double
        self.write("circuitmatrices.dat", content)
        self.assertEqual(self.only("ls", path)["seal"], "changed")
        findings = self.check(path)["findings"]
        self.assertEqual([finding["offset"] for finding in findings], [60])
        self.assertIn("body 2 has changed", findings[0]["text"])
        os.remove(path + ".seal")
        self.check(path, status=0)

    def test_bodies_appended_since_are_no_change_and_can_be_added(self):
        for name in APPENDING:
            for mode in ("text", "binary"):
                head, first, second = self.split(self.sample(name, mode))
                path = self.write(name, head + first)
                self.run_tool("seal", path, "--force")
                begin = self.read(path + ".seal").splitlines()[1]
                self.write(name, head + first + second)
                self.assertEqual(self.verify(path, 0), ("appended", [], 1), name)
                self.assertEqual(self.check(path, status=0)["findings"][-1]["kind"], "note")
                self.write(name, head + first + second[:-4])
                self.assertEqual(self.verify(path, 1), ("changed", [], 0), name)
                self.write(name, head + first + second)
                self.run_tool("seal", "--update", path)
                self.assertEqual(self.verify(path, 0), ("intact", [], 0))
                self.assertEqual(self.read(path + ".seal").splitlines()[1], begin)
        path = shutil.copy(self.sample("evtree.dat"), self.path("evtree.dat"))
        self.run_tool("seal", path)
        self.write("evtree.dat", self.read(path) + b"more")
        self.assertEqual(self.verify(path, 1)[0], "changed")

    def test_a_store(self):
        for name, *_ in SAMPLES:
            shutil.copy(self.sample(name), self.path(name))
        self.write("notes.txt", b"Monday\n")
        self.error("verify", self.directory)  # nothing is sealed
        self.run_tool("seal", self.directory)
        self.assertEqual(len(self.json("ls", self.directory)), len(SAMPLES) + 1)  # seals are no data
        words = {os.path.basename(line["path"]): line["verdict"]
                 for line in self.json("verify", self.directory)}
        self.assertEqual(words.pop("notes.txt"), "unsealed")
        self.assertEqual(set(words.values()), {"intact"})
        self.error("seal", self.directory)  # seals exist
        self.run_tool("seal", "--update", self.directory)
        os.remove(self.path("evtree.dat"))
        self.assertIn("evtree.dat", self.error("verify", self.directory))
        self.assertIn("no seal", self.error("verify", self.path("notes.txt")))

    def test_a_seal_that_is_damaged_says_so(self):
        path = shutil.copy(self.sample("modeinfo.dat"), self.path("modeinfo.dat"))
        self.run_tool("seal", path)
        content = self.read(path + ".seal")
        for damaged in (b"", content[:-1], content[:200], content.replace(b"424", b"425"),
                        content[:-8] + b"x" + content[-7:], b"[]\n" * 3, b"{\n" + content,
                        b"\x80\n" * 2):
            self.write("modeinfo.dat.seal", damaged)
            self.assertIn("seal itself is damaged", self.error("verify", path), damaged)
        torn = self.write("circuitmatrices.dat", self.read(self.sample("circuitmatrices.dat"))[:-1])
        self.assertIn("fieldstore repair", self.error("seal", torn))


class Damage(ToolTest):
    """Four bodies in a file, of which the second is damaged."""

    def bodies(self, name, mode):
        document = self.document(name)
        built = []
        for number in range(4):
            body = json.loads(json.dumps(document["bodies"][0]))
            for entry in body.get("modes", []) + body.get("matrices", []):
                entry["frequency"] += number
            for entry in body["values"] if "definitions" in body else []:
                entry["entity"] += number
            if "elements" in body:
                body["elements"] = [id + 10 * number * (1 if id > 0 else -1)
                                    for id in body["elements"]]
                for entry in body["nodes1"] + body["nodes2"] + body["nodes3"]:
                    entry["element"] += 10 * number
            path = self.build({**document, "bodies": [body]}, "--to", mode, "--unchecked")
            head = (b"!Run 7\n" if mode == "text" else b"\6\0\0\0!Run 7") if "version" in document \
                else b""
            built.append(self.read(path)[len(head):])
        return head, built

    def repair(self, path, *arguments):
        """What is kept, and what is told of it."""
        told = self.json("repair", path, "-o", self.path("out"), "--force", *arguments)
        return self.read(self.path("out")), told

    def test_bodies_behind_damage_are_kept_and_nothing_else(self):
        random_ones = random.Random(14)
        for name in APPENDING:
            for mode in ("binary", "text"):
                head, (first, second, third, fourth) = self.bodies(name, mode)
                kept_all = 0
                for spot in random_ones.sample(range(len(second)), 12):
                    flipped = bytes([second[spot] ^ random_ones.choice((1, 16, 255))])
                    for damaged in (second[:spot] + flipped + second[spot + 1:],
                                    second[:spot] + second[spot + 1:],
                                    second[:spot] + bytes(8) + second[spot + 8:]):
                        path = self.write(name, head + first + damaged + third + fourth)
                        if self.only("ls", path)["state"] == "whole":
                            continue  # values of another kind; only a seal knows
                        kept, told = self.repair(path)
                        sound = [head + b"".join(bodies) for bodies in (
                            (first, third, fourth), (first, fourth), (third, fourth), (fourth,),
                            (first,))]
                        if (name, mode) != ("assemblyinfo.dat", "text"):  # none is recognised
                            self.assertIn(kept, sound, (name, mode, spot, damaged))
                        kept_all += kept == sound[0]
                        self.assertEqual(told["keptBytes"] + told["lostBytes"],
                                         os.path.getsize(path))
                if (name, mode) not in (("assemblyinfo.dat", "text"),
                                        ("circuitmatrices.dat", "text")):
                    self.assertGreater(kept_all, 3, (name, mode))

    def test_a_seal_tells_the_bodies_that_are_as_they_were(self):
        for name in APPENDING:
            for mode in ("binary", "text"):
                head, (first, second, third, fourth) = self.bodies(name, mode)
                path = self.write(name, head + first + second + third)
                self.run_tool("seal", path, "--force")
                for damaged, appended in ((second[:-5] + bytes(4) + second[-1:], fourth),
                                          (second[:-9] + second[-1:], b""), (b"", b""),
                                          (second[:20] + b"123456" + second[20:], b"")):
                    self.write(name, head + first + damaged + third + appended)
                    self.assertEqual(self.repair(path)[0], head + first + third + appended,
                                     (name, mode, damaged))
                self.write(name, head + fourth)
                self.assertIn("no body is as it was sealed",
                              self.error("repair", path, "-o", self.path("x")))
                os.remove(path + ".seal")

    def test_a_damaged_first_body(self):
        head, (first, second, third, _) = self.bodies("modeinfo.dat", "binary")
        path = self.write("modeinfo.dat", b"\xff" * len(first) + second + third)
        self.assertEqual(self.repair(path)[0], second + third)

    def test_entries_of_a_damaged_text_body_are_saved(self):
        text = (b"3\n1000 1\n1\n0.5\n1001 1\n1\n0.25\n1002 1\nx\n0.125\n"
                b"1\n2000 1\n1\n7.5\n")
        path = self.write("circuitmatrices.dat", text)
        self.error("repair", path, "-o", self.path("x"))  # of the only other body nobody is sure
        kept, told = self.repair(path, "--entries")
        self.assertEqual(kept, b"2\n1000 1\n1\n0.5\n1001 1\n1\n0.25\n")
        self.assertEqual(told["lostRanges"][0]["savedEntries"], 2)
        self.write("circuitmatrices.dat", text.replace(b"1001 1\n1\n", b"1001 1 1\n"))
        self.assertEqual(self.repair(path, "--entries")[0], b"1\n1000 1\n1\n0.5\n")
        binary = self.write("modeinfo.dat", self.read(self.sample("modeinfo.dat"))[:-1])
        self.assertIn("only of modes and matrices in text",
                      self.error("repair", binary, "-o", self.path("x"), "--entries"))

    def test_a_last_number_without_line_end(self):
        for name in ("modeinfo.dat", "file3.dat", "solutiondata.dat"):
            content = self.read(self.sample(name, "text"))
            path = self.write(name, content.rstrip())
            if name == "file3.dat":
                self.assertIn("--trust-last-number", self.error("repair", path, "-o", self.path("x")))
            else:
                told = self.run_tool("repair", path, "-o", self.path("x"), "--force").stderr
                self.assertIn(b"--trust-last-number", told)
            kept, told = self.repair(path, "--trust-last-number")
            self.assertEqual((kept, told["lostBytes"]), (content, 0))

    def test_the_class_that_was_given_is_not_asked_for(self):
        path = self.write("x", b"no numbers at all")
        self.assertNotIn("with --class", self.error("show", path, "--class", "POMeshTree"))
        self.assertIn("with --class", self.error("show", path))


class Watch(ToolTest):
    def start(self, *arguments):
        """Follows on a terminal of its own, or on a pipe where there are none."""
        self.shown = ""
        if WINDOWS:
            child = subprocess.Popen([TOOL, "watch", *arguments], stdout=subprocess.PIPE)
            self.addCleanup(child.wait)
            self.addCleanup(child.kill)
            self.terminal = os.dup(child.stdout.fileno())
            return child.pid
        child, self.terminal = pty.fork()
        if child == 0:
            os.execv(TOOL, [TOOL, "watch", *arguments])
        return child

    def wait_for(self, text):
        """Reads what is shown until the text has come."""
        end = time.monotonic() + 20
        while text not in self.shown:
            ready, _, _ = select.select([self.terminal], [], [], end - time.monotonic())
            self.assertTrue(ready, (text, self.shown))
            self.shown += os.read(self.terminal, 4096).decode()

    def interrupt(self, child):
        if WINDOWS:
            return os.close(self.terminal)  # and there is no key to press
        os.write(self.terminal, b"\x03")
        self.assertEqual(os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]), 0)
        os.close(self.terminal)

    def test_a_host_that_writes_meanwhile(self):
        os.mkdir(self.path("binary"))
        child = self.start(self.path("binary"), "--plot")
        time.sleep(0.2)
        subprocess.run([MAKE_SAMPLES, self.directory], check=True)
        for text in ("modeinfo.dat: body 2: frequency 1.000000001 GHz, port 1, first mode 1 + 2i",
                     "circuitmatrices.dat: body 2: frequency 2.000000001 GHz, type 3, largest",
                     "solutiondata.dat: body 2: pass 0, type 12: 2 values, largest 2.5 (+0 %)",
                     "evtree.dat: body 1: 5 entries", *("*", "+--") * (not WINDOWS)):
            self.wait_for(text)
        self.interrupt(child)
        self.assertEqual(sorted(os.listdir(self.path("binary"))), sorted(s[0] for s in SAMPLES))

    def test_torn_completed_and_replaced_files(self):
        head, first, second = self.split(self.sample("solutiondata.dat"))
        path = self.path("solutiondata.dat")
        child = self.start(path)
        time.sleep(0.2)
        with open(path, "wb") as file:
            for part in (head, first[:50], first[50:], second[:-1]):
                file.write(part)
                file.flush()
                time.sleep(0.1)
            self.wait_for("body 1: ")
            self.assertNotIn("body 2: ", self.shown)
            file.write(second[-1:])
        self.wait_for("body 2: ")
        self.assertEqual(self.shown.count("body 1: "), 1)
        shutil.copy(self.sample("solutiondata.dat"), self.path("new"))
        os.rename(self.path("new"), path)
        self.wait_for("was replaced")
        os.remove(path)
        self.wait_for("is gone")
        self.interrupt(child)

    def test_what_is_there_and_for_how_long(self):
        path = self.sample("modeinfo.dat", "text")
        self.assertEqual(len(self.out("watch", path, "--for", "0").splitlines()), 2)
        self.assertIn("body 2", self.out("watch", path, "--for", "0", "--last", "1"))
        self.assertNotIn("body 1", self.out("watch", path, "--for", "0", "--last", "1"))


class Manners(ToolTest):
    def test_a_closed_pipe_ends_quietly_and_leaves_nothing(self):
        torn = self.write("modeinfo.dat", self.read(self.sample("modeinfo.dat"))[:-5])
        for arguments in (("dump", self.sample("modeinfo.dat")), ("ls", torn),
                          ("repair", torn, "--in-place")):
            reader, writer = os.pipe()
            os.close(reader)
            for ignored in (False, True):
                result = subprocess.run([TOOL, *arguments], stdout=writer, stderr=subprocess.PIPE,
                                        check=False, restore_signals=not ignored)
                self.assertEqual(result.returncode, 2 if ignored or WINDOWS else -signal.SIGPIPE)
                self.assertNotIn(b"standard output", result.stderr)
            os.close(writer)
        self.assertEqual(os.listdir(self.directory), ["modeinfo.dat"])

    def test_a_command_that_is_nearly_one(self):
        self.assertIn("fieldstore ls", self.error("lss"))
        self.assertNotIn("Did you mean", self.error("xyzzy"))
        self.assertNotIn("Did you mean", self.error("show"))

    def test_lists_fit_a_screen_and_strangers_do_not_matter(self):
        for name, *_ in SAMPLES:
            shutil.copy(self.sample(name), self.path(name))
        self.write("evtree.dat", b"\xff" * 99)
        listing = self.out("ls", ".", cwd=self.directory)
        self.assertLessEqual(max(map(len, listing.splitlines())), 80, listing)
        self.assertIn("unreadable", listing)
        self.error("ls", self.path("evtree.dat"))

    def test_counts_in_notes_stand_apart(self):
        path = self.build(self.document("circuitmatrices.dat"), replace=("0.25", '"nan"'))
        self.assertIn("values are not finite numbers: 1 in matrices",
                      self.out("check", path, "--class", "POCircuitMatrices"))


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0]] + sys.argv[4:])

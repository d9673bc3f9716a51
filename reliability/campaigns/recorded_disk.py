# SPDX-License-Identifier: Apache-2.0
"""A disk that records what is written to it, and copies of it as a power cut may leave them."""
import dataclasses
import mmap
import os
import struct
import subprocess
import time

MIB = 1 << 20
SECTOR = 4096  # what a disk writes whole; ext4 needs it for its superblock
PATIENCE = 120  # seconds for the program that is the disk to end


@dataclasses.dataclass(frozen=True)
class FileSystem:
    name: str
    kernel: str  # as /proc/filesystems has it
    make: tuple
    size: int  # MiB
    options: str = "defaults"


FILE_SYSTEMS = (
    FileSystem("ext4", "ext4", ("mkfs.ext4", "-q", "-F", "-b", "4096"), 160),
    FileSystem("ext4-careless", "ext4", ("mkfs.ext4", "-q", "-F", "-b", "4096"), 160,
               "noauto_da_alloc,data=writeback"),
    FileSystem("xfs", "xfs", ("mkfs.xfs", "-q", "-K"), 320),
    FileSystem("btrfs", "btrfs", ("mkfs.btrfs", "-q", "-K"), 320),
)


def run(*words):
    """A program that has to succeed; what it says matters only if it does not."""
    subprocess.run([str(word) for word in words], check=True, stdin=subprocess.DEVNULL,
                   stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True)


def unmount(directory):
    """A program that just ended may hold the file system for a moment."""
    limit = time.monotonic() + 10
    while os.path.ismount(directory):
        lazy = ["-l"] if time.monotonic() > limit else []
        if subprocess.run(["umount", *lazy, str(directory)], stderr=subprocess.DEVNULL,
                          check=False).returncode != 0:
            time.sleep(0.02)


class RecordedDisk:
    """A file system in use on a disk that records. `files` is where it is mounted. It is new, or that
    of another disk's `content`."""

    def __init__(self, program, system, directory, content=None):
        self.program, self.system, self.directory = program, system, directory
        self.content = content
        self.image, self.log = directory / "image", directory / "log"
        self.device, self.files = directory / "device", directory / "files"
        self.process = None

    def __enter__(self):
        try:
            self.device.mkdir()
            self.files.mkdir()
            self.make_image()
            run("cp", self.image, self.directory / "durable")
            self.process = subprocess.Popen([self.program, str(self.device), str(self.image),
                                             str(self.log)])
            while not os.path.ismount(self.device):
                if self.process.poll() is not None:
                    raise RuntimeError("The recorded disk does not start.")
                time.sleep(0.005)
            run("mount", "-o", "loop," + self.system.options, self.device / "disk", self.files)
        except BaseException:
            self.__exit__()
            raise
        return self

    def make_image(self):
        if self.content is not None:
            run("cp", self.content, self.image)
            return
        with open(self.image, "wb") as image:
            image.truncate(self.system.size * MIB)
        run(*self.system.make, self.image)
        run("fallocate", "--dig-holes", self.image)

    def __exit__(self, *_):
        unmount(self.files)
        unmount(self.device)
        if self.process is not None:
            self.process.wait(PATIENCE)
        self.image.unlink(missing_ok=True)

    def acknowledged(self):
        return self.device / "acknowledged"

    def note(self, text):
        self.acknowledged().write_text(text)


class Record:
    """What happened to a disk, in order: writes, syncs and acknowledgements."""

    WRITE, SYNC, ACKNOWLEDGEMENT = 1, 2, 3
    HEAD = struct.Struct("IIQ")

    def __init__(self, path):
        with open(path, "rb") as file:
            self.bytes = mmap.mmap(file.fileno(), 0, access=mmap.ACCESS_READ)
        self.entries = []  # (kind, offset on the disk, place in the record, length)
        place = 0
        while place < len(self.bytes):
            kind, length, offset = self.HEAD.unpack_from(self.bytes, place)
            place += self.HEAD.size
            self.entries.append((kind, offset, place, length))
            place += length

    def data(self, entry):
        return self.bytes[entry[2]:entry[2] + entry[3]]

    def indices(self, kind):
        return [index for index, entry in enumerate(self.entries) if entry[0] == kind]

    def notes(self, end):
        """The texts acknowledged before entry `end`."""
        return [self.data(entry).decode() for entry in self.entries[:end]
                if entry[0] == self.ACKNOWLEDGEMENT]

    def acknowledged(self, end):
        return {int(note) for note in self.notes(end) if note[0].isdigit()}

    def last_sync(self, end):
        return max((index for index in range(end) if self.entries[index][0] == self.SYNC),
                   default=-1)


class Copies:
    """Makes copies of a disk at growing places of its record."""

    MANNERS = ("all written", "none after the last sync", "some sectors after the last sync",
               "some sectors after the last sync")

    def __init__(self, record, directory):
        self.record, self.path, self.durable = record, directory / "copy", directory / "durable"
        self.done = 0  # entries that `durable` has

    def write(self, path, begin, end, survives=None):
        with open(path, "r+b", buffering=0) as image:
            for entry in self.record.entries[begin:end]:
                if entry[0] != Record.WRITE:
                    continue
                data = self.record.data(entry)
                for first, last in survives(entry[1], entry[3]) if survives else ((0, entry[3]),):
                    os.pwrite(image.fileno(), data[first:last], entry[1] + first)

    def make(self, cut, manner, chance):
        """A copy of the disk whose power went before entry `cut`."""
        sync = self.record.last_sync(cut) + 1
        self.write(self.durable, self.done, sync)
        self.done = max(self.done, sync)
        run("cp", self.durable, self.path)
        if manner == self.MANNERS[0]:
            self.write(self.path, sync, cut)
        elif manner != self.MANNERS[1]:
            kept = chance.choice((0.1, 0.5, 0.9))
            self.write(self.path, sync, cut,
                       lambda offset, length: surviving(offset, length, kept, chance))
        return self.path


def surviving(offset, length, kept, chance):
    """Parts of a write that a cut lets through: all, nothing, or any of its sectors. Sectors of one
    write may be kept and those of an earlier one not."""
    if chance.random() < 0.5:
        return [(0, length)] if chance.random() < kept else []
    borders = [0, *range(SECTOR - offset % SECTOR, length, SECTOR), length]
    return [part for part in zip(borders, borders[1:]) if chance.random() < kept]


def places(record, number, chance):
    """Where the power goes: half of the cuts right after an acknowledgement."""
    notes = record.indices(Record.ACKNOWLEDGEMENT)
    anywhere = range(notes[0] + 1, notes[-1])
    cuts = [chance.choice(notes[1:-1]) + 1 for _ in range(number // 2)]
    return sorted(cuts + [chance.choice(anywhere) for _ in range(number - len(cuts))])

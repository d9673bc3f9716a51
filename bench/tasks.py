#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""What a user does with a file of results, in fieldstore and in HDF5, all in one run.

  bench/tasks.py [--size MIB] [--repeats N] FIELDSTORE DIRECTORY

The same modes, random numbers, are in three files: a binary one of fieldstore, which a solver appended
to every 40 frequencies; HDF5 with a group for each frequency and port; HDF5 with a data set for each
quantity, in chunks of 20 frequencies with checksums. Prints a table; nothing is left in DIRECTORY.
Needs the Debian packages python3-h5py, hdf5-tools and xxhash.
"""
import argparse
import json
import os
import shutil
import statistics
import subprocess
import sys
import time

PORTS, MODES, VALUES = 8, 10, 10
PER_BODY, PER_CHUNK = 40, 20  # frequencies
PORT = 3  # of the slice
STORE, GROUPS, FLAT = "modeinfo.dat", "groups.h5", "flat.h5"
HEADER = ("frequency,port,mode,group,gamma_re,gamma_im,index,voltage_re,voltage_im,current_re,"
          "current_im")


# ---- the steps that run in a process of their own; it alone loads numpy and h5py ----

def bodies(path, mode="r"):
    """A file of fieldstore, body by body, as docs/file-format.md explains it."""
    import numpy
    record = [("group", "<i4"), ("gamma", "<c16"), ("count", "<u8"), ("data", "<c16", 2 * VALUES)]
    entry = [("frequency", "<i8"), ("port", "<i4"), ("records", "<u8"), ("record", record, MODES)]
    body = numpy.dtype([("count", "<u8"), ("entry", entry, (PER_BODY, PORTS))])
    return numpy.memmap(path, body, mode) if mode == "r" else numpy.zeros(1, body)


def make(size):
    import h5py
    import numpy
    random = numpy.random.default_rng(1)
    body = bodies(STORE, "w")
    count = max(2, size * 2**20 // body.nbytes)
    entry = body["entry"]
    body["count"] = PER_BODY * PORTS
    entry["port"] = numpy.arange(PORTS)
    entry["records"] = MODES
    entry["record"]["group"] = 1
    entry["record"]["count"] = 2 * VALUES
    with open(STORE, "wb") as store, h5py.File(GROUPS, "w") as groups, h5py.File(FLAT, "w") as flat:
        frequencies = count * PER_BODY
        flat["frequency"] = numpy.zeros(frequencies, "<i8")
        sets = {}
        for name, kind, shape in (("group", "<i4", ()), ("gamma", "<c16", ()),
                                  ("voltage", "<c16", (VALUES,)), ("current", "<c16", (VALUES,))):
            sets[name] = flat.create_dataset(
                name, (frequencies, PORTS, MODES, *shape), kind, fletcher32=True,
                chunks=(PER_CHUNK, PORTS, MODES, *shape))
        for number in range(count):
            at = slice(number * PER_BODY, (number + 1) * PER_BODY)
            hertz = 10**9 + 10**5 * numpy.arange(at.start, at.stop)
            entry["frequency"] = hertz[:, None]
            shape = entry["record"]["data"].shape
            entry["record"]["data"] = random.normal(size=shape) + 1j * random.normal(size=shape)
            entry["record"]["gamma"] = random.normal(size=shape[:-1]) + 1j * random.normal(size=shape[:-1])
            store.write(body.tobytes())
            quantities = quantities_of(entry[0])
            flat["frequency"][at] = hertz
            for name, values in quantities.items():
                sets[name][at] = values
            for i, frequency in enumerate(hertz):
                for port in range(PORTS):
                    group = groups.create_group("f%d/p%d" % (frequency, port))
                    for name, values in quantities.items():
                        group[name] = values[i, port]
    print(json.dumps({"frequencies": frequencies}))


def quantities_of(entry):
    record = entry["record"]
    return {"group": record["group"], "gamma": record["gamma"],
            "voltage": record["data"][..., :VALUES], "current": record["data"][..., VALUES:]}


def rows_of(frequency, ports, quantities):
    """The rows of CSV of some ports of a frequency."""
    import numpy
    shape = (len(ports), MODES, VALUES)
    port, mode, index = numpy.meshgrid(ports, range(MODES), range(VALUES), indexing="ij")
    spread = {name: numpy.broadcast_to(values[..., None] if values.ndim == 2 else values, shape)
              for name, values in quantities.items()}
    gamma, voltage, current = spread["gamma"], spread["voltage"], spread["current"]
    columns = [numpy.full(shape, frequency), port, mode, spread["group"], gamma.real, gamma.imag,
               index, voltage.real, voltage.imag, current.real, current.imag]
    return numpy.stack([column.ravel() for column in columns], axis=1)


def write_csv(path, rows):
    import numpy
    with open(path, "w", encoding="ascii") as out:
        out.write(HEADER + "\n")
        for some in rows:
            numpy.savetxt(out, some, fmt="%.17g", delimiter=",")


def h5py_slice(path, frequency):
    import h5py
    import numpy
    with h5py.File(path, "r") as file:
        if path == GROUPS:
            group = file["f%d/p%d" % (frequency, PORT)]
            found = {name: group[name][:][None] for name in group}
        else:
            at = numpy.searchsorted(file["frequency"][:], frequency)
            found = {name: file[name][at, PORT:PORT + 1]
                     for name in ("group", "gamma", "voltage", "current")}
        write_csv("out.csv", [rows_of(frequency, [PORT], found)])


def h5py_csv(path):
    import h5py
    import numpy
    names = ("group", "gamma", "voltage", "current")

    def rows(file):
        if path == FLAT:
            for i, frequency in enumerate(file["frequency"][:]):
                yield rows_of(frequency, range(PORTS), {name: file[name][i] for name in names})
            return
        for key, frequency in file.items():
            ports = list(frequency.values())
            yield rows_of(int(key[1:]), range(PORTS), {
                name: numpy.stack([port[name][:] for port in ports]) for name in names})
    with h5py.File(path, "r") as file:
        write_csv("out.csv", rows(file))


def h5py_list(path):
    import h5py
    with h5py.File(path, "r") as file, open("out.txt", "w", encoding="utf-8") as out:
        file.visititems(lambda name, item: out.write("%s %s\n" % (name, item)) and None)


def h5py_read(path):
    """Has every checksum compared."""
    import h5py
    with h5py.File(path, "r") as file:
        for name in ("group", "gamma", "voltage", "current"):
            for at in range(0, len(file[name]), PER_CHUNK):
                file[name][at:at + PER_CHUNK]


def h5py_salvage(path, out):
    """Copies what can be read; what a user writes when h5repack gives up."""
    import h5py
    import numpy
    with h5py.File(path, "r") as file, h5py.File(out, "w") as saved:
        if path == FLAT:
            for name in file:
                copy = saved.create_dataset_like(name, file[name])
                for at in range(0, len(copy), PER_CHUNK):
                    chunk = slice(at, at + PER_CHUNK)
                    try:
                        copy[chunk] = file[name][chunk]
                    except OSError:
                        copy[chunk] = numpy.full((PER_CHUNK, *copy.shape[1:]), numpy.nan, copy.dtype)
            return
        keys = []
        try:
            for key in file:
                keys.append(key)
        except (RuntimeError, OSError):
            pass
        for key in keys:
            for port in range(PORTS):
                name = "%s/p%d" % (key, port)
                try:
                    read = {quantity: file[name][quantity][()] for quantity in file[name]}
                except (KeyError, OSError, RuntimeError):
                    continue
                for quantity, values in read.items():
                    saved[name + "/" + quantity] = values


def compare(path, truth):
    """How many entries, of a frequency and a port, a file has as they were, and how many changed."""
    import h5py
    import numpy
    known = bodies(truth)["entry"].reshape(-1, PORTS)
    whole = numpy.zeros(known.shape, bool)
    wrong = numpy.zeros(known.shape, bool)
    if not path.endswith(".h5"):
        found = bodies(path)["entry"].reshape(-1, PORTS)
        at = numpy.searchsorted(known["frequency"][:, 0], found["frequency"][:, 0])
        same = found == known[at]
        whole[at], wrong[at] = same, ~same
    else:
        with h5py.File(path, "r") as file:
            for i, entry in enumerate(known):
                compare_row(file, i, entry, whole, wrong)
    print(json.dumps({"whole": int(whole.sum()), "wrong": int(wrong.sum()), "of": whole.size}))


def compare_row(file, i, entry, whole, wrong):
    import numpy
    truth = quantities_of(entry)
    for port in range(PORTS):
        try:
            if "frequency" in file:
                found = {name: file[name][i, port] for name in truth}
            else:
                group = file["f%d/p%d" % (entry["frequency"][port], port)]
                found = {name: group[name][()] for name in truth}
        except (KeyError, OSError, RuntimeError):
            continue
        if any(values.dtype == complex and numpy.isnan(values).all() for values in found.values()):
            continue  # what was left out
        same = all(numpy.array_equal(found[name], truth[name][port]) for name in truth)
        (whole if same else wrong)[i, port] = True


def damage(how):
    """Changes a byte of a value, or zeroes 4 KiB, in the middle of each file."""
    import h5py
    middle = len(bodies(STORE)) // 2
    size = bodies(STORE).dtype.itemsize
    places = {STORE: middle * size + size // 2}
    at = middle * PER_BODY + PER_BODY // 2
    with h5py.File(FLAT, "r") as file:
        chunk = file["voltage"].id.get_chunk_info_by_coord((at // PER_CHUNK * PER_CHUNK, 0, 0, 0))
        places[FLAT] = chunk.byte_offset + 1000 * 16
    with h5py.File(GROUPS, "r") as file:
        name = "f%d/p%d/voltage" % (10**9 + 10**5 * at, PORT)
        places[GROUPS] = file[name].id.get_offset() + 16
    # The middle of a body is in front of the key of an entry; 100 bytes on there are its values.
    places[STORE] += 100
    for path, place in places.items():
        with open(path, "r+b") as file:
            if how == "zeros":
                file.seek(os.path.getsize(path) // 2 // 4096 * 4096)
                file.write(bytes(4096))
                continue
            file.seek(place)
            value = file.read(1)[0]
            file.seek(place)
            file.write(bytes([value ^ 0x10]))


# ---- what runs them ----

class Table:
    def __init__(self, repeats):
        self.repeats = repeats
        print("| task | with | s | processor s | peak MiB | result |\n"
              "| --- | --- | ---: | ---: | ---: | --- |", flush=True)

    def row(self, task, how, command, result, once=False):
        """Runs a command of the shell; `result()` says what came of it."""
        runs = [run(command) for _ in range(1 if once else self.repeats)]
        seconds, busy = (statistics.median(r[i] for r in runs) for i in (1, 2))
        peak = max(r[3] for r in runs)
        print("| %s | %s | %.2f | %.2f | %.0f | %s |" % (task, how, seconds, busy, peak,
                                                       result(runs[-1][0])), flush=True)


def run(command):
    begin = time.monotonic()
    process = subprocess.Popen(command, shell=True, stdout=subprocess.DEVNULL,
                               stderr=subprocess.DEVNULL)
    _, status, usage = os.wait4(process.pid, 0)
    return (os.waitstatus_to_exitcode(status), time.monotonic() - begin,
            usage.ru_utime + usage.ru_stime, usage.ru_maxrss / 1024)


def step(name, *arguments):
    """The command of a step of this file."""
    return " ".join([sys.executable, os.path.abspath(__file__), "--step", name,
                     *map(str, arguments)])


def answer(name, *arguments):
    return json.loads(subprocess.run(step(name, *arguments), shell=True, check=True,
                                     capture_output=True).stdout)


def done(status):
    return "done" if status == 0 else "fails with status %d" % status


def size_of(path):
    if not os.path.exists(path):
        return "nothing"
    size = os.path.getsize(path)
    return "%.0f KiB" % (size / 2**10) if size < 2**20 else "%.0f MiB" % (size / 2**20)


def remove(*names):
    for name in names:
        if os.path.exists(name):
            os.remove(name)


def same_rows(reference):
    """Whether a CSV ends with the same numbers as the reference."""
    def last(path):
        lines = subprocess.run(["tail", "-n", "1000", path], capture_output=True, check=True).stdout
        return [list(map(float, line.split(b","))) for line in lines.split() if line[:1].isdigit()]

    def result(status):
        if status != 0:
            return done(status)
        same = last("out.csv") == last(reference)
        return ("the same numbers, " if same else "OTHER NUMBERS, ") + size_of("out.csv")
    return result


def rescued(path, truth):
    def result(status):
        if not os.path.exists(path):
            return done(status) + ", nothing saved"
        try:
            got = answer("compare", path, truth)
        except subprocess.CalledProcessError:
            return done(status) + ", what it saved cannot be read"
        return "%s; of %d entries %d lost, %d wrong" % (
            done(status), got["of"], got["of"] - got["whole"] - got["wrong"], got["wrong"])
    return result


def look(table, tool, frequency):
    def text(status):
        return done(status) + ", " + size_of("out.txt")

    table.row("list", "fieldstore ls", "%s ls %s > out.txt" % (tool, STORE), text)
    for path, name in ((GROUPS, "groups"), (FLAT, "flat")):
        table.row("list", "h5dump -n, " + name, "h5dump -n %s > out.txt" % path, text, path == GROUPS)
        table.row("list", "h5py, " + name, step("list", path), text, path == GROUPS)
    table.row("slice", "fieldstore dump", "%s dump %s --frequency %d --port %d --format csv -o out.csv "
              "--force" % (tool, STORE, frequency, PORT), done)
    shutil.copy("out.csv", "slice.csv")
    for path, name in ((GROUPS, "groups"), (FLAT, "flat")):
        table.row("slice", "h5py, " + name, step("slice", path, frequency), same_rows("slice.csv"))
    at = (frequency - 10**9) // 10**5
    table.row("slice", "h5dump, groups", "h5dump -m %%.17g -g /f%d/p%d %s > out.txt"
              % (frequency, PORT, GROUPS), text)
    table.row("slice", "h5dump, flat", " && ".join(
        "h5dump -m %%.17g -d %s -s %d,%d,0%s -c 1,1,%d%s %s >> out.txt"
        % (name, at, PORT, more and ",0", MODES, more, FLAT)
        for name, more in (("gamma", ""), ("voltage", ",%d" % VALUES), ("current", ",%d" % VALUES))),
        text)


def export(table, tool):
    table.row("all as CSV", "fieldstore dump", "%s dump %s --format csv -o all.csv --force"
              % (tool, STORE), lambda status: done(status) + ", " + size_of("all.csv"))
    for path, name in ((GROUPS, "groups"), (FLAT, "flat")):
        table.row("all as CSV", "h5py and savetxt, " + name, step("csv", path), same_rows("all.csv"),
                  once=True)
        table.row("all as text", "h5dump, " + name, "h5dump -m %%.17g %s > out.txt" % path,
                  lambda status: done(status) + ", " + size_of("out.txt") + ", no table", once=True)
    remove("all.csv", "out.csv", "out.txt", "slice.csv")


def verify(table, tool):
    for path in (STORE, GROUPS):
        table.row("checksum", "sha256sum, " + path, "sha256sum %s > sums && sha256sum -c sums" % path,
                  done)
        table.row("checksum", "xxhsum -H3, " + path, "xxhsum -H3 %s > sums && xxhsum -c sums" % path,
                  done)
    table.row("checksum", "fieldstore seal", "%s seal %s" % (tool, STORE), done)
    table.row("checksum", "fieldstore verify", "%s verify %s" % (tool, STORE), done)
    table.row("checksum", "h5py reads all, flat", step("read", FLAT), done)


def repair(table, tool, what, how):
    """Of damaged copies; the first files are the truth."""
    os.mkdir("sound")
    for name in (STORE, STORE + ".seal", GROUPS, FLAT):
        shutil.copy(name, "sound")
    subprocess.run(step("damage", how), shell=True, check=True)
    truth = "sound/" + STORE
    task = "repair, " + what
    table.row(task, "fieldstore verify", "%s verify %s" % (tool, STORE),
              lambda status: "finds it" if status == 1 else "finds nothing")
    for seal in ("with a seal", "without one"):
        table.row(task, "fieldstore repair, " + seal, "%s repair %s -o out.dat --force"
                  % (tool, STORE), rescued("out.dat", truth))
        remove("out.dat", STORE + ".seal")
    for path, name in ((GROUPS, "groups"), (FLAT, "flat")):
        for program, command in (("h5repack", "h5repack %s out.h5" % path),
                                 ("h5py", step("salvage", path, "out.h5"))):
            remove("out.h5")
            table.row(task, "%s, %s" % (program, name), command, rescued("out.h5", truth), once=True)
    for name in os.listdir("sound"):
        os.replace("sound/" + name, name)
    os.rmdir("sound")


STEPS = {"make": lambda size: make(int(size)), "list": h5py_list,
         "slice": lambda path, frequency: h5py_slice(path, int(frequency)), "csv": h5py_csv,
         "read": h5py_read, "salvage": h5py_salvage, "compare": compare, "damage": damage}


def main():
    if sys.argv[1:2] == ["--step"]:
        return STEPS[sys.argv[2]](*sys.argv[3:])
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("fieldstore", metavar="FIELDSTORE")
    parser.add_argument("directory", metavar="DIRECTORY", help="for the files, in memory at best")
    parser.add_argument("--size", type=int, default=256, metavar="MIB")
    parser.add_argument("--repeats", type=int, default=3, metavar="N")
    options = parser.parse_args()
    tool = os.path.abspath(options.fieldstore)
    work = os.path.join(options.directory, "fieldstore-tasks-%d" % os.getpid())
    os.makedirs(work)
    os.chdir(work)
    try:
        frequencies = answer("make", options.size)["frequencies"]
        subprocess.run([tool, "check", STORE], check=True, stdout=subprocess.DEVNULL)
        print("%d frequencies of %d ports; load before %.2f; %s\n" % (
            frequencies, PORTS, os.getloadavg()[0],
            ", ".join("%s %s" % (name, size_of(name)) for name in (STORE, GROUPS, FLAT))))
        table = Table(options.repeats)
        look(table, tool, 10**9 + 10**5 * (frequencies // 2))
        export(table, tool)
        verify(table, tool)
        repair(table, tool, "a byte of a value changed", "byte")
        repair(table, tool, "4 KiB of zeros", "zeros")
    finally:
        os.chdir("/")
        shutil.rmtree(work)
    return 0


if __name__ == "__main__":
    sys.exit(main())

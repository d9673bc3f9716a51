# SPDX-License-Identifier: Apache-2.0
"""Reads the HDF5 files of the program fieldstore with h5py and h5dump.

Usage: hdf5_test.py FIELDSTORE MAKE_SAMPLES [unittest arguments]

Needs the Debian packages python3-h5py and hdf5-tools. Status 77, with a message, when one of them is
missing, or when the program was built without HDF5.
"""
import json
import os
import shutil
import struct
import subprocess
import sys
import tempfile
import unittest


def skip(why):
    print("SKIPPED: " + why)
    sys.exit(77)


try:
    import h5py
    import numpy
except ImportError as missing:
    skip("%s. Install python3-h5py." % missing)
if not shutil.which("h5dump"):
    skip("no h5dump. Install hdf5-tools.")

from tool_case import TOOL, ToolCase  # without the readers, there is nothing to test

MAKE_SAMPLES = os.path.abspath(sys.argv[2])


class Hdf5(ToolCase):
    def dump(self, source):
        self.run_tool("dump", source, "--format", "hdf5", "-o", self.path("out.h5"), "--force")
        return h5py.File(self.path("out.h5"), "r")

    def test_a_directory_becomes_one_file(self):
        subprocess.run([MAKE_SAMPLES, self.directory], check=True)
        with open(self.path("binary/labels.json"), "w", encoding="utf-8") as labels:
            json.dump({"schema": 1, "matrixTypes": {"3": {"name": "resistance", "unit": "ohm"}},
                       "valueTypes": {"12": {"name": "fl\u00e4che", "unit": "m\u00b2",
                                             "components": ["x", "y"]},
                                      "2": {"name": "another"}}}, labels)
        with self.dump(self.path("binary")) as file:
            self.assertEqual(len(file), 9)
            modes = file["modeinfo.dat/modes/port1"]
            self.assertEqual(modes["gamma"].dtype, numpy.complex128)
            self.assertEqual(modes["gamma"][:].tolist(), [[1 + 2j, 3 + 4j]] * 2)
            self.assertEqual(modes["current"][1].tolist(), [[3, 4], [7, 8 + 0.1j]])
            self.assertEqual([d.label for d in modes["voltage"].dims],
                             ["frequency", "mode", "index"])
            self.assertEqual(modes["frequency"].attrs["units"], "Hz")
            matrices = file["circuitmatrices.dat/matrices/type3"]
            self.assertEqual(matrices["values"][:].tolist(), [[[1, 2], [3, 0.25]]] * 2)
            self.assertEqual((matrices["values"].compression, matrices["values"].fletcher32),
                             ("gzip", True))
            for place in (matrices, matrices["values"]):
                self.assertEqual((place.attrs["label"], place.attrs["units"]),
                                 ("resistance", "ohm"))
            values = file["solutiondata.dat/values/type12/values"].attrs
            self.assertEqual((values["label"], values["units"], list(values["components"])),
                             ("fl\u00e4che", "m\u00b2", ["x", "y"]))
            self.assertEqual([list(array.attrs["labels"])
                              for array in file["solutiondata.dat/definitions"].values()
                              if "labels" in array.attrs], [["Mean"], ["fl\u00e4che"]])
            metrics = file["solutiondata.dat"]
            self.assertEqual(dict(metrics.attrs), {"class": "POSolutionMetrics", "mode": "binary",
                                                   "version": "Run 7"})
            self.assertEqual(metrics["headerField4"][()], 4000000000)
            self.assertEqual(metrics["edges/nodes"].shape, (2, 2))
            rows = file["evdofmap.dat/rows"]
            self.assertEqual((rows["begin"][:].tolist(), rows["weight"][:].tolist()),
                             ([0, 2, 3, 3], [0.5, 0, 2]))
        shown = subprocess.run(["h5dump", "-d", "/circuitmatrices.dat/matrices/type3/values",
                                self.path("out.h5")], check=True, capture_output=True).stdout
        self.assertIn(b"(1,1,0): 3, 0.25", shown)

    def test_large_arrays_have_every_value_and_a_checksum(self):
        """Random numbers, which deflate would not shorten, and constant ones, in many chunks."""
        random = numpy.random.default_rng(1)
        values = random.standard_normal((300, 40, 40))
        values[100:200] = 1.5
        with open(self.path("circuitmatrices.dat"), "wb") as file:
            file.write(struct.pack("<q", len(values)))
            for frequency, matrix in enumerate(values):
                file.write(struct.pack("<qiq", frequency, 3, matrix.size) + matrix.tobytes())
        with self.dump(self.path("circuitmatrices.dat")) as file:
            stored = file["matrices/type3/values"]
            self.assertTrue((stored[:] == values).all())
            self.assertLess(stored.id.get_storage_size(), values.nbytes * 3 // 4)
            place = stored.id.get_chunk_info(0).byte_offset
        with open(self.path("out.h5"), "r+b") as file:
            file.seek(place + 100)
            file.write(b"\x55\xaa")
        with h5py.File(self.path("out.h5"), "r") as file, self.assertRaises(OSError):
            file["matrices/type3/values"][:]

    def test_standard_output_is_refused(self):
        subprocess.run([MAKE_SAMPLES, self.directory], check=True)
        self.assertIn(b"-o FILE", self.run_tool("dump", self.path("binary/evtree.dat"), "--format",
                                                "hdf5", status=2).stderr)


if __name__ == "__main__":
    with tempfile.NamedTemporaryFile(suffix=".json") as empty:
        built = subprocess.run([TOOL, "dump", empty.name, "--format", "hdf5", "-o",
                                empty.name + ".h5"], capture_output=True)
    if b"built without HDF5" in built.stderr:
        skip(built.stderr.decode())
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]])

# SPDX-License-Identifier: Apache-2.0
"""A report of a directory of results: one HTML file that opens anywhere (needs matplotlib).

    import fieldstore.report

    fieldstore.report.write("results/", "report.html")

The program ``fieldstore-report``, which ``fieldstore report`` runs, does the same.
"""

from ._report import render, write

__all__ = ["render", "write"]

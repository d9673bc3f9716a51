# SPDX-License-Identifier: Apache-2.0
"""Packages that only some functions need, imported when these run."""

from __future__ import annotations

import importlib
from typing import Any

from .errors import MissingPackageError

# Module: package of Debian, package of pip.
_PACKAGES = {
    "matplotlib": ("python3-matplotlib", "matplotlib"),
    "pandas": ("python3-pandas", "pandas"),
    "scipy.sparse": ("python3-scipy", "scipy"),
    "skrf": ("python3-scikit-rf", "scikit-rf"),
    "xarray": ("python3-xarray", "xarray"),
}


def need(module: str, what_for: str) -> Any:
    """Imports a module, or raises MissingPackageError that names the packages that have it."""
    try:
        return importlib.import_module(module)
    except ImportError as error:
        debian, pip = _PACKAGES.get(module, ("", module))
        ways = f"apt install {debian}, or pip install {pip}" if debian else f"pip install {pip}"
        raise MissingPackageError(
            f"{what_for} needs the Python package {pip}: {ways}", name=module
        ) from error

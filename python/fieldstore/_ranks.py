# SPDX-License-Identifier: Apache-2.0
"""What a store asks of the ranks that share it."""

from __future__ import annotations

from typing import Any, List, Optional, Protocol

from .errors import StoreError


class Communicator(Protocol):
    """Ranks that call these functions in the same order; a communicator of mpi4py is one."""

    @property
    def rank(self) -> int:
        """The number of this rank, from 0."""

    def allgather(self, sendobj: Any) -> List[Any]:
        """What every rank gave, in the order of the ranks."""

    def gather(self, sendobj: Any, root: int = 0) -> Optional[List[Any]]:
        """The same for one rank; None for the others."""

    def bcast(self, obj: Any, root: int = 0) -> Any:
        """What one rank gave."""


def require_of_all(ranks: Communicator, error: Optional[Exception]) -> None:
    """Raises the error of the lowest rank that has one, on all of them."""
    errors = [known for known in ranks.allgather(error) if known is not None]
    if errors:
        raise errors[0]


def changes_of_all(
    ranks: Communicator, path: str, changed: List[str], raised: Optional[BaseException]
) -> List[List[str]]:
    """The names of what each rank wants to store. Raises on all ranks when one of them raised."""
    trouble = None if raised is None else f"{type(raised).__name__}: {raised}"
    shares = ranks.allgather((trouble, changed))
    for rank, (text, _) in enumerate(shares):
        if text is not None:
            raise StoreError(f"Nothing was stored in {path}, as rank {rank} raised {text}")
    return [names for _, names in shares]

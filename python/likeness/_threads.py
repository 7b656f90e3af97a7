"""How many threads operations use."""

from __future__ import annotations

from . import _core
from ._arrays import integer


def threads() -> int:
    """How many threads an operation uses at most."""
    return int(_core.threads())


def set_threads(count: int) -> None:
    """From now on operations use at most so many threads, from 1; 0 returns to the default."""
    _core.set_threads(integer("count", count))

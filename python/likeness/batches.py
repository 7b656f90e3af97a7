"""Many pairs, recorded in a file as the program `darkroom batch` records them."""

from __future__ import annotations

import os
import warnings
from typing import Iterable, NamedTuple, Optional, Union

from . import _core
from ._arrays import Progress
from .files import PathLike, PhotographWarning
from .models import ComparisonModel, model_of


class BatchSummary(NamedTuple):
    """What came of a batch."""

    pairs: int
    """Of the list, or of its part."""
    recorded: int
    """All of them, unless the run was stopped."""
    done: int
    """Of these, by this call."""
    failed: int
    """Of those that are recorded."""
    seconds: float
    """Of this call."""


def batch(
    pairs: PathLike,
    output: PathLike,
    *,
    shard: tuple[int, int] = (1, 1),
    root: PathLike = "",
    model: Union[ComparisonModel, str] = "likeness",
    hue: Optional[str] = None,
    profile: str = "embedded",
    resume: bool = False,
    retry_failed: bool = False,
    jobs: int = 0,
    cache: int = 1000,
    max_pixels: Optional[int] = None,
    progress: Progress = None,
) -> BatchSummary:
    """Compares the pairs of a list and records every result: the same bytes as `darkroom batch`.

    Parameters
    ----------
    pairs : path
        List with the columns first, second and, if need be, id: CSV, TSV or JSON Lines.
    output : path
        Results: .db, .sqlite or .sqlite3 (SQLite), .jsonl or .ndjson (JSON Lines), .csv.
    shard : (int, int)
        (I, N): only the I-th of N parts of the list; the part of a pair depends on its id alone. `darkroom merge` puts
        the results of all parts together.
    root : path
        Folder that relative paths of the list start from; the working directory unless given.
    model, hue, profile
        As of `analyze`.
    resume : bool
        Go on with an output that is there: do exactly what is missing.
    retry_failed : bool
        With `resume`: compare again what is recorded as failed.
    jobs : int
        Pairs at the same time; 0: as many as there are processors.
    cache : int
        Analysed photographs that are kept of those that occur again.
    max_pixels : int, optional
        Photographs of more fail by their header; 2^29 unless given.
    progress : callable, optional
        Called with the pairs recorded and of all pairs; False ends the run. What is recorded stays.

    Raises
    ------
    ValueError
        If the list cannot be read, the output is there without `resume` or was made with other parameters, or the
        machine fails; a sentence why, and how much is recorded.
    likeness.Cancelled
        If `progress` ended the run.

    Notes
    -----
    A pair that cannot be compared is recorded with the reason and does not end the run.
    """
    index, count = shard
    if not 1 <= index <= count:
        raise ValueError(f"shard: {index} of {count} is no part of a list")
    for name, number in (("jobs", jobs), ("cache", cache), ("max_pixels", max_pixels or 0), ("shard", count)):
        if not 0 <= number <= 2**31 - 1:
            raise ValueError(f"{name}: {number} is not from 0 to 2147483647")
    recorded = _core.run_batch(
        os.fspath(pairs),
        os.fspath(output),
        (index, count),
        os.fspath(root),
        model_of(model)._tuple(),
        hue,
        profile,
        resume,
        retry_failed,
        jobs,
        cache,
        _core.most_pixels if max_pixels is None else max_pixels,
        progress,
    )
    *numbers, cancelled, warned = recorded
    for warning in warned:
        warnings.warn(warning, PhotographWarning, stacklevel=2)
    summary = BatchSummary(*numbers)
    if cancelled or summary.recorded < summary.pairs:
        raise _core.Cancelled(f"stopped: {summary.recorded} of {summary.pairs} pairs are recorded; resume=True does the others")
    return summary


def merge_results(parts: Iterable[PathLike], output: PathLike, *, overwrite: bool = False) -> int:
    """Joins the results of all parts of a list into one file in the order of the list: the same bytes as those of one
    `batch` over the whole list.

    Parameters
    ----------
    parts : iterable of paths
        In any order. Everything is checked before anything is written.
    output : path
    overwrite : bool
        Replace an output that is there.

    Returns
    -------
    int
        Pairs.

    Raises
    ------
    ValueError
        For results of different lists, parameters or versions, and doubled or missing pairs.
    """
    pairs, _, assumption = _core.merge_results([os.fspath(part) for part in parts], os.fspath(output), overwrite)
    if assumption:
        warnings.warn(assumption, PhotographWarning, stacklevel=2)
    return int(pairs)

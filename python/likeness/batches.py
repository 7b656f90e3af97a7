"""Many pairs, recorded in a file as the program `darkroom batch` records them."""

from __future__ import annotations

import os
import warnings
from typing import Iterable, NamedTuple, Optional, Union

from . import _core
from ._arrays import PhotographWarning, Progress, Regions, part_asked, path_text, whole_number
from .files import PathLike
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
    alpha: Optional[str] = None,
    regions: Optional[Regions] = None,
    center_weighted: bool = False,
    profile: str = "embedded",
    distances: bool = False,
    checksums: bool = False,
    predict: Optional[PathLike] = None,
    archive: Optional[PathLike] = None,
    check: bool = False,
    isolate: bool = False,
    file_seconds: float = 300,
    file_memory: Optional[int] = None,
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
    model, hue, alpha, regions, center_weighted, profile
        As of `analyze`; masks stand in the columns first_mask and second_mask of the list.
    distances : bool
        Record distances of the distributions too, in further columns.
    checksums : bool
        Record the SHA-256 of the photographs too; with `resume`, what is recorded without or with another one is
        compared again.
    predict : path, optional
        File of a fitted model, as `ScoreModel.write` makes it: record the score that it predicts, too.
    archive : path, optional
        Archive of `darkroom index`: what it has of a photograph is taken from it where size and time of change agree;
        with `check`, where the SHA-256 of the file does.
    isolate : bool
        Read photographs in processes of their own, so that one that crashes its reader costs itself alone. The program
        does so unless told otherwise; here the processes are forked from the interpreter. A fork has the locks that other
        threads of the interpreter hold at that moment, and not the threads that would release them, so that it may stand
        still. Only who calls knows of such threads, which notebooks and pools have: not unless asked for.
    file_seconds, file_memory : float, int
        With `isolate`: what a photograph may take, seconds from 0.1 and bytes from 64 MiB; as much memory as the machine
        has unless given.
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
    index, count = (whole_number("shard", number, 1, 2**31 - 1) for number in shard)
    if index > count:
        raise ValueError(f"shard: {index} of {count} is no part of a list")
    if check and archive is None:
        raise ValueError("check: there is no archive")
    if retry_failed and not resume:
        raise ValueError("retry_failed: there is no resume")
    if not isolate and (file_seconds != 300 or file_memory is not None):
        raise ValueError("file_seconds and file_memory are limits of processes of their own: isolate=True has them")
    if not 0.1 <= file_seconds <= 1e6:
        raise ValueError(f"file_seconds: {file_seconds} is not from 0.1 to 1000000")
    memory = 0 if file_memory is None else whole_number("file_memory", file_memory, _core.least_file_memory, 2**46)
    recorded = _core.run_batch(
        {
            "pairs": path_text(pairs),
            "output": path_text(output),
            "shard": (index, count),
            "root": path_text(root),
            "model": model_of(model)._tuple(),
            "hue": hue,
            "part": part_asked(alpha, regions, center_weighted).of_file(),
            "profile": profile,
            "distances": bool(distances),
            "checksums": bool(checksums),
            "predict": "" if predict is None else path_text(predict),
            "archive": "" if archive is None else path_text(archive),
            "check": bool(check),
            "isolate": (float(file_seconds), memory) if isolate else None,
            "resume": bool(resume),
            "retry_failed": bool(retry_failed),
            "jobs": whole_number("jobs", jobs, 0, 1024),
            "cache": whole_number("cache", cache, 0, 1000000),
            "max_pixels": _core.most_pixels if max_pixels is None else whole_number("max_pixels", max_pixels, 1, 2**31 - 1),
        },
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
    if isinstance(parts, (str, bytes, os.PathLike)):
        raise ValueError("parts: a sequence of paths is wanted, not one path")
    pairs, _, assumption = _core.merge_results([path_text(part) for part in parts], path_text(output), overwrite)
    if assumption:
        warnings.warn(assumption, PhotographWarning, stacklevel=2)
    return int(pairs)

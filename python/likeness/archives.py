"""Archives: photographs analysed once, in a file, and compared as often as is wanted."""

from __future__ import annotations

import math
import os
import warnings as _warnings
from typing import Iterable, Iterator, Mapping, NamedTuple, Optional, Sequence, Union

from . import _core
from ._arrays import ImageLike, PhotographWarning, Progress, path_text
from .comparison import Analysis, Coefficients, analyze
from .distances import BinDistances, distances_of
from .files import PathLike
from .models import ComparisonModel, ViewingConditions, model_of

_NAMES = (*Coefficients._fields, "hue")


class ArchivedPhotograph(NamedTuple):
    """What an archive keeps of a photograph."""

    path: str
    """As it was named."""
    size: int
    """Bytes of the file; 0 if there was none."""
    modified: int
    """Time of the file, nanoseconds since 1970."""
    sha256: str
    """Of the file, hexadecimal."""
    height: int
    """Pixels; 0 where there is a problem."""
    width: int
    """Likewise."""
    problem: Optional[str]
    """Why it has no appearance; None where it has one."""
    profile: Optional[str]
    """Colour profile that its colours were taken by; None: sRGB."""
    remarks: tuple[str, ...]
    """What was said of the file."""
    analysis: Optional[Analysis]
    """What `analyze` finds; None where there is a problem."""

    @property
    def pixels(self) -> int:
        """Height times width."""
        return self.height * self.width


class Neighbor(NamedTuple):
    """A photograph that a search found."""

    path: str
    entry: int
    """Its number in the archive."""
    coefficients: Coefficients
    """Of it and what was searched for: those of `compare`."""
    hue: Optional[float]
    """Coefficient of the hue, where both have one."""
    score: float
    """What ranks, 0..1."""
    distances: Optional[tuple[BinDistances, ...]] = None
    """Of the five correlates, where they were asked for."""


class AlikePair(NamedTuple):
    """Two photographs that look alike."""

    first: str
    second: str
    coefficients: Coefficients
    """Those of `compare`."""
    hue: Optional[float]
    """Coefficient of the hue, where both have one."""
    score: float
    """What ranks, 0..1."""
    distances: Optional[tuple[BinDistances, ...]] = None
    """Of the five correlates, where they were asked for."""


class ArchiveCluster(NamedTuple):
    """Photographs of an archive that hang together by pairs."""

    paths: tuple[str, ...]
    """In the order of the archive, two or more."""
    means: tuple[float, ...]
    """Mean score of each with the others of the cluster."""
    representative: str
    """Path of the greatest mean; of equal ones the first."""


class IndexSummary(NamedTuple):
    """What came of `index`."""

    photographs: int
    """In the archive."""
    failed: int
    """Of these, that could not be read; their entries say why."""
    added: int
    """That the archive did not have."""
    changed: int
    """That have another size or time, or were tried again."""
    removed: int
    """That are not named any more."""


def _number(value: float, what: str, least: float, most: float) -> float:
    if not (isinstance(value, (int, float)) and not math.isnan(value) and least <= value <= most):
        raise ValueError(f"{what}: {value!r} is not a number from {least:g} to {most:g}")
    return float(value)


def _whole(value: int, what: str, least: int, most: int) -> int:
    if not isinstance(value, int) or isinstance(value, bool) or not least <= value <= most:
        raise ValueError(f"{what}: {value!r} is not a whole number from {least} to {most}")
    return value


def _by_name(values: Mapping[str, float], what: str, most: float) -> list[float]:
    numbers = [0.0] * len(_NAMES)
    for name, value in values.items():
        if name not in _NAMES:
            raise ValueError(f"{what}: '{name}' is none of {', '.join(_NAMES)}")
        numbers[_NAMES.index(name)] = _number(value, f"{what}: {name}", 0, most)
    return numbers


class Archive:
    """An archive in a file, which `index` or the program `darkroom index` made. It is mapped, not loaded.

    Entries stand in the order of the bytes of their paths. They are numbered from 0, and found by number or path.

    Parameters
    ----------
    path : path
        Of the archive.

    Raises
    ------
    ValueError
        If it cannot be read, is no archive, or is unfinished.

    Examples
    --------
    >>> import pathlib, tempfile, likeness
    >>> folder = pathlib.Path(tempfile.mkdtemp())
    >>> for name, level in (("dark.png", 40), ("gray.png", 120), ("light.png", 125)):
    ...     likeness.write(folder / name, np.full((8, 8, 3), level, np.uint8))
    >>> likeness.index([folder], folder / "photos.likeness").photographs
    3
    >>> archive = likeness.Archive(folder / "photos.likeness")
    >>> len(archive), pathlib.Path(archive.paths[0]).name
    (3, 'dark.png')
    >>> [pathlib.Path(found.path).name for found in archive.nearest(folder / "gray.png", top=2)]
    ['gray.png', 'dark.png']
    >>> archive.pairs(minimum=1.0)
    []
    """

    def __init__(self, path: PathLike) -> None:
        self._path = path_text(path)
        self._archive = _core.Archive(self._path)
        for line in self._archive.damage():
            _warnings.warn(f"'{self._path}': {line}; darkroom repair keeps what can be read", PhotographWarning, stacklevel=2)

    def __repr__(self) -> str:
        return f"Archive({self._path!r})"

    def __len__(self) -> int:
        return len(self._archive)

    def __iter__(self) -> Iterator[ArchivedPhotograph]:
        return (self[entry] for entry in range(len(self)))

    def __contains__(self, path: object) -> bool:
        return isinstance(path, (str, os.PathLike)) and self._archive.find(path_text(path)) is not None

    def __getitem__(self, entry: Union[int, PathLike]) -> ArchivedPhotograph:
        """The entry of a number, counted from the end below 0, or of a path."""
        if isinstance(entry, (str, os.PathLike)):
            number = self._archive.find(path_text(entry))
            if number is None:
                raise KeyError(path_text(entry))
        else:
            number = range(len(self))[entry]
        path, size, modified, sha256, height, width, problem, profile, remarks, distributions = self._archive.photograph(number)
        analysis = None
        if not problem:
            analysis = Analysis(height, width, self.model, None, None, tuple(remarks), distributions)
        return ArchivedPhotograph(
            path, size, modified, sha256.hex(), height, width, problem or None, profile or None, tuple(remarks), analysis
        )

    @property
    def paths(self) -> Sequence[str]:
        """Of all entries, in their order."""
        return [self._archive.path_of(entry) for entry in range(len(self))]

    @property
    def model(self) -> ComparisonModel:
        """The model that its photographs were seen through."""
        kind, (white, luminance, background, surround, discounting), picture_white, response, black, own = self._archive.model()
        conditions = ViewingConditions(white, luminance, background, surround, discounting)
        return ComparisonModel(kind, conditions, picture_white, response, black, own)

    @property
    def hue(self) -> Optional[str]:
        """What a pixel counts in the distribution of the hue, "pixels" or "chroma"; None where there is none."""
        return self._archive.hue()

    @property
    def parameters(self) -> str:
        """All that its numbers depend on, in words."""
        return str(self._archive.parameters())

    def check(self) -> list[str]:
        """Reads everything and holds it against the checksums: what is damaged, a line each."""
        return list(self._archive.check())

    def _score(self, by: str, weights: Optional[Mapping[str, float]]) -> tuple[bool, list[float]]:
        if by not in ("mean", "least", *_NAMES):
            raise ValueError(f"by: '{by}' is none of mean, least, {', '.join(_NAMES)}")
        if weights is not None:
            if by not in ("mean", "least"):
                raise ValueError(f"weights: by='{by}' ranks by one coefficient alone")
            numbers = _by_name(weights, "weights", 1e6)
            if not any(numbers):
                raise ValueError("weights: one of them must be above 0")
        elif by in _NAMES:
            numbers = [1.0 if name == by else 0.0 for name in _NAMES]
        else:
            numbers = [1.0] * 5 + [1.0 if by == "least" and self.hue is not None else 0.0]
        self._check_hue(numbers, "by, weights")
        return by == "least", numbers

    def _check_hue(self, numbers: Sequence[float], what: str) -> None:
        if numbers[-1] > 0 and self.hue is None:
            raise ValueError(f"{what}: the archive has no hue; index(..., hue='pixels') makes one that has")

    def _limits(self, minimum: Union[float, Mapping[str, float], None]) -> tuple[float, list[float]]:
        if minimum is None:
            return 0.0, [0.0] * len(_NAMES)
        if isinstance(minimum, Mapping):
            limits = _by_name(minimum, "minimum", 1)
            self._check_hue(limits, "minimum")
            return 0.0, limits
        return _number(minimum, "minimum", 0, 1), [0.0] * len(_NAMES)

    def nearest(
        self,
        photograph: Union[ImageLike, PathLike, Analysis],
        *,
        top: int = 10,
        by: str = "mean",
        weights: Optional[Mapping[str, float]] = None,
        minimum: Union[float, Mapping[str, float], None] = None,
        others: bool = False,
        approximate: bool = False,
        distances: bool = False,
        max_pixels: Optional[int] = None,
    ) -> list[Neighbor]:
        """The entries that look most like a photograph: what `darkroom search` finds, with its numbers.

        Parameters
        ----------
        photograph : array (H, W, 3), path or Analysis
            R, G, B, any depth. A path is that of an entry, whose file need not be there any more, or of a file, which is
            read. An analysis is of the archive's model.
        top : int
            How many, 1 to 1000000.
        by : str
            What ranks: "mean" or "least" of the coefficients, or the name of one.
        weights : mapping of str to float, optional
            Weights of the coefficients in the mean, from 0; the least is that of those named. Others have none.
        minimum : float or mapping of str to float, optional
            What the score must reach, 0..1; or the coefficients, by name.
        others : bool
            Leave out the entry that is searched for itself, by its path.
        approximate : bool
            Search by the index that `index(..., approximate=True)` made: much faster among very many, and something near
            may be missed; numbers stay exact.
        distances : bool
            Whether the distances of the distributions are wanted too, from what was searched for to what was found.
        max_pixels : int, optional
            A file of more is refused; 2^29 unless given.

        Returns
        -------
        list of Neighbor
            The greatest score first; of equal ones the first in the archive.

        Raises
        ------
        ValueError
            For arguments out of range, a file that cannot be read, an analysis under another model, a damaged archive.
        """
        _whole(top, "top", 1, 1000000)
        if approximate and (by != "mean" or weights is not None):
            raise ValueError("approximate: the index leads to what is near by the mean; leave out by and weights")
        least, numbers = self._score(by, weights)
        least_score, limits = self._limits(minimum)
        entry = None
        if isinstance(photograph, Analysis):
            if not self._archive.sees(photograph.model._tuple()):
                raise ValueError("the photograph was analysed under another model than those of the archive")
            distributions = photograph._distributions
        elif isinstance(photograph, (str, os.PathLike)):
            path = path_text(photograph)
            entry = self._archive.find(path) if others else None
            distributions = self._archive.distributions_of(path, _core.most_pixels if max_pixels is None else max_pixels)
        else:
            distributions = analyze(photograph, model=self.model, hue=self.hue)._distributions
        found = self._archive.nearest(distributions, top, least, numbers, limits, approximate, entry)
        return [
            Neighbor(
                path,
                number,
                Coefficients(*five),
                hue,
                score,
                distances_of(distributions, self._archive.photograph(number)[-1]) if distances else None,
            )
            for path, number, five, hue, score in found
            if score >= least_score
        ]

    def pairs(
        self,
        other: Optional[Archive] = None,
        *,
        minimum: Union[float, Mapping[str, float], None] = None,
        by: str = "mean",
        weights: Optional[Mapping[str, float]] = None,
        most: int = 10_000_000,
        distances: bool = False,
        progress: Progress = None,
    ) -> list[AlikePair]:
        """All pairs of entries that look alike: what `darkroom pairs` finds.

        Parameters
        ----------
        other : Archive, optional
            Each entry of this archive with each of another one; without, each pair of this one once.
        minimum : float or mapping of str to float
            What the score must reach, 0..1; or the coefficients, by name. It is required.
        by, weights
            As of `nearest`.
        most : int
            More pairs than these are refused.
        distances : bool
            Whether the distances of the distributions are wanted too, from the first to the second.
        progress : callable, optional
            Called with the entries done and of all entries; False ends the call with `Cancelled`.

        Returns
        -------
        list of AlikePair
            In the order of the first entry, then of the second.
        """
        if minimum is None:
            raise ValueError("minimum is required: what a pair must reach")
        return self._pairs(other, 0, minimum, by, weights, most, distances, progress)

    def neighbors(
        self,
        top: int = 1,
        other: Optional[Archive] = None,
        *,
        minimum: Union[float, Mapping[str, float], None] = None,
        by: str = "mean",
        weights: Optional[Mapping[str, float]] = None,
        most: int = 10_000_000,
        distances: bool = False,
        progress: Progress = None,
    ) -> list[AlikePair]:
        """The entries nearest to each entry, itself left out: what `darkroom pairs --nearest` finds.

        Parameters
        ----------
        top : int
            How many of each, 1 to 100000.
        other, minimum, by, weights, most, distances, progress
            As of `pairs`; the minimum may be left out.

        Returns
        -------
        list of AlikePair
            In the order of the first entry, then of the falling score.
        """
        return self._pairs(other, _whole(top, "top", 1, 100000), minimum, by, weights, most, distances, progress)

    neighbours = neighbors

    def _pairs(
        self,
        other: Optional[Archive],
        nearest: int,
        minimum: Union[float, Mapping[str, float], None],
        by: str,
        weights: Optional[Mapping[str, float]],
        most: int,
        distances: bool,
        progress: Progress,
    ) -> list[AlikePair]:
        least, numbers = self._score(by, weights)
        least_score, limits = self._limits(minimum)
        found = self._archive.pairs(
            None if other is None else other._archive,
            least,
            numbers,
            least_score,
            limits,
            nearest,
            _whole(most, "most", 1, 4_000_000_000),
            progress,
        )
        second = self if other is None else other
        return [
            AlikePair(one, two, Coefficients(*five), hue, score, self._pair_distances(one, second, two) if distances else None)
            for one, two, five, hue, score in found
        ]

    def _pair_distances(self, path: str, other: Archive, its_path: str) -> tuple[BinDistances, ...]:
        one, two = self._archive, other._archive
        return distances_of(one.photograph(one.find(path))[-1], two.photograph(two.find(its_path))[-1])

    def clusters(
        self,
        *,
        minimum: Union[float, Mapping[str, float], None] = None,
        top: int = 0,
        by: str = "mean",
        weights: Optional[Mapping[str, float]] = None,
        most: int = 10_000_000,
        progress: Progress = None,
    ) -> list[ArchiveCluster]:
        """The groups that entries form by their pairs: what `darkroom pairs --clusters` writes.

        Parameters
        ----------
        minimum, by, weights, most, progress
            As of `pairs`. The minimum may be left out where there is `top`.
        top : int
            Not 0: the groups are formed by the pairs of `neighbors(top)` instead.

        Returns
        -------
        list of ArchiveCluster
            In the order of their first entries. Entries that are in no pair are in no cluster.
        """
        if minimum is None and not top:
            raise ValueError("minimum is required: what a pair must reach")
        least, numbers = self._score(by, weights)
        least_score, limits = self._limits(minimum)
        found = self._archive.clusters(
            least,
            numbers,
            least_score,
            limits,
            _whole(top, "top", 0, 100000),
            _whole(most, "most", 1, 4_000_000_000),
            progress,
        )
        clusters = []
        for entries, means, representative in found:
            paths = tuple(self._archive.path_of(entry) for entry in entries)
            clusters.append(ArchiveCluster(paths, tuple(means), paths[representative]))
        return clusters


def index(
    paths: Union[PathLike, Iterable[PathLike]],
    output: PathLike,
    *,
    model: Union[ComparisonModel, str] = "likeness",
    hue: Optional[str] = None,
    update: bool = False,
    resume: bool = False,
    overwrite: bool = False,
    retry_failed: bool = False,
    approximate: bool = False,
    jobs: int = 0,
    max_pixels: Optional[int] = None,
    profile: str = "embedded",
    progress: Progress = None,
) -> IndexSummary:
    """Analyses photographs once and keeps what is found in an archive: the same bytes as `darkroom index`.

    Parameters
    ----------
    paths : path or iterable of paths
        Photographs, and folders whose image files are taken with those of their subfolders.
    output : path
        The archive; never half-written.
    model, hue
        As of `analyze`.
    update : bool
        Bring an archive up to date: analyse what is new or has another size or time, leave out what is not named.
    resume : bool
        The same, and go on with what a stopped run left.
    overwrite : bool
        Replace an archive that is there.
    retry_failed : bool
        With `update` or `resume`: read again what could not be read.
    approximate : bool
        Make the index for approximate searches too, beside the archive.
    jobs : int
        Photographs at the same time; 0: as many as there are processors.
    max_pixels : int, optional
        A photograph of more is one with a problem; 2^29 unless given.
    profile : str
        As of `compare`: "embedded", "ignore", or the name or file of a profile for photographs without one.
    progress : callable, optional
        Called with the photographs analysed and of all, now and then; False ends the run. What was made is kept.

    Raises
    ------
    ValueError
        If the output is there and nothing is said of it, or was made with other parameters, or the machine fails.
    likeness.Cancelled
        If `progress` ended the run; `resume` goes on.

    Notes
    -----
    A photograph that cannot be read is an entry with a problem, and does not end the run. One call at a time.
    """
    if overwrite and (update or resume):
        raise ValueError("overwrite begins anew and excludes update and resume")
    if retry_failed and not (update or resume):
        raise ValueError("retry_failed: there is no update or resume")
    named = [paths] if isinstance(paths, (str, os.PathLike)) else list(paths)
    made = _core.index(
        [path_text(path) for path in named],
        path_text(output),
        "replaced" if overwrite else "resumed" if resume else "updated" if update else "refused",
        retry_failed,
        approximate,
        model_of(model)._tuple(),
        hue,
        _whole(jobs, "jobs", 0, 1024),
        _core.most_pixels if max_pixels is None else max_pixels,
        profile,
        progress,
    )
    if made is None:
        raise _core.Cancelled("stopped: resume=True goes on with what is analysed")
    *numbers, warned = made
    for line in warned:
        _warnings.warn(line, PhotographWarning, stacklevel=2)
    return IndexSummary(*numbers)

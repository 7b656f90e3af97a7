"""Photographs compared by how they look."""

from __future__ import annotations

import dataclasses
import os
import warnings
from typing import Any, NamedTuple, Optional, Union

import numpy as np
import numpy.typing as npt

from . import _core
from ._arrays import (
    FloatImage,
    ImageLike,
    Part,
    PhotographWarning,
    Progress,
    Regions,
    masks_of_both,
    part,
    part_asked,
    path_text,
    share_of_progress,
    text,
    whole_number,
)
from .files import PathLike, analyze_file, is_path, pixels_and_weights
from .models import ComparisonModel, model_of


class Coefficients(NamedTuple):
    """How alike two photographs look: one Bhattacharyya coefficient per appearance correlate, 0 where the distributions
    do not overlap, 1 where they are equal."""

    brightness: float
    lightness: float
    chroma: float
    colorfulness: float
    saturation: float


class AppearanceMaps(NamedTuple):
    """The appearance of each pixel: float32 arrays (H, W)."""

    brightness: FloatImage
    """Q."""
    lightness: FloatImage
    """J, 0..100."""
    chroma: FloatImage
    """C."""
    colorfulness: FloatImage
    """M."""
    saturation: FloatImage
    """s."""
    hue_degrees: FloatImage
    """h: -180..180 under the comparison's own model, 0..360 under a published one."""


class Histogram(NamedTuple):
    """A distribution by whole numbers: the bins that hold something, ascending, and their probabilities."""

    bins: npt.NDArray[np.int32]
    probabilities: npt.NDArray[np.float32]


@dataclasses.dataclass(frozen=True, eq=False)
class Analysis:
    """How a photograph looks: what `analyze` found. It can be pickled, and compared as often as is wanted."""

    height: int
    width: int
    model: ComparisonModel
    background_luminance: Optional[float]
    """Of the background that the photograph was seen before; None where it was read from a file."""
    maps: Optional[AppearanceMaps]
    """Where they were asked for."""
    remarks: tuple[str, ...]
    """What was said of the file."""
    _distributions: Any = dataclasses.field(repr=False)
    counted_pixels: Optional[float] = None
    """How much of the photograph counted: the sum of the weights of its pixels; None where it was read from a file."""
    _profile_remark: str = dataclasses.field(default="", repr=False)

    def histogram(self, correlate: str) -> Optional[Histogram]:
        """The distribution of "brightness", "lightness", "chroma", "colorfulness" or "saturation"; of "hue" None where
        it was not asked for."""
        if correlate == "hue":
            hue = self._distributions.hue_histogram()
            return None if hue is None else Histogram(*hue)
        if correlate not in Coefficients._fields:
            raise ValueError(f"correlate: '{correlate}' is none of {', '.join(Coefficients._fields)}, hue")
        return Histogram(*self._distributions.histogram(Coefficients._fields.index(correlate)))

    @property
    def nan_shares(self) -> Coefficients:
        """Share of the pixels, 0..1, whose correlate is NaN and in no bin."""
        return Coefficients(*self._distributions.nan_shares)

    @property
    def black_share(self) -> float:
        """Share of the pixels that a published model takes for black although they are not."""
        return float(self._distributions.black_share)

    def __eq__(self, other: object) -> bool:
        if not isinstance(other, Analysis):
            return NotImplemented
        return (
            (self.height, self.width, self.model) == (other.height, other.width, other.model)
            and self._distributions == other._distributions
        )

    __hash__ = None  # type: ignore[assignment]


Comparable = Union[ImageLike, PathLike, Analysis]
"""A photograph, the path of one, or what `analyze` found."""


def analyze(
    photograph: Union[ImageLike, PathLike],
    *,
    model: Union[ComparisonModel, str] = "likeness",
    hue: Optional[str] = None,
    maps: bool = False,
    mask: Optional[Union[ImageLike, PathLike]] = None,
    alpha: Optional[str] = None,
    regions: Optional[Regions] = None,
    center_weighted: bool = False,
    profile: str = "embedded",
    progress: Progress = None,
) -> Analysis:
    """Analyses a photograph: the distributions of its appearance correlates.

    Parameters
    ----------
    photograph : array (H, W, 3) or path
        R, G, B, any depth. A file is read as the program `darkroom` reads it. Masked pixels of a masked array do not
        count.
    model : ComparisonModel or str
        Or the name of a model, under its usual conditions.
    hue : str, optional
        "pixels" or "chroma": the distribution of the hue too, and what a pixel counts in it.
    maps : bool
        Whether the maps of the correlates are wanted too. They are whole, whatever counts.
    mask : array (H, W) or path, optional
        How much each pixel counts: bool, uint8 or uint16 (white counts, grey weighs), or floats 0..1. The white and the
        background of the model are those of what counts.
    alpha : str, optional
        What transparent pixels are: "use", they count as much as they are opaque; "ignore", they count as they stand;
        "over COLOUR", they are laid over white, black, #rrggbb or R,G,B of 0 to 255. Of a file, or of an array
        (H, W, 4). A file's is ignored unless given.
    regions : str or sequence, optional
        What counts: rectangles "x,y,w,h" and ellipses "ellipse:x,y,w,h" in pixels or with % of the photograph, or four
        numbers in pixels. Several unite. The mask, the regions and the weighting multiply.
    center_weighted : bool
        The middle counts most: by a Gaussian about it whose standard deviations are a quarter of width and height.
    profile : str
        Of a file: "embedded", "ignore", or the name or file of a profile for a photograph without one.
    progress : callable, optional
        Called with the steps done and of all steps; False ends the call with `Cancelled`.

    Raises
    ------
    ValueError
        For other arrays, a file that cannot be read, or a model that cannot be used.
    """
    chosen = model_of(model)
    choice = part_asked(alpha, regions, center_weighted)
    if hue is not None:
        text("hue", hue, "pixels", "chroma")
    if isinstance(photograph, (str, os.PathLike)) and not maps and mask is None and choice.is_whole():
        distributions, height, width, remarks, of_profile = analyze_file(photograph, chosen, hue, profile, progress)
        return Analysis(height, width, chosen, None, None, remarks, distributions, None, of_profile)
    pixels, weights = pixels_and_weights(photograph, mask, choice, profile)
    distributions, height, width, background, kept, counted = _core.analyze(
        pixels, chosen._tuple(), hue, maps, weights, progress
    )
    return Analysis(
        height, width, chosen, background, None if kept is None else AppearanceMaps(*kept), (), distributions, counted
    )


def model_of_pair(
    first: Comparable,
    second: Comparable,
    model: Union[ComparisonModel, str],
    first_mask: Optional[object],
    second_mask: Optional[object],
    choice: Part,
) -> ComparisonModel:
    """The model two photographs are compared under: that of the analyses among them, else the one asked for. What would
    choose pixels of an analysis is refused."""
    asked, its_own = model_of(model), None
    for photograph, its_mask, name in ((first, first_mask, "first_mask"), (second, second_mask, "second_mask")):
        if not isinstance(photograph, Analysis):
            continue
        if its_mask is not None:
            raise ValueError(f"{name}: an analysis has been made already; analyze takes a mask")
        if not choice.is_whole():
            raise ValueError("an analysis has been made already; analyze takes alpha, regions and center_weighted")
        its_own = its_own or photograph.model
    return its_own or asked


def check_same_model(first: Analysis, second: Analysis) -> None:
    """Refuses analyses that cannot be compared."""
    if first.model != second.model:
        raise ValueError("the photographs were analysed under different models")


def compare(
    first: Comparable,
    second: Comparable,
    *,
    model: Union[ComparisonModel, str] = "likeness",
    first_mask: Optional[Union[ImageLike, PathLike]] = None,
    second_mask: Optional[Union[ImageLike, PathLike]] = None,
    mask: Optional[Union[ImageLike, PathLike]] = None,
    alpha: Optional[str] = None,
    regions: Optional[Regions] = None,
    center_weighted: bool = False,
    profile: str = "embedded",
    progress: Progress = None,
) -> Coefficients:
    """Compares two photographs by how they look.

    Parameters
    ----------
    first, second : array (H, W, 3), path or Analysis
        They may differ in size and depth. Of two files the numbers are those that `darkroom compare` prints.
    first_mask, second_mask
        How much the pixels of each count, as the mask of `analyze`; not of analyses.
    mask
        The same for both, in place of these.
    alpha, regions, center_weighted
        As of `analyze`, of both photographs; not of analyses.
    model, profile, progress
        As of `analyze`. Of analyses the model is their own.

    Raises
    ------
    ValueError
        As `analyze`; for analyses under different models.

    Examples
    --------
    >>> gray = np.full((4, 4, 3), 128, np.uint8)
    >>> compare(gray, gray).chroma
    1.0
    """
    choice = part_asked(alpha, regions, center_weighted)
    first_mask, second_mask = masks_of_both(first_mask, second_mask, mask)
    chosen = model_of_pair(first, second, model, first_mask, second_mask, choice)
    if not any(isinstance(photograph, Analysis) or is_path(photograph) for photograph in (first, second)):
        one, one_weights = part(first, first_mask, choice)  # type: ignore[arg-type]
        other, other_weights = part(second, second_mask, choice)  # type: ignore[arg-type]
        return Coefficients(*_core.compare(one, other, chosen._tuple(), one_weights, other_weights, progress))
    to_do = sum(not isinstance(photograph, Analysis) for photograph in (first, second))
    analyses: list[Analysis] = []
    done = 0
    for photograph, its_mask in ((first, first_mask), (second, second_mask)):
        if isinstance(photograph, Analysis):
            analyses.append(photograph)
            continue
        analysis = analyze(
            photograph,
            model=chosen,
            mask=its_mask,
            alpha=alpha,
            regions=regions,
            center_weighted=center_weighted,
            profile=profile,
            progress=share_of_progress(progress, done, to_do),
        )
        done += 1
        analyses.append(analysis)
        for remark in analysis.remarks:
            if remark != analysis._profile_remark:
                warnings.warn(f"'{path_text(photograph)}': {remark}", PhotographWarning, stacklevel=2)  # type: ignore[arg-type]
    check_same_model(*analyses)
    return Coefficients(*_core.compare_distributions(analyses[0]._distributions, analyses[1]._distributions))


def hue_coefficient(first: Analysis, second: Analysis) -> Optional[float]:
    """The coefficient of the hue; None where one of the analyses has none, or no pixels."""
    check_same_model(first, second)
    return _core.hue_coefficient(first._distributions, second._distributions)


def appearance_maps(
    photograph: Union[ImageLike, PathLike],
    *,
    model: Union[ComparisonModel, str] = "likeness",
    mask: Optional[Union[ImageLike, PathLike]] = None,
    alpha: Optional[str] = None,
    regions: Optional[Regions] = None,
    center_weighted: bool = False,
    profile: str = "embedded",
    progress: Progress = None,
) -> AppearanceMaps:
    """The appearance correlates of each pixel, as the comparison sees a photograph. Parameters as of `analyze`; the white
    and the background of the model are those of what counts.

    Examples
    --------
    >>> maps = appearance_maps(np.full((2, 3, 3), 255, np.uint8))
    >>> maps.lightness.shape, float(maps.lightness[0, 0])
    ((2, 3), 100.0)
    """
    maps = analyze(
        photograph,
        model=model,
        maps=True,
        mask=mask,
        alpha=alpha,
        regions=regions,
        center_weighted=center_weighted,
        profile=profile,
        progress=progress,
    ).maps
    if maps is None:
        nothing = np.zeros((0, 0), np.float32)
        return AppearanceMaps(*(nothing for _ in AppearanceMaps._fields))
    return maps


class PairResult(NamedTuple):
    """What came of one pair of `compare_pairs`."""

    first: str
    second: str
    coefficients: Optional[Coefficients]
    """None where the pair could not be compared."""
    error: Optional[str]
    """Why."""
    remarks: tuple[str, ...]
    """What was said of the files."""


def compare_pairs(
    pairs: Any,
    *,
    model: Union[ComparisonModel, str] = "likeness",
    alpha: Optional[str] = None,
    regions: Optional[Regions] = None,
    center_weighted: bool = False,
    profile: str = "embedded",
    jobs: Optional[int] = None,
    progress: Progress = None,
) -> list[PairResult]:
    """Compares pairs of files. Each file is read once; one that cannot be read fails its pairs, not the others.

    Parameters
    ----------
    pairs : iterable of two paths each
    model, alpha, regions, center_weighted, profile
        As of `analyze`.
    jobs : int, optional
        Files that are read at the same time; as many as `threads()` unless given.
    progress : callable, optional
        Called with the files done and of all files.

    Returns
    -------
    list of PairResult
        In the order of the pairs.
    """
    from concurrent.futures import ThreadPoolExecutor

    chosen = model_of(model)
    part_asked(alpha, regions, center_weighted)
    workers = _core.threads() if jobs is None else whole_number("jobs", jobs, 0, 1024) or _core.threads()
    named = []
    for number, pair in enumerate(pairs):
        if isinstance(pair, (str, bytes, os.PathLike)) or len(pair) != 2:
            raise ValueError(f"pairs: number {number} is {pair!r}, not two paths")
        named.append((path_text(pair[0]), path_text(pair[1])))
    files = list(dict.fromkeys(path for pair in named for path in pair))

    def of_file(path: str) -> Union[Analysis, str]:
        try:
            return analyze(
                path,
                model=chosen,
                alpha=alpha,
                regions=regions,
                center_weighted=center_weighted,
                profile=profile,
            )
        except ValueError as problem:
            return str(problem)

    found: dict[str, Union[Analysis, str]] = {}
    with ThreadPoolExecutor(workers) as pool:
        for done, (path, result) in enumerate(zip(files, pool.map(of_file, files)), 1):
            found[path] = result
            if progress is not None and progress(done, len(files)) is False:
                pool.shutdown(cancel_futures=True)
                raise _core.Cancelled("the operation was cancelled by its caller")

    results = []
    for first, second in named:
        one, other = found[first], found[second]
        problems = dict.fromkeys(result for result in (one, other) if isinstance(result, str))
        remarks = tuple(
            dict.fromkeys(remark for result in (one, other) if isinstance(result, Analysis) for remark in result.remarks)
        )
        if isinstance(one, Analysis) and isinstance(other, Analysis):
            results.append(PairResult(first, second, compare(one, other), None, remarks))
        else:
            results.append(PairResult(first, second, None, "; ".join(problems), remarks))
    return results

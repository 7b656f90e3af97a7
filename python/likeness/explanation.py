"""Where and why two photographs differ: tiles, pixels, and what moved between their distributions."""

from __future__ import annotations

import dataclasses
from typing import Any, NamedTuple, Optional, Union

import numpy as np
import numpy.typing as npt

from . import _core
from ._arrays import (
    FloatImage,
    Image,
    ImageLike,
    Part,
    Progress,
    Regions,
    integer,
    masks_of_both,
    native,
    part_asked,
    real_number,
    seed_number,
    share_of_progress,
    whole_number,
)
from .comparison import Coefficients, analyze
from .files import PathLike, pixels_and_weights
from .models import ComparisonModel, model_of

_Photograph = Union[ImageLike, PathLike]


_Mask = Optional[Union[ImageLike, PathLike]]


def _parts(
    photographs: tuple[_Photograph, _Photograph],
    masks: tuple[_Mask, _Mask, _Mask],
    choice: Part,
    profile: str,
) -> tuple[tuple[Image, Optional[Image]], tuple[Image, Optional[Image]]]:
    """The pixels of two photographs, and how much they count."""
    first_mask, second_mask = masks_of_both(*masks)
    first, second = photographs
    return (
        pixels_and_weights(first, first_mask, choice, profile),
        pixels_and_weights(second, second_mask, choice, profile),
    )


class Interval(NamedTuple):
    """Two numbers between which the coefficient lies of all that the tiles are a sample of; the coefficient found is too."""

    low: float
    high: float


class Intervals(NamedTuple):
    """Of the five coefficients."""

    brightness: Interval
    lightness: Interval
    chroma: Interval
    colorfulness: Interval
    saturation: Interval


@dataclasses.dataclass(frozen=True, eq=False)
class TileComparison:
    """What `compare_tiles` found. Arrays have a row for each row of tiles and a column for each column."""

    coefficients: Coefficients
    """Of the whole photographs, the numbers of `compare`."""
    maps: Any = dataclasses.field(repr=False)
    """float32 (rows, columns) for each name of `Coefficients`: the coefficients by tile, NaN where one has no pixels."""
    first: npt.NDArray[np.int32] = dataclasses.field(repr=False)
    """(rows, columns, 4): x, y, width and height of each tile in the first photograph."""
    second: npt.NDArray[np.int32] = dataclasses.field(repr=False)
    """Likewise in the second."""
    few: npt.NDArray[np.bool_] = dataclasses.field(repr=False)
    """(rows, columns): whether a tile has fewer than `least_pixels` pixels in a photograph."""
    intervals: Optional[Intervals] = None
    """Where they were asked for."""
    worst: Optional[tuple[int, int]] = None
    """Row and column of the tile with the least coefficient, of those that have pixels enough."""


def compare_tiles(
    first: _Photograph,
    second: _Photograph,
    *,
    tiles: Union[int, tuple[int, int]] = 8,
    tile_pixels: Union[int, tuple[int, int], None] = None,
    stride: Union[float, int] = 1.0,
    least_pixels: int = 256,
    intervals: bool = False,
    resamples: int = 1000,
    seed: int = 1,
    level: float = 0.95,
    model: Union[ComparisonModel, str] = "likeness",
    first_mask: _Mask = None,
    second_mask: _Mask = None,
    mask: _Mask = None,
    alpha: Optional[str] = None,
    regions: Optional[Regions] = None,
    center_weighted: bool = False,
    profile: str = "embedded",
    progress: Progress = None,
) -> TileComparison:
    """Compares two photographs tile by tile. Tiles are at the same relative places of both; white and background are those
    of the whole photographs.

    Parameters
    ----------
    first, second : array (H, W, 3) or path
    tiles : int or (int, int)
        Tiles across and down.
    tile_pixels : int or (int, int), optional
        Width and height of a tile in pixels of the first photograph, in place of `tiles`.
    stride : float or int
        From one tile to the next: a float is a share of the tile's side, an int pixels of the first photograph.
    least_pixels : int
        Tiles of fewer pixels are marked.
    intervals : bool
        Whether the coefficients of the whole get intervals: the tiles are drawn anew with replacement (block bootstrap).
    resamples, seed, level
        How often, from which seed, and the nominal level: basic intervals (Davison, Hinkley, 1997), cut to 0..1.
    first_mask, second_mask, mask, alpha, regions, center_weighted
        As of `compare`.
    model, profile, progress
        As of `analyze`.

    Raises
    ------
    ValueError
        As `analyze`; for tiles that the photographs do not have.

    Examples
    --------
    >>> gray = np.full((64, 64, 3), 128, np.uint8)
    >>> compare_tiles(gray, gray, tiles=2).maps.chroma.shape
    (2, 2)
    """
    size = tiles if tile_pixels is None else tile_pixels
    name = "tiles" if tile_pixels is None else "tile_pixels"
    sides: tuple[Any, ...] = tuple(size) if isinstance(size, (tuple, list, np.ndarray)) else (size, size)
    if len(sides) != 2:
        raise ValueError(f"{name}: one number or two are wanted, not {size!r}")
    width, height = (integer(name, side) for side in sides)
    in_pixels = isinstance(stride, (int, np.integer)) and not isinstance(stride, bool)
    layout = (
        width,
        height,
        tile_pixels is not None,
        1.0 if in_pixels else real_number("stride", stride),
        integer("stride", stride) if in_pixels else None,
    )
    least_pixels = whole_number("least_pixels", least_pixels, -(2**63), 2**63 - 1)
    drawn = (integer("resamples", resamples), seed_number(seed), real_number("level", level))
    interval = drawn if intervals else None
    (one, one_weights), (other, other_weights) = _parts(
        (first, second), (first_mask, second_mask, mask), part_asked(alpha, regions, center_weighted), profile
    )
    coefficients, maps, firsts, seconds, few, found, worst = _core.compare_tiles(
        one, other, layout, model_of(model)._tuple(), least_pixels, interval, one_weights, other_weights, progress
    )
    return TileComparison(
        Coefficients(*coefficients),
        Coefficients(*maps),
        firsts,
        seconds,
        few,
        None if found is None else Intervals(*(Interval(*pair) for pair in found)),
        None if worst is None else (worst // few.shape[1], worst % few.shape[1]),
    )


class PixelDifferences(NamedTuple):
    """float32 arrays (H, W); NaN where a photograph has no value, a pixel does not count, or the flow leads outside."""

    brightness: FloatImage
    """Second less first, as those that follow."""
    lightness: FloatImage
    chroma: FloatImage
    colorfulness: FloatImage
    saturation: FloatImage
    delta_e_uniform: FloatImage
    """Delta E' of the uniform space of `uniform_model`."""
    ciede2000: FloatImage
    uniform_model: str
    """The published model of the comparison; "ciecam16" under the comparison's own."""


def pixel_differences(
    first: _Photograph,
    second: _Photograph,
    *,
    align: bool = False,
    model: Union[ComparisonModel, str] = "likeness",
    first_mask: _Mask = None,
    second_mask: _Mask = None,
    mask: _Mask = None,
    alpha: Optional[str] = None,
    regions: Optional[Regions] = None,
    center_weighted: bool = False,
    profile: str = "embedded",
    progress: Progress = None,
) -> PixelDifferences:
    """The differences of two photographs of one size, pixel by pixel.

    Parameters
    ----------
    first, second : array (H, W, 3) or path
    align : bool
        Whether a pixel is compared with the one that the optical flow finds for it in the second photograph.
    first_mask, second_mask, mask, alpha, regions, center_weighted
        As of `compare`.
    model, profile, progress
        As of `analyze`.

    Raises
    ------
    ValueError
        For photographs of different sizes; as `analyze`.

    Examples
    --------
    >>> gray = np.full((4, 4, 3), 128, np.uint8)
    >>> float(pixel_differences(gray, gray).ciede2000.max())
    0.0
    """
    (one, one_weights), (other, other_weights) = _parts(
        (first, second), (first_mask, second_mask, mask), part_asked(alpha, regions, center_weighted), profile
    )
    maps, uniform = _core.pixel_differences(
        one, other, model_of(model)._tuple(), align, one_weights, other_weights, progress
    )
    return PixelDifferences(*[*maps, uniform])


class MapPlace(NamedTuple):
    """Part of a map, in pixels."""

    x: int
    y: int
    width: int
    height: int
    mean: float
    """Of the magnitudes of the values in it; NaN left out."""


def worst_places(map: ImageLike, count: int = 3) -> list[MapPlace]:
    """The parts of a map whose values are greatest in the mean of their magnitudes.

    Parameters
    ----------
    map : array (H, W)
        Such as one of `pixel_differences`.
    count : int
        How many at most.

    Returns
    -------
    list of MapPlace
        The greatest first: of 16 x 16 equal parts, fewer where they would have sides below 8 pixels. Parts without a
        value, or with the mean 0, are left out.

    Raises
    ------
    ValueError
        For what is no array (H, W) of numbers.

    Examples
    --------
    >>> map = np.zeros((32, 32), np.float32)
    >>> map[8:16, 16:24] = -2
    >>> worst_places(map)
    [MapPlace(x=16, y=8, width=8, height=8, mean=2.0)]
    """
    return [MapPlace(*place) for place in _core.worst_places(native(map), whole_number("count", count, 0, 256))]


class BinCost(NamedTuple):
    """A bin that two distributions fill differently: shares of the pixels, and (sqrt p - sqrt q)^2 / 2."""

    bin: int
    first_share: float
    second_share: float
    cost: float


class DistributionChange(NamedTuple):
    """What moved between the distributions of one correlate, in its units; shares are 0..1."""

    first_median: float
    second_median: float
    median_shift: float
    first_spread: float
    """From the lower to the upper quartile."""
    second_spread: float
    spread_change: float
    mean_shift: float
    first_range: tuple[int, int]
    second_range: tuple[int, int]
    share_below_first: float
    """Of the second's pixels, below everything in the first."""
    share_above_first: float
    first_share_below_second: float
    """Of the first's pixels, below everything in the second."""
    first_share_above_second: float
    lost_bin: Optional[BinCost]
    """The costliest bin that the second has fewer pixels in."""
    gained_bin: Optional[BinCost]
    sentence: str
    """These numbers in words."""


class ExplainedWhite(NamedTuple):
    """The grey-world white of a photograph; NaN where there is none."""

    x: float
    y: float
    kelvin: float
    duv: float


class Explanation(NamedTuple):
    """What `explain` found."""

    brightness: DistributionChange
    lightness: DistributionChange
    chroma: DistributionChange
    colorfulness: DistributionChange
    saturation: DistributionChange
    first_white: ExplainedWhite
    second_white: ExplainedWhite
    white_sentence: str


def explain(
    first: _Photograph,
    second: _Photograph,
    *,
    model: Union[ComparisonModel, str] = "likeness",
    first_mask: _Mask = None,
    second_mask: _Mask = None,
    mask: _Mask = None,
    alpha: Optional[str] = None,
    regions: Optional[Regions] = None,
    center_weighted: bool = False,
    profile: str = "embedded",
    progress: Progress = None,
) -> Explanation:
    """What moved between the distributions of two photographs, in numbers and in sentences made of them.

    Parameters
    ----------
    first, second : array (H, W, 3) or path
    first_mask, second_mask, mask, alpha, regions, center_weighted
        As of `compare`: distributions and whites are of the parts that count.
    model, profile, progress
        As of `analyze`.

    Returns
    -------
    Explanation

    Raises
    ------
    ValueError
        As `analyze`.

    Examples
    --------
    >>> gray = np.full((4, 4, 3), 128, np.uint8)
    >>> explain(gray, gray).lightness.sentence
    'lightness J: the two distributions are equal (median 100).'
    """
    (one, one_weights), (other, other_weights) = _parts(
        (first, second), (first_mask, second_mask, mask), part_asked(alpha, regions, center_weighted), profile
    )
    analyses = [
        analyze(one, model=model, mask=one_weights, progress=share_of_progress(progress, 0, 2)),
        analyze(other, model=model, mask=other_weights, progress=share_of_progress(progress, 1, 2)),
    ]
    changes, first_white, second_white, sentence = _core.explain(
        one, other, *(analysis._distributions for analysis in analyses), one_weights, other_weights
    )

    def change_of(values: Any) -> DistributionChange:
        lost, gained = (None if cost is None else BinCost(*cost) for cost in values[13:15])
        return DistributionChange(*[*values[:13], lost, gained, values[15]])

    brightness, lightness, chroma, colorfulness, saturation = (change_of(values) for values in changes)
    return Explanation(
        brightness,
        lightness,
        chroma,
        colorfulness,
        saturation,
        ExplainedWhite(*first_white),
        ExplainedWhite(*second_white),
        sentence,
    )

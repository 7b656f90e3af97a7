"""Distances between the distributions of two photographs, beside the coefficients.

A coefficient says how much two distributions overlap; a distance says how far one is from the other, also where they do
not overlap at all.
"""

from __future__ import annotations

from typing import NamedTuple, Optional, Union

from . import _core
from ._arrays import ImageLike, Progress, Regions, integer, masks_of_both, part_asked, seed_number
from .comparison import Analysis, Comparable, analyze, check_same_model, model_of_pair
from .files import PathLike, pixels_and_weights
from .models import ComparisonModel


class BinDistances(NamedTuple):
    """How far two distributions by unit bins are from each other: NaN where either is empty, 0 between equal ones."""

    wasserstein: float
    """First Wasserstein distance in units of the correlate: how far one has to be moved, on average (Vaserstein, 1969)."""
    mean_shift: float
    """Mean of the second less that of the first, in units of the correlate."""
    kolmogorov_smirnov: float
    """Greatest difference of the cumulative distributions, 0 to 1."""
    jensen_shannon_bits: float
    """Jensen-Shannon divergence in bits, 0 to 1 (Lin, 1991)."""


class UniformDistances(NamedTuple):
    """Distances in units of a uniform colour space, CAM02-UCS or CAM16-UCS; NaN where a photograph has no pixels that
    count."""

    lightness: float
    """Wasserstein distance of J'."""
    colorfulness: float
    """Wasserstein distance of M'."""
    hue: float
    """Circular Wasserstein distance of the hue weighted by M', in radians, times the smaller mean M'."""
    total: float
    """Root of the sum of the squares of these three."""


class Distances(NamedTuple):
    """What `compare_distances` found."""

    brightness: BinDistances
    lightness: BinDistances
    chroma: BinDistances
    colorfulness: BinDistances
    saturation: BinDistances
    uniform: Optional[UniformDistances]
    """Under a published model; None under the comparison's own, of analyses, and of empty photographs."""
    sliced_wasserstein: Optional[float]
    """Where it was asked for: the mean of the Wasserstein distances of the colours J', a', b' along directions (Bonneel
    et al., 2015)."""


def distances_of(
    first: object, second: object
) -> tuple[BinDistances, BinDistances, BinDistances, BinDistances, BinDistances]:
    """Those of the five correlates."""
    brightness, lightness, chroma, colorfulness, saturation = (BinDistances(*four) for four in _core.distances(first, second))
    return brightness, lightness, chroma, colorfulness, saturation


def compare_distances(
    first: Comparable,
    second: Comparable,
    *,
    sliced: bool = False,
    seed: int = 1,
    directions: int = 64,
    model: Union[ComparisonModel, str] = "likeness",
    first_mask: Optional[Union[ImageLike, PathLike]] = None,
    second_mask: Optional[Union[ImageLike, PathLike]] = None,
    mask: Optional[Union[ImageLike, PathLike]] = None,
    alpha: Optional[str] = None,
    regions: Optional[Regions] = None,
    center_weighted: bool = False,
    profile: str = "embedded",
    progress: Progress = None,
) -> Distances:
    """How far the appearance of two photographs is apart: what `darkroom compare --distances` prints.

    Parameters
    ----------
    first, second : array (H, W, 3), path or Analysis
        They may differ in size and depth.
    sliced : bool
        Whether the sliced Wasserstein distance is wanted too; under a published model, not of analyses.
    seed, directions : int
        Of `sliced`: which directions, and how many, 1 to 100000. The program takes 64.
    first_mask, second_mask, mask, alpha, regions, center_weighted
        As of `compare`; not of analyses. Under a published model pixels count or do not: a mask that weighs is refused.
    model, profile, progress
        As of `analyze`. Of analyses the model is their own.

    Raises
    ------
    ValueError
        As `compare`.

    Examples
    --------
    >>> dark, light = (np.full((4, 4, 3), level, np.uint8) for level in (100, 200))
    >>> distances = compare_distances(dark, light, model="ciecam16")
    >>> distances.lightness.mean_shift == distances.lightness.wasserstein > 20
    True
    >>> round(distances.uniform.total) == round(distances.uniform.lightness)
    True
    """
    choice = part_asked(alpha, regions, center_weighted)
    first_mask, second_mask = masks_of_both(first_mask, second_mask, mask)
    seed, directions = seed_number(seed), integer("directions", directions)
    chosen = model_of_pair(first, second, model, first_mask, second_mask, choice)
    given = [photograph for photograph in (first, second) if isinstance(photograph, Analysis)]
    if given and sliced:
        raise ValueError("sliced: it needs the pixels of both photographs, not an analysis")
    published = chosen.kind != "likeness"
    if sliced and not published:
        raise ValueError("sliced: there is a uniform space under a published model only, ciecam02 or ciecam16")
    analyses, counted = [], []
    for photograph, its_mask in ((first, first_mask), (second, second_mask)):
        if isinstance(photograph, Analysis):
            analyses.append(photograph)
            continue
        pixels, weights = pixels_and_weights(photograph, its_mask, choice, profile)
        counted.append(weights)
        analyses.append(analyze(pixels, model=chosen, maps=published and not given, mask=weights, progress=progress))
    one, other = analyses
    check_same_model(one, other)
    uniform, distance = None, None
    if published and not given and one.maps is not None and other.maps is not None:
        numbers, distance = _core.uniform_distances(
            tuple(one.maps), tuple(other.maps), *counted, (seed, directions) if sliced else None
        )
        uniform = UniformDistances(*numbers)
    five = distances_of(one._distributions, other._distributions)
    return Distances(*five, uniform, distance)

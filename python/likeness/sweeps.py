"""Photographs compared under a range of viewing conditions."""

from __future__ import annotations

import dataclasses
import itertools
from collections.abc import Sequence
from typing import NamedTuple, Optional, Union

from . import _core
from ._arrays import Progress, Triple, part_asked, real_number, triple
from .comparison import Coefficients, analyze, compare, hue_coefficient
from .files import PhotographLike, pixels_and_weights
from .models import ComparisonModel, Surround, ViewingConditions

_most_points = 10000


class SweepPoint(NamedTuple):
    """How alike two photographs look under one of the conditions of `sweep`."""

    white: Union[str, Triple]
    """As it was given."""
    surround: Union[str, Surround]
    """Likewise."""
    white_luminance: float
    """In cd/m2."""
    model: ComparisonModel
    """With the conditions that follow."""
    coefficients: Coefficients
    hue: Optional[float]
    """Coefficient of the hue, where it was asked for."""


def _white(white: Union[str, Triple]) -> Triple:
    if not isinstance(white, str):
        return triple(white, "whites")
    if white == "srgb":
        return ViewingConditions.preset("srgb-display").white
    if white not in _core.illuminants:
        raise ValueError(f"whites: '{white}' is none of srgb, {', '.join(_core.illuminants)}")
    return triple(_core.illuminants[white], "whites")


def sweep(
    first: PhotographLike,
    second: PhotographLike,
    *,
    model: str = "ciecam16",
    conditions: Union[ViewingConditions, str] = "srgb-display",
    whites: Sequence[Union[str, Triple]] = ("srgb", "D50", "A"),
    surrounds: Sequence[Union[str, Surround]] = ("average", "dim", "dark"),
    white_luminances: Sequence[float] = (1, 2, 5, 10, 20, 50, 100, 200, 500, 1000, 2000, 5000, 10000),
    picture_white: str = "encoding",
    hue: Optional[str] = None,
    profile: str = "embedded",
    progress: Progress = None,
) -> list[SweepPoint]:
    """Compares two photographs under every combination of whites, surrounds and luminances: the numbers of
    `darkroom sweep`.

    Parameters
    ----------
    first, second : array (H, W, 3) or path
        They may differ in size and depth.
    model : str
        "ciecam16" or "ciecam02".
    conditions : ViewingConditions or str
        Or the name of a preset: background and discounting are theirs.
    whites : sequence of str or X, Y, Z
        Adopted whites: "srgb", the name of an illuminant, or X, Y, Z on the scale where Y = 100.
    surrounds : sequence of str or Surround
        "average", "dim", "dark", or others.
    white_luminances : sequence of float
        In cd/m2, above 0. The adapting luminance is L Y_b / Y_w.
    picture_white, hue, profile
        As of `ComparisonModel` and `analyze`.
    progress : callable, optional
        Called with the conditions done and of all; False ends the call with `Cancelled`.

    Returns
    -------
    list of SweepPoint
        The luminance changes fastest, then the surround.

    Raises
    ------
    ValueError
        As `analyze`; for conditions out of range, or more than 10000 of them.

    Examples
    --------
    >>> gray = np.full((4, 4, 3), 128, np.uint8)
    >>> [point.coefficients.lightness for point in sweep(gray, gray, whites=["D65"], white_luminances=[100], surrounds=["dim"])]
    [1.0]
    """
    base = ViewingConditions.preset(conditions) if isinstance(conditions, str) else conditions
    if not base.background:
        raise ValueError("conditions: a background above 0 is wanted, from which the adapting luminance follows")
    if model not in ("ciecam16", "ciecam02"):
        raise ValueError(f"model: '{model}' is none of ciecam16, ciecam02")
    for name, values in (("whites", whites), ("surrounds", surrounds)):
        if isinstance(values, str):
            raise ValueError(f"{name}: a sequence is wanted, not one text")
    luminances = [real_number("white_luminances", luminance) for luminance in white_luminances]
    if not all(luminance > 0 for luminance in luminances):
        raise ValueError("white_luminances: luminances in cd/m2 above 0 are wanted")
    points = list(itertools.islice(itertools.product(whites, surrounds, luminances), _most_points + 1))
    if len(points) > _most_points:
        raise ValueError(f"these are more than {_most_points} conditions")

    def seen(white: Union[str, Triple], surround: Union[str, Surround], luminance: float) -> ComparisonModel:
        xyz = _white(white)
        adapting = _core.adapting_luminance_under(luminance, base.background, xyz[1])
        under = dataclasses.replace(base, white=xyz, surround=surround, adapting_luminance=adapting)
        return ComparisonModel(model, under, picture_white)

    models = [seen(*point) for point in points]
    whole = part_asked(None, None, False)
    photographs = [pixels_and_weights(photograph, None, whole, profile) for photograph in (first, second)]
    results = []
    for done, (point, under) in enumerate(zip(points, models), 1):
        one, other = (analyze(pixels, model=under, hue=hue, mask=weights) for pixels, weights in photographs)
        results.append(SweepPoint(*point, under, compare(one, other), hue_coefficient(one, other)))
        if progress is not None and progress(done, len(points)) is False:
            raise _core.Cancelled("the operation was cancelled by its caller")
    return results

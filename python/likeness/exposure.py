"""Exposure: brighter and darker photographs, brackets, exposure stacks, lightness like another's.

A photograph is an array (H, W, 3) in the order R, G, B, gamma-encoded, or a path, read as `read`
reads it; results are float32 on 0..1, not clipped.
"""

from __future__ import annotations

import dataclasses
from typing import NamedTuple, Optional, Sequence, Union

import numpy as np
import numpy.typing as npt

from . import _core
from ._arrays import FloatImage, ImageLike, Progress, Regions, integer, native, part_asked, real_number
from .files import PathLike, PhotographLike, pixels_and_weights, pixels_of, pixels_of_each


def brighten(
    photograph: PhotographLike, factor: float = 5, *, pass_number: int = 1, progress: Progress = None
) -> FloatImage:
    """A photograph of another brightness, and the same chroma and hue.

    Parameters
    ----------
    photograph : array (H, W, 3) or path
    factor : float
        Of the first pass, above 0 and up to 100: below 10 brightens, above 10 darkens. Each next pass has 0.7 less.
    pass_number : int
        The pass that is wanted, 1 to 6.
    """
    return _core.brighten(pixels_of(photograph), real_number("factor", factor), integer("pass_number", pass_number), progress)


def brighten_in_passes(photograph: PhotographLike, factor: float = 5, *, progress: Progress = None) -> list[FloatImage]:
    """The pictures of all six passes of `brighten`, from one analysis."""
    return _core.brighten_in_passes(pixels_of(photograph), real_number("factor", factor), progress)


class LightnessStatistics(NamedTuple):
    """Mean and standard deviation of a photograph's CIE L*."""

    mean: float
    deviation: float


class ClippedValues(NamedTuple):
    """How much of an image lies outside 0..1."""

    pixels: int
    below: int
    above: int


class LightnessMatch(NamedTuple):
    """A photograph with the lightness of another."""

    image: FloatImage
    own: LightnessStatistics
    """Of the photograph as it was."""
    wanted: LightnessStatistics
    """Of the reference."""
    reached: LightnessStatistics
    """Of `image`: not `wanted` where colours lie outside sRGB."""
    clipped: ClippedValues
    """What `image` cannot hold."""


def lightness_statistics(
    photograph: PhotographLike,
    *,
    mask: Optional[Union[ImageLike, PathLike]] = None,
    alpha: Optional[str] = None,
    regions: Optional[Regions] = None,
    center_weighted: bool = False,
) -> LightnessStatistics:
    """Mean and standard deviation of a photograph's CIE L*; of what counts: `mask`, `alpha`, `regions` and
    `center_weighted` as of `analyze`."""
    choice = part_asked(alpha, regions, center_weighted)
    return LightnessStatistics(*_core.lightness_statistics(*pixels_and_weights(photograph, mask, choice)))


def match_lightness(
    photograph: PhotographLike,
    reference: PhotographLike,
    *,
    mask: Optional[Union[ImageLike, PathLike]] = None,
    reference_mask: Optional[Union[ImageLike, PathLike]] = None,
    alpha: Optional[str] = None,
    regions: Optional[Regions] = None,
    center_weighted: bool = False,
    progress: Progress = None,
) -> LightnessMatch:
    """Gives a photograph the mean and the standard deviation of the reference's CIE L*.

    Parameters
    ----------
    photograph, reference : arrays (H, W, 3) or paths
        Of any two sizes.
    mask, reference_mask : arrays (H, W), optional
        How much each pixel counts in the statistics, as of `analyze`; all of the photograph is remapped.
    alpha, regions, center_weighted
        As of `analyze`, of both photographs.
    """
    choice = part_asked(alpha, regions, center_weighted)
    pixels, weights = pixels_and_weights(photograph, mask, choice)
    wanted_pixels, wanted_weights = pixels_and_weights(reference, reference_mask, choice)
    image, own, wanted, reached, clipped = _core.match_lightness(
        pixels, wanted_pixels, weights, wanted_weights, progress
    )
    return LightnessMatch(
        image,
        LightnessStatistics(*own),
        LightnessStatistics(*wanted),
        LightnessStatistics(*reached),
        ClippedValues(*clipped),
    )


@dataclasses.dataclass(frozen=True)
class FusionWeights:
    """Exponents of what a pixel's weight is made of, each 0 to 100."""

    contrast: float = 1
    saturation: float = 1
    exposedness: float = 0


@dataclasses.dataclass(frozen=True)
class ToneMapping:
    """Parameters of `tone_map` (Durand, Dorsey, 2002)."""

    gamma: float = 2.2
    contrast: float = 4
    saturation: float = 1
    space_sigma: float = 2
    color_sigma: float = 2


def _numbers_of(options: Union[FusionWeights, ToneMapping]) -> tuple[float, ...]:
    return tuple(real_number(name, value) for name, value in dataclasses.asdict(options).items())


def _times(times: Sequence[float]) -> list[float]:
    return [real_number("times", time) for time in times]


def fuse_exposures(
    exposures: Sequence[PhotographLike], weights: FusionWeights = FusionWeights(), *, progress: Progress = None
) -> FloatImage:
    """Fuses exposures into one picture (Mertens, Kautz, Van Reeth, 2007).

    Parameters
    ----------
    exposures : sequence of arrays (H, W, 3) or paths
    weights : FusionWeights
    """
    given = pixels_of_each(exposures, "exposures")
    if not given:
        raise ValueError("exposures: at least one is wanted")
    return _core.fuse_exposures(given, _numbers_of(weights), progress)


def recover_camera_response(
    exposures: Sequence[PhotographLike], times: Sequence[float], *, progress: Progress = None
) -> FloatImage:
    """The response of the camera: the exposure that each byte value stands for, (256, 3), up to a factor.

    Parameters
    ----------
    exposures : sequence of arrays (H, W, 3) or paths
    times : sequence of float
        Exposure times in seconds, all different.
    """
    return _core.recover_camera_response(pixels_of_each(exposures, "exposures"), _times(times), progress)


def merge_radiance(
    exposures: Sequence[PhotographLike], times: Sequence[float], response: npt.ArrayLike, *, progress: Progress = None
) -> FloatImage:
    """Merges exposures into a linear radiance map (Debevec, Malik, 1997).

    Parameters
    ----------
    exposures, times
        As of `recover_camera_response`.
    response : array (256, 3)
        As `recover_camera_response` gives it.
    """
    return _core.merge_radiance(pixels_of_each(exposures, "exposures"), _times(times), np.asarray(response, np.float32), progress)


def tone_map(radiance: ImageLike, options: ToneMapping = ToneMapping(), *, progress: Progress = None) -> FloatImage:
    """Brings a linear radiance map, an array (H, W, 3) of float32, to the range of a display."""
    return _core.tone_map(native(radiance), _numbers_of(options), progress)


class Bracket(NamedTuple):
    """What a bracket of exposures gives."""

    response: FloatImage
    radiance: FloatImage
    tone_mapped: FloatImage
    fused: FloatImage


def merge_bracket(
    exposures: Sequence[PhotographLike],
    times: Sequence[float],
    *,
    tone_mapping: ToneMapping = ToneMapping(),
    fusion: FusionWeights = FusionWeights(),
    progress: Progress = None,
) -> Bracket:
    """Response, radiance map, its tone-mapped picture and the fused picture of a bracket."""
    return Bracket(
        *_core.merge_bracket(
            pixels_of_each(exposures, "exposures"),
            _times(times),
            _numbers_of(tone_mapping),
            _numbers_of(fusion),
            progress,
        )
    )


class ExposureStack(NamedTuple):
    """What `exposure_stack` makes; what a version does not make is empty."""

    exposures: list[FloatImage]
    tinted: list[FloatImage]
    response: FloatImage
    radiance: FloatImage
    tone_mapped: FloatImage
    fused: FloatImage


def exposure_stack(
    flash: PhotographLike,
    no_flash: PhotographLike,
    *,
    version: str = "full",
    brightness: float = 11.5,
    iterations: int = 1,
    progress: Progress = None,
) -> ExposureStack:
    """Makes an exposure stack of a flash and a no-flash photograph of the same size.

    Parameters
    ----------
    flash, no_flash : arrays (H, W, 3) or paths
    version : str
        "full", "tinted-first" or "tint-only".
    brightness : float
        Factor of the first exposure, up to 100; each next one has 0.7 less.
    iterations : int
        Rounds of tinting, 0 to 100.
    """
    return ExposureStack(
        *_core.exposure_stack(pixels_of(flash), pixels_of(no_flash), version, real_number("brightness", brightness), integer("iterations", iterations), progress)
    )

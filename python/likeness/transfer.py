"""Transfer of colours from one photograph to another by optimal transport."""

from __future__ import annotations

from typing import NamedTuple, Optional, Union

import numpy as np

from . import _core
from ._arrays import FloatImage, ImageLike, Progress, Regions, Triple, part_asked, real_number
from .exposure import ClippedValues
from .files import PathLike, PhotographLike, pixels_and_weights, pixels_of


class ColorMap(NamedTuple):
    """An affine map of colours L*, a*, b*: matrix (x - input_mean) + target_mean, in Bonneel's form
    matrix x - input_mean + target_mean."""

    matrix: FloatImage
    """(3, 3)."""
    input_mean: Triple
    target_mean: Triple


def _map(parts: tuple[FloatImage, list[float], list[float]]) -> ColorMap:
    matrix, input_mean, target_mean = parts
    return ColorMap(matrix, tuple(input_mean), tuple(target_mean))  # type: ignore[arg-type]


class Transfer(NamedTuple):
    """A photograph with other colours, and the map that gave them."""

    image: FloatImage
    """(H, W, 3), R, G, B on 0..1."""
    map: ColorMap
    clipped: ClippedValues
    """What `image` cannot hold of the map's colours."""


class ColorTransfer:
    """The way from a photograph's colours to those of a palette. Threads may share it.

    Parameters
    ----------
    photograph, palette : arrays (H, W, 3) or paths
        Of any two sizes, R, G, B; a path is read as `read` reads it.
    channels : str
        "all", or "chroma": a* and b*, lightness stays.
    form : str
        "centered": the mean of the photograph is taken off before the map; "bonneel": after it.
    mask, palette_mask : arrays (H, W), optional
        How much each pixel counts in the statistics, as of `analyze`; all of the photograph is moved.
    alpha, regions, center_weighted
        As of `analyze`, of both photographs.
    """

    def __init__(
        self,
        photograph: PhotographLike,
        palette: PhotographLike,
        *,
        channels: str = "all",
        form: str = "centered",
        mask: Optional[Union[ImageLike, PathLike]] = None,
        palette_mask: Optional[Union[ImageLike, PathLike]] = None,
        alpha: Optional[str] = None,
        regions: Optional[Regions] = None,
        center_weighted: bool = False,
        progress: Progress = None,
    ) -> None:
        choice = part_asked(alpha, regions, center_weighted)
        pixels, weights = pixels_and_weights(photograph, mask, choice)
        colors, color_weights = pixels_and_weights(palette, palette_mask, choice)
        self._transfer = _core.ColorTransfer(pixels, colors, channels, form, weights, color_weights, progress)

    def at(self, t: float = 1, *, progress: Progress = None) -> Transfer:
        """The photograph at a place of the way, 0 to 1."""
        image, parts, clipped = self._transfer.at(real_number("t", t), progress)
        return Transfer(image, _map(parts), ClippedValues(*clipped))

    def apply_to(self, photograph: PhotographLike, t: float = 1, *, progress: Progress = None) -> FloatImage:
        """Another photograph, such as the next of a film, under the same map."""
        return self._transfer.apply_to(pixels_of(photograph), real_number("t", t), progress)

    def map(self, t: float = 1) -> ColorMap:
        """The map at a place of the way."""
        return _map(self._transfer.map(real_number("t", t)))


def transfer_colors(
    photograph: PhotographLike,
    palette: PhotographLike,
    t: float = 1,
    *,
    channels: str = "all",
    form: str = "centered",
    mask: Optional[Union[ImageLike, PathLike]] = None,
    palette_mask: Optional[Union[ImageLike, PathLike]] = None,
    alpha: Optional[str] = None,
    regions: Optional[Regions] = None,
    center_weighted: bool = False,
    progress: Progress = None,
) -> Transfer:
    """Gives a photograph the colours of another one, `palette`. Parameters as of `ColorTransfer`; `t` says how far to
    go, 0 to 1."""
    choice = part_asked(alpha, regions, center_weighted)
    masked = any(isinstance(image, np.ma.MaskedArray) for image in (photograph, palette))
    if masked or mask is not None or palette_mask is not None or choice.alpha is not None or not choice.is_whole():
        return ColorTransfer(
            photograph,
            palette,
            channels=channels,
            form=form,
            mask=mask,
            palette_mask=palette_mask,
            alpha=alpha,
            regions=regions,
            center_weighted=center_weighted,
            progress=progress,
        ).at(t)
    image, parts, clipped = _core.transfer_colors(pixels_of(photograph), pixels_of(palette), real_number("t", t), channels, form, progress)
    return Transfer(image, _map(parts), ClippedValues(*clipped))

"""Whites of photographs, and photographs under another white.

A photograph is an array (H, W, 3) in the order R, G, B, gamma-encoded, or a path, read as `read`
reads it; results are float32 on 0..1, not clipped.
"""

from __future__ import annotations

from typing import NamedTuple, Optional, Union

import numpy as np
import numpy.typing as npt

from . import _core
from ._arrays import FloatImage, ImageLike, Progress, Regions, Triple, integer, native, part_asked, real_number, triple, white_triple
from .color import White
from .files import PathLike, PhotographLike, pixels_and_weights, pixels_of


class WhiteEstimate(NamedTuple):
    """A white that was found in a photograph."""

    white: White
    """X, Y, Z of `rgb`."""
    rgb: Triple
    """The white as a gamma-encoded colour on 0..1."""
    yuv: Triple
    """Mean Y, U, V of the pixels that it was made of, Y set to 1, not clipped."""
    found: bool
    """Whether there are such pixels; otherwise the white is a guess."""
    converged: bool
    """Whether an iteration that began with a previous estimate is at its end."""


def gray_world_white(
    photograph: PhotographLike,
    previous: Optional[WhiteEstimate] = None,
    *,
    mask: Optional[Union[ImageLike, PathLike]] = None,
    alpha: Optional[str] = None,
    regions: Optional[Regions] = None,
    center_weighted: bool = False,
    progress: Progress = None,
) -> WhiteEstimate:
    """Gray-world white of a photograph: the mean of its nearly neutral pixels (Buchsbaum, 1980).

    Parameters
    ----------
    photograph : array (H, W, 3) or path
    previous : WhiteEstimate, optional
        The estimate before, in an iteration that adapts the photograph in between; not with a mask.
    mask : array (H, W), optional
        How much each pixel counts, as of `analyze`; masked pixels of a masked array do not.
    alpha, regions, center_weighted
        As of `analyze`.
    """
    before = None if previous is None else tuple(previous)
    pixels, weights = pixels_and_weights(photograph, mask, part_asked(alpha, regions, center_weighted))
    xyz, rgb, yuv, found, converged = _core.gray_world_white(pixels, before, weights, progress)
    return WhiteEstimate(White(*xyz), triple(rgb, "rgb"), triple(yuv, "yuv"), found, converged)


def local_white(
    photograph: PhotographLike,
    *,
    filter: str = "guided",
    sigma: float = 0.1,
    diameter: int = 15,
    progress: Progress = None,
) -> FloatImage:
    """White of each pixel: the photograph, smoothed by a "guided" or "bilateral" filter.

    Parameters
    ----------
    photograph : array (H, W, 3) or path
    filter : str
    sigma : float
        Of "bilateral": width in values, above 0 and up to 100; white is 1.
    diameter : int
        Of "bilateral": diameter and width in pixels, 1 to 255.
    """
    return _core.local_white(
        pixels_of(photograph), filter, real_number("sigma", sigma), integer("diameter", diameter), progress
    )


WhiteLike = Union[npt.ArrayLike, WhiteEstimate, str]


def _white(white: WhiteLike) -> Union[Triple, npt.NDArray[np.generic], str]:
    if isinstance(white, str):
        return white
    if isinstance(white, WhiteEstimate):
        return triple(white.white, "white")
    array = np.asarray(white)
    return native(array) if array.ndim == 3 else white_triple(array, "white")


def adapt_to_d65(
    photograph: PhotographLike, white: Optional[WhiteLike] = None, *, progress: Progress = None
) -> FloatImage:
    """Adapts a photograph from the white that it was seen under to D65.

    Parameters
    ----------
    photograph : array (H, W, 3) or path
    white : X, Y, Z, or array (H, W, 3), or str, optional
        One white on the scale where Y = 1, or that of each pixel; "smoothed" and "own" take the white of each pixel from
        the photograph itself. The gray-world white unless given.
    """
    image = pixels_of(photograph)
    chosen = _white(gray_world_white(image) if white is None else white)
    if isinstance(chosen, str):
        return _core.adapt_to_d65_by_pixel(image, chosen, progress)
    if isinstance(chosen, np.ndarray):
        return _core.adapt_to_d65_from_whites(image, chosen, progress)
    return _core.adapt_to_d65(image, chosen, progress)


def undo_d65_adaptation(photograph: PhotographLike, white: WhiteLike, *, progress: Progress = None) -> FloatImage:
    """Takes a photograph that was adapted to D65 back to a white, of the scene or of each pixel."""
    chosen = _white(white)
    if isinstance(chosen, str):
        raise ValueError("white: X, Y, Z or an array (H, W, 3) is wanted")
    if isinstance(chosen, np.ndarray):
        return _core.undo_d65_adaptation_to_whites(pixels_of(photograph), chosen, progress)
    return _core.undo_d65_adaptation(pixels_of(photograph), chosen, progress)


def undo_adaptation(
    photograph: PhotographLike, adapted_to: npt.ArrayLike, scene: npt.ArrayLike, *, progress: Progress = None
) -> FloatImage:
    """Takes a photograph that was adapted to one white, X, Y, Z, back to that of the scene."""
    return _core.undo_adaptation(pixels_of(photograph), white_triple(adapted_to, "adapted_to"), white_triple(scene, "scene"), progress)


def adapt_to(
    photograph: PhotographLike,
    like: Union[PhotographLike, WhiteEstimate],
    *,
    degree: float = 1,
    left_out: Optional[ImageLike] = None,
    local: bool = False,
    blend: float = 1,
    progress: Progress = None,
) -> FloatImage:
    """Adapts a photograph to the gray-world white of another one.

    Parameters
    ----------
    photograph : array (H, W, 3) or path
    like : array (H, W, 3), path or WhiteEstimate
        Of any size and depth; or its white, for use with many photographs.
    degree : float
        Of adaptation in each step, 0 (none) to 1 (full). Not with `local`.
    left_out : array (H, W) of uint8, optional
        Pixels above 100 keep their colours and do not count for the white. Not with `local`.
    local : bool
        Adapt each pixel from the white around it.
    blend : float
        With `local`, the share of the other light in the white that is adapted to, 0 to 1.
    """
    degree, blend = real_number("degree", degree), real_number("blend", blend)
    mask = None if left_out is None else native(left_out)
    if isinstance(like, WhiteEstimate):
        return _core.adapt_to_light(pixels_of(photograph), tuple(like), degree, mask, local, blend, progress)
    return _core.adapt_to(pixels_of(photograph), pixels_of(like), degree, mask, local, blend, progress)


def tint(
    flash: PhotographLike,
    no_flash: PhotographLike,
    *,
    form: str = "gain",
    sigma: float = 0.1,
    diameter: int = 0,
    progress: Progress = None,
) -> FloatImage:
    """Gives a flash photograph the colours of a no-flash photograph and keeps its detail.

    Parameters
    ----------
    flash, no_flash : arrays (H, W, 3) or paths
        Of the same size.
    form : str
        "gain" alone, or "regression": gain and offset.
    sigma : float
        Of "regression": width of the bilateral filter in values, above 0 and up to 10.
    diameter : int
        Of "regression": diameter of that filter in pixels, 1 to 999; 0 for a 25th of the image's diagonal.
    """
    return _core.tint(
        pixels_of(flash), pixels_of(no_flash), form, real_number("sigma", sigma), integer("diameter", diameter), progress
    )

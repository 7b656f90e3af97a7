"""Smoothing, structure and alignment.

A photograph is an array (H, W, 3) in the order R, G, B, gamma-encoded, or a path, read as `read` reads it.
"""

from __future__ import annotations

from typing import NamedTuple, Optional

from . import _core
from ._arrays import FloatImage, Progress, integer, real_number, text
from .files import PhotographLike, pixels_of


def smooth(
    photograph: PhotographLike,
    guide: Optional[PhotographLike] = None,
    *,
    radius: int = 4,
    epsilon: float = 0.01,
    variant: str = "gray",
    progress: Progress = None,
) -> FloatImage:
    """Smooths a photograph with the guided filter (He, Sun, Tang, 2013).

    Parameters
    ----------
    photograph : array (H, W, 3) or path
    guide : array (H, W, 3) or path, optional
        Whose edges are kept; the photograph itself unless given.
    radius : int
        How far the windows reach, in pixels, 0 to 1000.
    epsilon : float
        Variance of the guide in a window on the scale 0..1: well above it edges are kept.
    variant : str
        "gray", "color" or "transport".

    Returns
    -------
    array (H, W, 3) of float32, not clipped
    """
    return _core.smooth(
        pixels_of(photograph), None if guide is None else pixels_of(guide), integer("radius", radius), real_number("epsilon", epsilon), text("variant", variant), progress
    )


class Structure(NamedTuple):
    """How strongly the structure around each pixel is oriented: float32 arrays (H, W)."""

    strength: FloatImage
    """From 0.5, no orientation, towards 1."""
    coherence: Optional[FloatImage]
    """0 to 1; NaN on flat ground; None where it was not wanted."""


def oriented_structure(
    photograph: PhotographLike, *, size: int = 3, coherence: bool = True, progress: Progress = None
) -> Structure:
    """Orientation of a photograph's structure by its structure tensor (Di Zenzo, 1986).

    Parameters
    ----------
    photograph : array (H, W, 3) or path
    size : int
        Side of the two Gaussian kernels in pixels: an odd number from 1 to 99.
    coherence : bool
        Whether it is wanted.
    """
    return Structure(*_core.oriented_structure(pixels_of(photograph), integer("size", size), bool(coherence), progress))


class Alignment(NamedTuple):
    """A photograph laid onto another."""

    image: FloatImage
    """(H, W, 3): for each pixel of the reference the nearest of the moving photograph; else 0."""
    flow: FloatImage
    """(H, W, 2): where it was found, (dx, dy) in pixels, x to the right and y down."""


def align_to(
    moving: PhotographLike,
    reference: PhotographLike,
    *,
    levels: int = 9,
    window: int = 15,
    iterations: int = 3,
    neighborhood_sigma: float = 0.2,
    progress: Progress = None,
) -> Alignment:
    """Lays one photograph onto another of the same scene and size along their optical flow (Farnebäck, 2003).

    Parameters
    ----------
    moving, reference : arrays (H, W, 3) or paths
    levels : int
        Of the pyramid, each half the size of the one below; 1 to 30.
    window : int
        Side of the window that the flow is averaged over, in pixels; 1 to 999.
    iterations : int
        Of each level; 1 to 100.
    neighborhood_sigma : float
        Of a neighbourhood of 5 pixels, in pixels; above 0 and up to 100.
    """
    return Alignment(
        *_core.align_to(
            pixels_of(moving),
            pixels_of(reference),
            integer("levels", levels),
            integer("window", window),
            integer("iterations", iterations),
            real_number("neighborhood_sigma", neighborhood_sigma),
            progress,
        )
    )

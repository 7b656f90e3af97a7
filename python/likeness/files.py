"""Photographs in files, read and written as the program `darkroom` does."""

from __future__ import annotations

import os
import warnings
from collections.abc import Iterable
from typing import TYPE_CHECKING, Any, NamedTuple, Optional, Union

import numpy as np

from . import _core
from ._arrays import (
    Image,
    ImageLike,
    Part,
    PhotographWarning,
    Progress,
    native,
    part,
    path_text,
    real_number,
    text,
    warn_of_range,
    whole_number,
)

if TYPE_CHECKING:
    from .models import ComparisonModel

PathLike = Union[str, "os.PathLike[str]"]

PhotographLike = Union[ImageLike, PathLike]
"""A photograph, or the path of one."""


def is_path(value: object) -> bool:
    """Whether a value names a file."""
    return isinstance(value, (str, os.PathLike))


class Photograph(NamedTuple):
    """A photograph as it stands in a file."""

    image: Image
    """(H, W, 3), R, G, B in the encoding of sRGB: uint8, uint16 or float32."""
    bits: int
    """Of a channel in the file."""
    profile: str
    """Description of the colour profile that was used; empty where there is none."""
    profile_origin: str
    """"embedded", "assumed", "ignored" or "none"."""
    is_linear: bool
    """Whether the file's numbers are linear by definition, or light of high dynamic range (PQ, HLG)."""
    remarks: tuple[str, ...]
    """What was said of the file."""


def read_photograph(
    path: PathLike,
    *,
    profile: str = "embedded",
    max_pixels: Optional[int] = None,
    exposure: float = 0.0,
    page: int = 1,
    layer: str = "",
    preview: bool = False,
) -> Photograph:
    """Reads a photograph, with what its file says of it.

    Parameters
    ----------
    path : str or PathLike
    profile : str
        "embedded": the file's own colour profile is honoured; "ignore": its numbers are taken for sRGB; or the name
        ("srgb", "display-p3", "adobe-rgb", "prophoto") or file of a profile for a photograph without one.
    max_pixels : int, optional
        Images of more are refused by their header; 2^29 unless given.
    exposure : float
        Of linear values, -30 to 30 EV: they are multiplied by 2 to the power of it before they are encoded.
    page : int
        Of a TIFF, or picture of a HEIC or AVIF, from 1 on.
    layer : str
        Layer or part of an OpenEXR file; the first with colours unless given. Other files are refused with one.
    preview : bool
        The embedded preview of a camera's raw file in place of the photograph. Other files are refused with it.

    Raises
    ------
    ValueError
        If the file cannot be read; a sentence why.
    OSError, MemoryError
        If the machine lacks what it takes.
    """
    name = path_text(path)
    most = _core.most_pixels if max_pixels is None else whole_number("max_pixels", max_pixels, 1, 2**31 - 1)
    stops = real_number("exposure", exposure)
    if not -30 <= stops <= 30:
        raise ValueError(f"exposure: {stops} is not a number from -30 to 30")
    picture = (stops, whole_number("page", page, 1, 65535), text("layer", layer), bool(preview))
    image, problem, bits, _, linear, origin, description, remarks, _ = _core.read(
        name, text("profile", profile), True, most, None, picture
    )
    if image is None:
        raise ValueError(f"cannot read '{name}'{problem}")
    return Photograph(image, bits, description, origin, linear, tuple(remarks))


def read(
    path: PathLike,
    *,
    profile: str = "embedded",
    max_pixels: Optional[int] = None,
    exposure: float = 0.0,
    page: int = 1,
    layer: str = "",
    preview: bool = False,
) -> Image:
    """Reads a photograph: an array (H, W, 3) of uint8, uint16 or float32, R, G, B in the encoding of sRGB.

    What the user should know of the file is a `PhotographWarning`. Parameters and errors as of `read_photograph`.
    """
    photograph = read_photograph(
        path, profile=profile, max_pixels=max_pixels, exposure=exposure, page=page, layer=layer, preview=preview
    )
    for remark in photograph.remarks:
        warnings.warn(f"'{path_text(path)}': {remark}", PhotographWarning, stacklevel=2)
    return photograph.image


def write(
    path: PathLike,
    image: ImageLike,
    *,
    quality: Optional[int] = None,
    bits: int = 8,
    profile: str = "srgb",
    depth: Union[None, int, str] = None,
    subsampling: Optional[str] = None,
    source: Optional[PathLike] = None,
) -> None:
    """Writes a picture, R, G, B in the encoding of sRGB, in the format of the path's extension.

    Parameters
    ----------
    path : str or PathLike
        .png, .jpg, .webp, .avif and .jxl, clipped to 0..1, which is warned of, and rounded; .tif, floats as they are;
        .hdr and .exr, linear.
    image : array (H, W, 3)
    quality : int, optional
        Of JPEG and WebP, 0 to 100, 95 unless given; of AVIF and JPEG XL, 90, and 100 of JPEG XL is without loss.
    bits : int
        Of PNG, 8 or 16; other formats have `depth`.
    depth : int or str, optional
        8 or 16 of PNG, TIFF and JPEG XL; 8, 10 or 12 of AVIF; "float" of TIFF; "half" or "float" of OpenEXR.
    subsampling : str, optional
        Of JPEG: "444", "422" or "420".
    source : str or PathLike, optional
        Photograph whose Exif, XMP and IPTC data are carried over.
    profile : str
        Name or file of the profile that the picture is converted to and tagged with.

    Raises
    ------
    ValueError
        If it cannot be written so.
    """
    if quality is not None:
        quality = whole_number("quality", quality, 0, 100)
    if bits not in (8, 16):
        raise ValueError(f"bits: 8 or 16 are wanted, not {bits}")
    name, picture = path_text(path), native(image)
    extension = os.path.splitext(os.fsdecode(name))[1].lower()
    if bits == 16 and depth is None and extension != ".png":
        raise ValueError(f"bits: only a PNG has them, and '{name}' is none; depth is for other formats")
    if quality is not None and extension in (".png", ".tif", ".tiff", ".hdr", ".exr"):
        raise ValueError(f"quality: '{name}' is written without loss")
    if subsampling not in (None, "444", "422", "420"):
        raise ValueError(f"subsampling: '{subsampling}' is none of 444, 422, 420")
    holds_floats = (".exr",) if depth in (8, 16, "8", "16") else (".tif", ".tiff", ".exr")
    if picture.dtype.kind == "f" and extension not in holds_floats and not np.isfinite(picture).all():
        raise ValueError("image: it has values that are no numbers, which only .exr and floats of .tif hold")
    if picture.dtype.kind == "f" and extension not in (*holds_floats, ".hdr"):
        outside = int(np.count_nonzero((picture < 0) | (picture > 1)))
        if outside:
            warnings.warn(
                f"'{name}': {outside} of {picture.size} values lie outside of 0..1 and are clipped",
                PhotographWarning,
                stacklevel=2,
            )
    for warning in _core.write(
        name,
        picture,
        quality,
        bits,
        "" if profile == "srgb" else profile,
        "" if depth is None else str(depth),
        subsampling or "",
        "" if source is None else path_text(source),
    ):
        warnings.warn(warning, PhotographWarning, stacklevel=2)


def read_part(path: PathLike, mask: Any, choice: Part, profile: str) -> tuple[Image, Optional[Image]]:
    """The pixels of a file, and how much each of them counts; None where all do."""
    if mask is None and choice.is_whole():
        return part(read(path, profile=profile), None)
    text("profile", profile)
    name = path_text(path)
    from_file = is_path(mask)
    image, problem, _, _, _, _, _, remarks, weights = _core.read(
        name, profile, True, _core.most_pixels, choice.of_file(path_text(mask) if from_file else ""), None
    )
    if image is None:
        raise ValueError(f"cannot read '{name}'{problem}")
    for remark in remarks:
        warnings.warn(f"'{name}': {remark}", PhotographWarning, stacklevel=3)
    if mask is None or from_file:
        return image, weights
    own, its = part(image, mask)
    if weights is None or its is None:
        return own, its if weights is None else weights
    return own, _core.weights_of_parts(*own.shape[:2], [its, weights], [], False)


def pixels_of(photograph: PhotographLike) -> Image:
    """The pixels of an array, or of a file as `read` reads it."""
    if isinstance(photograph, (str, os.PathLike)):
        return read(photograph)
    pixels = native(photograph)
    warn_of_range(pixels)
    return pixels


def pixels_of_each(photographs: Iterable[PhotographLike], name: str) -> list[Image]:
    """Those of several photographs."""
    if isinstance(photographs, (str, bytes, os.PathLike)):
        raise ValueError(f"{name}: a sequence of photographs is wanted, not one path")
    return [pixels_of(photograph) for photograph in photographs]


def pixels_and_weights(
    photograph: PhotographLike, mask: Any, choice: Part, profile: str = "embedded"
) -> tuple[Image, Optional[Image]]:
    """Pixels of an array or a file, and how much each of them counts."""
    if isinstance(photograph, (str, os.PathLike)):
        return read_part(photograph, mask, choice, profile)
    return part(photograph, mask, choice)


def analyze_file(
    path: Any, model: ComparisonModel, hue: Optional[str], profile: str, progress: Progress = None
) -> tuple[Any, int, int, tuple[str, ...], str]:
    """Distributions, height, width and remarks of a file; and that of the remarks which only tells of its profile."""
    name = path_text(path)
    distributions, height, width, problem, remarks, of_profile = _core.analyze_file(
        name, model._tuple(), hue, text("profile", profile), _core.most_pixels, None, progress
    )
    if problem:
        raise ValueError(f"cannot read '{name}'{problem}")
    return distributions, height, width, tuple(remarks), of_profile

"""What every function does with the arrays that it is given."""

from __future__ import annotations

import operator
import os
import warnings
from collections.abc import Sequence
from typing import Any, Callable, NamedTuple, Optional, Union

import numpy as np
import numpy.typing as npt

from . import _core

Image = npt.NDArray[Any]
"""An array (H, W, 3), or of what the function says."""

FloatImage = npt.NDArray[np.float32]

ImageLike = npt.ArrayLike
"""What `numpy.asarray` makes an array of."""

Progress = Optional[Callable[[int, int], Any]]
"""Called with the number of steps done and of all steps; where it returns False the call ends with `Cancelled`."""

Triple = tuple[float, float, float]


def native(image: ImageLike) -> Image:
    """The array itself, or one of the same values in this machine's byte order."""
    if isinstance(image, np.ma.MaskedArray):
        return image  # refused with the name of the argument
    array = np.asarray(image)
    if not array.dtype.isnative:
        array = array.astype(array.dtype.newbyteorder("="))
    return array


def path_text(path: Union[str, os.PathLike[str]]) -> str:
    """The path as a text. The system would take one with a NUL for what stands ahead of it."""
    text = os.fspath(path)
    if "\0" in (text if isinstance(text, str) else os.fsdecode(text)):
        raise ValueError(f"{text!r}: a path holds no NUL")
    return text


class PhotographWarning(UserWarning):
    """What the user should know of a photograph although the work goes on."""


def check_range(pixels: Image) -> None:
    """Warns of floats that are hardly in the range 0..1 of an encoding.

    Colours beyond sRGB reach somewhat further; what reaches 16 times white is linear light, or a photograph of 0..255."""
    if pixels.dtype.kind != "f" or pixels.size == 0:
        return
    if np.isnan(warn_of_range(pixels, 5)):
        raise ValueError("photograph: none of its values is a number")


def warn_of_range(pixels: Image, stacklevel: int = 4) -> float:
    """Warns of such floats. Returns the greatest of them, 0 of other arrays."""
    if pixels.dtype.kind != "f" or pixels.size == 0:
        return 0
    greatest = float(np.fmax.reduce(pixels, axis=None))
    if greatest > 16:
        warnings.warn(
            f"the floats of an array reach {greatest:g}: they are taken as they are, and 1 is white",
            PhotographWarning,
            stacklevel=stacklevel,
        )
    return greatest


Regions = Union[str, Sequence[Union[str, Sequence[float]]]]
"""Rectangles "x,y,w,h" and ellipses "ellipse:x,y,w,h" in pixels or percent, or four numbers in pixels; their union counts."""


def region_texts(regions: Optional[Regions]) -> list[str]:
    """Regions as the program takes them; each is checked."""
    if regions is None:
        return []
    given: Sequence[Any] = [regions] if isinstance(regions, str) else list(regions)
    if given and all(isinstance(value, (int, float, np.number)) for value in given):
        given = [given]
    texts = []
    for region in given:
        if not isinstance(region, str):
            numbers = [float(value) for value in region]
            region = ",".join(repr(int(value)) if value.is_integer() else repr(value) for value in numbers)
        _core.check_region(region)
        texts.append(region)
    return texts


class Part(NamedTuple):
    """What counts of photographs, besides their masks."""

    alpha: Optional[str] = None
    regions: tuple[str, ...] = ()
    center_weighted: bool = False

    def is_whole(self) -> bool:
        """Whether nothing is asked for."""
        return _core.use_of_alpha(self.alpha or "") == "dropped" and not self.regions and not self.center_weighted

    def of_file(self, mask: str = "") -> Optional[tuple[str, str, list[str], bool]]:
        """As the extension takes it."""
        if not mask and self.is_whole():
            return None
        return (mask, self.alpha or "", list(self.regions), self.center_weighted)


def part_asked(alpha: Optional[str], regions: Optional[Regions], center_weighted: bool) -> Part:
    """What the arguments of a function say; checked."""
    if alpha is not None:
        if not isinstance(alpha, str):
            raise ValueError(f"alpha: a text is wanted, not {alpha!r}")
        _core.use_of_alpha(alpha)
    return Part(alpha, tuple(region_texts(regions)), bool(center_weighted))


def masks_of_both(first_mask: Any, second_mask: Any, mask: Any) -> tuple[Any, Any]:
    """The masks of two photographs, of which `mask` is both."""
    if mask is None:
        return first_mask, second_mask
    if first_mask is not None or second_mask is not None:
        raise ValueError("mask: it is that of both photographs, and excludes first_mask and second_mask")
    return mask, mask


_whole = Part()


def _mask_array(mask: Any) -> Image:
    if isinstance(mask, (str, os.PathLike)):
        from .files import read

        mask = read(mask, profile="ignore")
    weights = native(mask)
    return weights.astype(np.uint8) * np.uint8(255) if weights.dtype == np.bool_ else weights


def _without_alpha(pixels: Image, choice: Part, masks: list[Image]) -> Image:
    """The colours of an array (H, W, 4), its alpha channel used as is asked for."""
    if pixels.ndim != 3 or pixels.shape[2] != 4 or choice.alpha is None:
        return pixels
    use = _core.use_of_alpha(choice.alpha)
    if use == "over":
        return _core.over_color(pixels[:, :, :3], pixels[:, :, 3], choice.alpha)
    if use == "weight":
        masks.append(pixels[:, :, 3])
    return pixels[:, :, :3]


def part(photograph: ImageLike, mask: Any, choice: Part = _whole) -> tuple[Image, Optional[Image]]:
    """The array, and how much each of its pixels counts; None where all do. The pixels of a masked array of which a
    channel is masked do not count; an array (H, W, 4) has an alpha channel, where the choice says what becomes of it."""
    masks = [] if mask is None else [_mask_array(mask)]
    if isinstance(photograph, np.ma.MaskedArray):
        valid = ~np.ma.getmaskarray(photograph)  # type: ignore[no-untyped-call]
        masks.append((valid.all(axis=-1) if valid.ndim == 3 else valid).astype(np.uint8) * np.uint8(255))
        photograph = photograph.data
    pixels = _without_alpha(native(photograph), choice, masks)
    check_range(pixels)
    if pixels.size == 0 or (len(masks) <= 1 and not choice.regions and not choice.center_weighted):
        return pixels, masks[0] if masks else None
    if pixels.ndim != 3:
        return pixels, None  # refused with the name of the argument
    height, width = pixels.shape[:2]
    return pixels, _core.weights_of_parts(height, width, masks, list(choice.regions), choice.center_weighted)


def whole_number(name: str, value: Any, low: int, high: int) -> int:
    """The value as an int, if it is a whole number from `low` to `high`."""
    try:
        number = operator.index(value)
    except TypeError:
        raise ValueError(f"{name}: {value!r} is not a whole number") from None
    if not low <= number <= high:
        raise ValueError(f"{name}: {number} is not from {low} to {high}")
    return number


def integer(name: str, value: Any) -> int:
    """The value as an int that the library can hold; what it may be beyond that is said by the operation."""
    return whole_number(name, value, -(2**31), 2**31 - 1)


def seed_number(value: Any) -> int:
    """The value as the seed of a random generator."""
    return whole_number("seed", value, 0, 2**64 - 1)


def real_number(name: str, value: Any) -> float:
    """The value as a float, if it is a number."""
    if isinstance(value, (str, bytes)):
        raise ValueError(f"{name}: {value!r} is not a number")
    try:
        return float(value)
    except (TypeError, ValueError):
        raise ValueError(f"{name}: {value!r} is not a number") from None


def numbers(values: Any, name: str) -> npt.NDArray[np.float64]:
    """An array of numbers."""
    try:
        return np.asarray(values, dtype=np.float64)
    except (TypeError, ValueError):
        raise ValueError(f"{name}: {values!r} is not an array of numbers") from None


def triple(values: Union[npt.ArrayLike, Triple], name: str) -> Triple:
    """Three numbers."""
    array = numbers(values, name)
    if array.shape != (3,):
        raise ValueError(f"{name}: three numbers are wanted, not an array {array.shape}")
    return (float(array[0]), float(array[1]), float(array[2]))


def white_triple(values: Union[npt.ArrayLike, Triple], name: str) -> Triple:
    """X, Y, Z of a white on the scale where Y = 1; on that of illuminants, where Y = 100, it is refused."""
    white = triple(values, name)
    if white[1] > 10:
        raise ValueError(f"{name}: its Y is {white[1]:g}, and 1 here; an illuminant of Y = 100 is divided by 100")
    return white


def text(name: str, value: Any, *choices: str) -> str:
    """The value, if it is a text, and one of the choices where there are any."""
    if not isinstance(value, str):
        raise ValueError(f"{name}: a text is wanted, not {value!r}")
    if choices and value not in choices:
        raise ValueError(f"{name}: '{value}' is none of {', '.join(choices)}")
    return value


def share_of_progress(progress: Progress, number: int, count: int) -> Progress:
    """For the call `number`, from 0 on, of `count` calls with as many steps each."""
    if progress is None:
        return None
    whole = progress
    return lambda done, steps: whole(done + number * steps, count * steps)


def rows(values: npt.ArrayLike, name: str) -> npt.NDArray[np.float64]:
    """An array (..., 3) as rows of three."""
    array = numbers(values, name)
    if array.ndim == 0 or array.shape[-1] != 3:
        raise ValueError(f"{name}: an array (..., 3) is wanted, not {array.shape}")
    return array.reshape(-1, 3)

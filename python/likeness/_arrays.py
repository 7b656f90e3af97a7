"""What every function does with the arrays that it is given."""

from __future__ import annotations

import os
from typing import Any, Callable, Optional, Union

import numpy as np
import numpy.typing as npt

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


def part(photograph: ImageLike, mask: Any) -> tuple[Image, Optional[Image]]:
    """The array, and how much each of its pixels counts; None where all do. The pixels of a masked array of which a
    channel is masked do not count."""
    weights = None
    if mask is not None:
        if isinstance(mask, (str, os.PathLike)):
            from .files import read

            mask = read(mask, profile="ignore")
        weights = native(mask)
        if weights.dtype == np.bool_:
            weights = weights.astype(np.uint8) * np.uint8(255)
    if isinstance(photograph, np.ma.MaskedArray):
        valid = ~np.ma.getmaskarray(photograph)  # type: ignore[no-untyped-call]
        valid = valid.all(axis=-1) if valid.ndim == 3 else valid
        if weights is None:
            weights = valid.astype(np.uint8) * np.uint8(255)
        elif weights.shape[:2] == valid.shape:
            weights = np.where(valid.reshape(valid.shape + (1,) * (weights.ndim - 2)), weights, weights.dtype.type(0))
        photograph = photograph.data
    return native(photograph), weights


def triple(values: Union[npt.ArrayLike, Triple], name: str) -> Triple:
    """Three numbers."""
    array = np.asarray(values, dtype=np.float64)
    if array.shape != (3,):
        raise ValueError(f"{name}: three numbers are wanted, not an array {array.shape}")
    return (float(array[0]), float(array[1]), float(array[2]))


def rows(values: npt.ArrayLike, name: str) -> npt.NDArray[np.float64]:
    """An array (..., 3) as rows of three."""
    array = np.asarray(values, dtype=np.float64)
    if array.ndim == 0 or array.shape[-1] != 3:
        raise ValueError(f"{name}: an array (..., 3) is wanted, not {array.shape}")
    return array.reshape(-1, 3)

"""Conversions among colour spaces, of photographs and of single colours.

A photograph is an array (H, W, 3) in the order R, G, B, gamma-encoded as sRGB: uint8 on 0..255, uint16 on 0..65535,
float32 or float64 on 0..1; or a path, read as `read` reads it. Results are float32 arrays of the same height and width.
Arguments are not modified. NaN stays in its pixel.
"""

from __future__ import annotations

from typing import NamedTuple, Optional, Union

import numpy as np
import numpy.typing as npt

from . import _core
from ._arrays import FloatImage, ImageLike, Triple, native, real_number, rows, triple, white_triple
from .files import PhotographLike, pixels_of


class White(NamedTuple):
    """A white: X, Y, Z on the scale where Y = 1.

    Examples
    --------
    >>> White.d50()
    White(x=0.9642, y=1.0, z=0.8249)
    >>> [round(v, 4) for v in White.d65().chromaticity]
    [0.3127, 0.329]
    """

    x: float
    y: float
    z: float

    @staticmethod
    def d65() -> White:
        """The white of sRGB and of the comparison, (0.9505, 1, 1.0888)."""
        return White(*_core.white_d65())

    @staticmethod
    def d50() -> White:
        """The white of most print work, (0.9642, 1, 0.8249)."""
        return White(*_core.white_d50())

    @staticmethod
    def from_rgb(rgb: npt.ArrayLike) -> White:
        """The white of a gamma-encoded colour R, G, B on 0..1; Y is not scaled to 1."""
        return White(*_core.white_from_rgb(triple(rgb, "rgb")))

    @staticmethod
    def from_chromaticity(x: float, y: float) -> White:
        """The white of Y = 1 and a chromaticity x, y of CIE 1931."""
        return White(*_core.white_from_chromaticity(real_number("x", x), real_number("y", y)))

    @property
    def chromaticity(self) -> tuple[float, float]:
        """x, y of CIE 1931; NaN where X + Y + Z is 0."""
        total = self.x + self.y + self.z
        return (self.x / total, self.y / total) if total != 0 else (float("nan"), float("nan"))


def _white(white: Optional[npt.ArrayLike]) -> Optional[Triple]:
    return None if white is None else white_triple(white, "white")


def to_unit(photograph: PhotographLike) -> FloatImage:
    """A photograph on the scale 0..1, as every operation sees it.

    Parameters
    ----------
    photograph : array (H, W, 3) or path
        Any depth.

    Returns
    -------
    array (H, W, 3) of float32

    Examples
    --------
    >>> to_unit(np.full((1, 1, 3), 51, np.uint8))
    array([[[0.2, 0.2, 0.2]]], dtype=float32)
    """
    return _core.to_unit(pixels_of(photograph))


def linear_from_rgb(photograph: PhotographLike) -> FloatImage:
    """Linear R, G, B of a photograph (IEC 61966-2-1)."""
    return _core.linear_from_rgb(pixels_of(photograph))


def rgb_from_linear(linear: ImageLike) -> FloatImage:
    """Gamma-encoded values of linear ones, float32 or float64, nominally on 0..1."""
    return _core.rgb_from_linear(native(linear))


def xyz_from_rgb(photograph: PhotographLike, white: Optional[npt.ArrayLike] = None) -> FloatImage:
    """CIE 1931 X, Y, Z of a photograph, Y = 1 for a perfect diffuser.

    Parameters
    ----------
    photograph : array (H, W, 3) or path
    white : X, Y, Z, optional
        The white that (1, 1, 1) has; that of sRGB unless given.
    """
    return _core.xyz_from_rgb(pixels_of(photograph), _white(white))


def rgb_from_xyz(xyz: ImageLike, white: Optional[npt.ArrayLike] = None) -> FloatImage:
    """The way back from `xyz_from_rgb`; outside 0..1 where sRGB does not have the colour."""
    return _core.rgb_from_xyz(native(xyz), _white(white))


def lab_from_rgb(photograph: PhotographLike, white: Optional[npt.ArrayLike] = None) -> FloatImage:
    """CIE L*, a*, b* of a photograph; L* = 100 for the white.

    Parameters
    ----------
    photograph : array (H, W, 3) or path
    white : X, Y, Z, optional
        That of (1, 1, 1) unless given; `lab_white_from_rgb` has that of another colour.

    Examples
    --------
    >>> lab = lab_from_rgb(np.full((1, 1, 3), 255, np.uint8))
    >>> bool(np.allclose(lab, [100, 0, 0], atol=1e-3))
    True
    """
    return _core.lab_from_rgb(pixels_of(photograph), _white(white))


def rgb_from_lab(lab: ImageLike, white: Optional[npt.ArrayLike] = None) -> FloatImage:
    """The way back from `lab_from_rgb`."""
    return _core.rgb_from_lab(native(lab), _white(white))


def lab_white_from_rgb(rgb: npt.ArrayLike = (1.0, 1.0, 1.0)) -> White:
    """The white of a gamma-encoded colour R, G, B, for `lab_from_rgb` and `rgb_from_lab`."""
    return White(*_core.lab_white_from_rgb(triple(rgb, "rgb")))


def lab255_from_lab(lab: ImageLike) -> FloatImage:
    """L*, a*, b* brought to the range 0..255."""
    return _core.lab255_from_lab(native(lab))


def lab_from_lab255(lab255: ImageLike) -> FloatImage:
    """The way back from `lab255_from_lab`."""
    return _core.lab_from_lab255(native(lab255))


def log_lms_from_rgb(photograph: PhotographLike) -> FloatImage:
    """Decimal logarithms of cone responses L, M, S (Reinhard et al., 2001)."""
    return _core.log_lms_from_rgb(pixels_of(photograph))


def rgb_from_log_lms(log_lms: ImageLike) -> FloatImage:
    """The way back from `log_lms_from_rgb`."""
    return _core.rgb_from_log_lms(native(log_lms))


def lalphabeta_from_rgb(photograph: PhotographLike) -> FloatImage:
    """The decorrelated space l, alpha, beta (Ruderman, Cronin, Chiao, 1998)."""
    return _core.lalphabeta_from_rgb(pixels_of(photograph))


def rgb_from_lalphabeta(lalphabeta: ImageLike) -> FloatImage:
    """The way back from `lalphabeta_from_rgb`."""
    return _core.rgb_from_lalphabeta(native(lalphabeta))


def yuv_from_rgb(photograph: PhotographLike) -> FloatImage:
    """Luma and colour differences Y, U, V of a photograph."""
    return _core.yuv_from_rgb(pixels_of(photograph))


def rgb_from_yuv(yuv: ImageLike) -> FloatImage:
    """The way back from `yuv_from_rgb`."""
    return _core.rgb_from_yuv(native(yuv))


def opponent_from_rgb(photograph: PhotographLike) -> FloatImage:
    """The simple opponent space of a photograph."""
    return _core.opponent_from_rgb(pixels_of(photograph))


def sharpened_from_xyz(xyz: ImageLike) -> FloatImage:
    """Sharpened R, G, B of X, Y, Z (CAT02 of CIE 159:2004)."""
    return _core.sharpened_from_xyz(native(xyz))


def xyz_from_sharpened(sharpened: ImageLike) -> FloatImage:
    """The way back from `sharpened_from_xyz`."""
    return _core.xyz_from_sharpened(native(sharpened))


def sharpened_from_rgb(photograph: PhotographLike) -> FloatImage:
    """Sharpened R, G, B of a photograph."""
    return _core.sharpened_from_rgb(pixels_of(photograph))


def rgb_from_sharpened(sharpened: ImageLike) -> FloatImage:
    """The way back from `sharpened_from_rgb`."""
    return _core.rgb_from_sharpened(native(sharpened))


# Single colours, in double.


def _each(function, values: npt.ArrayLike, name: str, *more) -> npt.NDArray[np.float64]:  # type: ignore[no-untyped-def]
    array = np.asarray(values, dtype=np.float64)
    colors = rows(array, name)
    result = np.array([function(tuple(color), *more) for color in colors], dtype=np.float64)
    return result.reshape(array.shape)


def xyz_from_srgb(srgb: npt.ArrayLike) -> npt.NDArray[np.float64]:
    """X, Y, Z, Y = 100 for the white, of gamma-encoded colours R, G, B on 0..1.

    Parameters
    ----------
    srgb : array (..., 3)

    Examples
    --------
    >>> xyz_from_srgb([1, 1, 1]).round(2)
    array([ 95.05, 100.  , 108.9 ])
    """
    return _each(_core.xyz_from_srgb, srgb, "srgb")


def srgb_from_xyz(xyz: npt.ArrayLike) -> npt.NDArray[np.float64]:
    """The way back from `xyz_from_srgb`, (..., 3); outside 0..1 where sRGB does not have the colour."""
    return _each(_core.srgb_from_xyz, xyz, "xyz")


def cie_lab_from_xyz(xyz: npt.ArrayLike, white: npt.ArrayLike) -> npt.NDArray[np.float64]:
    """L*, a*, b* (CIE 15:2018) of colours (..., 3) under a white X, Y, Z on the same scale."""
    return _each(_core.cie_lab_from_xyz, xyz, "xyz", triple(white, "white"))


def xyz_from_cie_lab(lab: npt.ArrayLike, white: npt.ArrayLike) -> npt.NDArray[np.float64]:
    """The way back from `cie_lab_from_xyz`."""
    return _each(_core.xyz_from_cie_lab, lab, "lab", triple(white, "white"))


def ciede2000(
    first: npt.ArrayLike, second: npt.ArrayLike, k_l: float = 1, k_c: float = 1, k_h: float = 1
) -> Union[float, npt.NDArray[np.float64]]:
    """Colour difference CIEDE2000 (CIE 142-2001) of colours L*, a*, b*.

    Parameters
    ----------
    first, second : arrays (..., 3)
        They are broadcast against each other.
    k_l, k_c, k_h : float
        Parametric factors; 1 under reference conditions.

    Examples
    --------
    >>> round(ciede2000([50, 2.6772, -79.7751], [50, 0, -82.7485]), 4)
    2.0425
    """
    one = np.asarray(first, dtype=np.float64)
    other = np.asarray(second, dtype=np.float64)
    for array, name in ((one, "first"), (other, "second")):
        if array.ndim == 0 or array.shape[-1] != 3:
            raise ValueError(f"{name}: an array (..., 3) is wanted, not {array.shape}")
    try:
        np.broadcast_shapes(one.shape, other.shape)
    except ValueError:
        raise ValueError(f"second: {other.shape} does not broadcast against {one.shape}") from None
    factors = [real_number(name, value) for name, value in (("k_l", k_l), ("k_c", k_c), ("k_h", k_h))]
    if not all(factor > 0 for factor in factors):
        raise ValueError("k_l, k_c and k_h: they are above 0")
    difference = _core.ciede2000(
        one[..., 0], one[..., 1], one[..., 2], other[..., 0], other[..., 1], other[..., 2], *factors
    )
    return float(difference) if np.ndim(difference) == 0 else difference


class ColorTemperature(NamedTuple):
    """Where a chromaticity lies beside the chromaticities of black bodies."""

    kelvin: float
    """Correlated colour temperature; NaN where it has no meaning."""
    duv: float
    """Distance in u, v of CIE 1960; positive above the locus."""


def correlated_color_temperature(x: float, y: float) -> ColorTemperature:
    """Correlated colour temperature of a chromaticity x, y (Robertson, 1968).

    Examples
    --------
    >>> round(correlated_color_temperature(0.3127, 0.3290).kelvin, -1)
    6500.0
    """
    return ColorTemperature(*_core.correlated_color_temperature(real_number("x", x), real_number("y", y)))


def daylight_chromaticity(kelvin: float) -> tuple[float, float]:
    """x, y of a phase of daylight of 4000 to 25000 K (CIE 015:2018)."""
    return tuple(_core.daylight_chromaticity(real_number("kelvin", kelvin)))  # type: ignore[return-value]


def planckian_chromaticity(kelvin: float) -> tuple[float, float]:
    """x, y of a black body of 1000 to 15000 K (Krystek, 1985)."""
    return tuple(_core.planckian_chromaticity(real_number("kelvin", kelvin)))  # type: ignore[return-value]


illuminants: dict[str, Triple] = {name: triple(white, name) for name, white in _core.illuminants.items()}
"""X, Y, Z of CIE illuminants A, D50, D55, D65 and E, Y = 100."""

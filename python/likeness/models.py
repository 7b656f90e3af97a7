"""Appearance models as published, viewing conditions, and the models that photographs are compared by."""

from __future__ import annotations

import dataclasses
import functools
from typing import NamedTuple, Optional, Union

import numpy as np
import numpy.typing as npt

from . import _core
from ._arrays import FloatImage, ImageLike, Triple, native, real_number, rows, text, triple


class Surround(NamedTuple):
    """What lies around the field of view: F, c and N_c."""

    adaptation: float
    impact: float
    induction: float


surrounds = {
    "average": Surround(1.0, 0.69, 1.0),
    "dim": Surround(0.9, 0.59, 0.9),
    "dark": Surround(0.8, 0.525, 0.8),
}
"""The three surrounds of CIE 159:2004 and CIE 248:2022."""


@dataclasses.dataclass(frozen=True)
class ViewingConditions:
    """The conditions that colours are seen under.

    Parameters
    ----------
    white : X, Y, Z
        The adopted white; Y = 100 unless it is less than a perfect diffuser.
    adapting_luminance : float
        L_A in cd/m2, of the adapting field, usually a fifth of the white's luminance.
    background : float or None
        Y_b on the scale of the white. None only for the comparison's own model, whose background drifts with the size of
        a photograph.
    surround : Surround or str
        Or "average", "dim", "dark".
    discounting : bool
        Whether the observer discounts the illuminant.

    Examples
    --------
    >>> ViewingConditions.preset("print-d50").surround
    Surround(adaptation=1.0, impact=0.69, induction=1.0)
    >>> ViewingConditions(adapting_luminance=-1)
    Traceback (most recent call last):
    ...
    ValueError: the adapting luminance must be from 0 to 1000000 cd/m2
    """

    white: Triple = (95.047, 100.0, 108.883)
    adapting_luminance: float = 16.0
    background: Optional[float] = 20.0
    surround: Union[Surround, str] = "dim"
    discounting: bool = False

    def __post_init__(self) -> None:
        if isinstance(self.surround, str):
            if self.surround not in surrounds:
                raise ValueError(f"surround: '{self.surround}' is none of {', '.join(surrounds)}")
            object.__setattr__(self, "surround", surrounds[self.surround])
        object.__setattr__(self, "white", triple(self.white, "white"))
        if not isinstance(self.surround, Surround):
            object.__setattr__(self, "surround", Surround(*triple(self.surround, "surround")))
        real_number("adapting_luminance", self.adapting_luminance)
        if self.background is not None:
            real_number("background", self.background)
        Surround(*(real_number("surround", number) for number in self.surround))
        _core.check_conditions(self._tuple())

    def _tuple(self) -> tuple[object, ...]:
        return (self.white, self.adapting_luminance, self.background, tuple(self.surround), self.discounting)

    @staticmethod
    def preset(name: str) -> ViewingConditions:
        """Conditions by name; `condition_presets` has all."""
        presets = condition_presets()
        if name not in presets:
            raise ValueError(f"no conditions are called '{name}'; there are {', '.join(presets)}")
        return presets[name]


@functools.lru_cache(maxsize=None)
def _presets() -> dict[str, ViewingConditions]:
    return {
        name: ViewingConditions(white, luminance, background, Surround(*surround), discounting)
        for name, _, (white, luminance, background, surround, discounting) in _core.condition_presets()
    }


def condition_presets() -> dict[str, ViewingConditions]:
    """All conditions that have a name, such as "srgb-display"."""
    return dict(_presets())


class Correlates(NamedTuple):
    """How colours look: numbers of one colour, arrays of many."""

    lightness: npt.ArrayLike
    """J, 100 for the white."""
    brightness: npt.ArrayLike
    """Q."""
    chroma: npt.ArrayLike
    """C."""
    colorfulness: npt.ArrayLike
    """M."""
    saturation: npt.ArrayLike
    """s."""
    hue_degrees: npt.ArrayLike
    """h, from 0 to below 360."""
    hue_quadrature: npt.ArrayLike
    """H: 0 red, 100 yellow, 200 green, 300 blue, below 400."""


class ConditionFactors(NamedTuple):
    """What follows from viewing conditions alone."""

    degree_of_adaptation: float
    luminance_level: float
    background_induction: float
    brightness_induction: float
    base_exponent: float
    white_response: float


class AppearanceModel:
    """CIECAM02 (CIE 159:2004) or CIECAM16 (CIE 248:2022) under one set of conditions. Threads may share it.

    Parameters
    ----------
    kind : str
        "ciecam02" or "ciecam16".
    conditions : ViewingConditions or str
        Or the name of a preset.

    Examples
    --------
    >>> model = AppearanceModel("ciecam16", ViewingConditions((95.05, 100, 108.88), 318.31, 20, "average"))
    >>> look = model.correlates([19.01, 20, 21.78])
    >>> round(look.lightness, 4), round(look.hue_degrees, 1)
    (41.7312, 217.1)
    >>> model.colors(lightness=look.lightness, chroma=look.chroma, hue_degrees=look.hue_degrees).round(6)
    array([19.01, 20.  , 21.78])
    """

    def __init__(self, kind: str, conditions: Union[ViewingConditions, str] = "srgb-display") -> None:
        self.kind = kind
        self.conditions = _conditions(conditions)
        self._model = _core.PublishedModel(kind, self.conditions._tuple())

    def __repr__(self) -> str:
        return f"AppearanceModel({self.kind!r}, {self.conditions!r})"

    def __reduce__(self) -> tuple[object, ...]:
        return (AppearanceModel, (self.kind, self.conditions))

    @property
    def factors(self) -> ConditionFactors:
        """D, F_L, n, N_bb, z and A_w."""
        return ConditionFactors(*self._model.factors())

    def correlates(self, xyz: npt.ArrayLike) -> Correlates:
        """The forward model, in double.

        Parameters
        ----------
        xyz : array (..., 3)
            X, Y, Z on the scale of the white, Y = 100 for the perfect diffuser.
        """
        array = np.asarray(xyz, dtype=np.float64)
        result = self._model.correlates(rows(array, "xyz"))
        if array.ndim == 1:
            return Correlates(*(float(value) for value in result[0]))
        return Correlates(*(result[:, k].reshape(array.shape[:-1]) for k in range(7)))

    def colors(
        self,
        *,
        lightness: Optional[npt.ArrayLike] = None,
        brightness: Optional[npt.ArrayLike] = None,
        chroma: Optional[npt.ArrayLike] = None,
        colorfulness: Optional[npt.ArrayLike] = None,
        saturation: Optional[npt.ArrayLike] = None,
        hue_degrees: Optional[npt.ArrayLike] = None,
        hue_quadrature: Optional[npt.ArrayLike] = None,
    ) -> npt.NDArray[np.float64]:
        """The inverse model, in double: X, Y, Z (..., 3) on the scale of the white.

        One of lightness and brightness is given, one of chroma, colorfulness and saturation, one of hue_degrees and
        hue_quadrature; they are broadcast against each other.
        """
        level = _one({"lightness": lightness, "brightness": brightness})
        strength = _one({"chroma": chroma, "colorfulness": colorfulness, "saturation": saturation})
        hue = _one({"hue_degrees": hue_degrees, "hue_quadrature": hue_quadrature})
        parts = np.broadcast_arrays(level[1], strength[1], hue[1])
        triples = np.stack(parts, axis=-1).astype(np.float64)
        result = self._model.colors(level[0], strength[0], hue[0], triples.reshape(-1, 3))
        return result.reshape(triples.shape)

    def correlate_maps(self, xyz: ImageLike) -> Correlates:
        """The forward model on an image: float32 maps (H, W).

        Parameters
        ----------
        xyz : array (H, W, 3) of float32
            X, Y, Z, Y = 1 for the perfect diffuser, as `xyz_from_rgb` gives them.
        """
        return Correlates(*self._model.correlate_maps(native(xyz)))


def _one(choices: dict[str, Optional[npt.ArrayLike]]) -> tuple[str, npt.NDArray[np.float64]]:
    given = [(name, value) for name, value in choices.items() if value is not None]
    if len(given) != 1:
        raise ValueError(f"one of {', '.join(choices)} is wanted")
    return given[0][0], np.asarray(given[0][1], dtype=np.float64)


def _conditions(conditions: Union[ViewingConditions, str]) -> ViewingConditions:
    return ViewingConditions.preset(conditions) if isinstance(conditions, str) else conditions


def hue_quadrature(hue_degrees: npt.ArrayLike) -> Union[float, npt.NDArray[np.float64]]:
    """Hue quadrature H of hue angles h in degrees."""
    return _core.hue_quadrature(hue_degrees)


def hue_degrees(quadrature: npt.ArrayLike) -> Union[float, npt.NDArray[np.float64]]:
    """The way back from `hue_quadrature`."""
    return _core.hue_degrees(quadrature)


def hue_composition(quadrature: float) -> str:
    """Hue composition in per cent of the unique hues.

    Examples
    --------
    >>> hue_composition(262)
    '62B 38G'
    """
    return _core.hue_composition(quadrature)


def uniform_colors(
    lightness: npt.ArrayLike, colorfulness: npt.ArrayLike, hue_degrees: npt.ArrayLike, variant: str = "ucs"
) -> npt.NDArray[np.float64]:
    """J', a', b' (..., 3) of a uniform space: CAM02-UCS of CIECAM02's correlates, CAM16-UCS of CIECAM16's.

    Parameters
    ----------
    lightness, colorfulness, hue_degrees : arrays
        J, M and h; they are broadcast against each other.
    variant : str
        "ucs", or "lcd" for large and "scd" for small differences (Luo, Cui, Li, 2006).
    """
    parts = np.broadcast_arrays(lightness, colorfulness, hue_degrees)
    triples = np.stack(parts, axis=-1).astype(np.float64)
    return _core.uniform_colors(triples.reshape(-1, 3), variant).reshape(triples.shape)


def correlates_of_uniform(uniform: npt.ArrayLike, variant: str = "ucs") -> npt.NDArray[np.float64]:
    """The way back from `uniform_colors`: J, M, h, (..., 3)."""
    array = np.asarray(uniform, dtype=np.float64)
    return _core.correlates_of_uniform(rows(array, "uniform"), variant).reshape(array.shape)


def uniform_difference(first: npt.ArrayLike, second: npt.ArrayLike, variant: str = "ucs") -> float:
    """Delta E' of two colours J', a', b'."""
    return _core.uniform_difference(triple(first, "first"), triple(second, "second"), variant)


@dataclasses.dataclass(frozen=True)
class ComparisonModel:
    """A model that photographs are compared by, and the conditions that it is used under.

    Parameters
    ----------
    kind : str
        "likeness", the comparison's own, "ciecam02" or "ciecam16".
    conditions : ViewingConditions or str
        Of a published model; or the name of a preset.
    picture_white : str
        Of a published model: the colour that counts as the picture's white, "encoding", "gray-world" or "brightest".
    white : str
        Of the own model: whose response counts as the white's, "brightest" or "fixed".
    black : str
        Of the own model: "defined", or "continuous" for black adapted as other colours are.
    background : float or None
        Y_b of the own model, above 0 and up to 100; None lets it drift with the size.
    """

    kind: str = "likeness"
    conditions: Union[ViewingConditions, str] = "srgb-display"
    picture_white: str = "encoding"
    white: str = "brightest"
    black: str = "defined"
    background: Optional[float] = None

    def __post_init__(self) -> None:
        object.__setattr__(self, "conditions", _conditions(self.conditions))
        if not isinstance(self.conditions, ViewingConditions):
            raise ValueError(f"conditions: ViewingConditions or the name of a preset are wanted, not {self.conditions!r}")
        for name in ("kind", "picture_white", "white", "black"):
            text(name, getattr(self, name))
        if self.background is not None:
            real_number("background", self.background)
        _core.check_model(self._tuple())

    def _tuple(self) -> tuple[object, ...]:
        conditions = self.conditions
        assert isinstance(conditions, ViewingConditions)
        return (self.kind, conditions._tuple(), self.picture_white, self.white, self.black, self.background)


def model_of(model: Union[ComparisonModel, str]) -> ComparisonModel:
    """A model, or the one of a name under its usual conditions."""
    if isinstance(model, ComparisonModel):
        return model
    return _named_model(text("model", model))


@functools.lru_cache(maxsize=None)
def _named_model(kind: str) -> ComparisonModel:
    return ComparisonModel(kind)

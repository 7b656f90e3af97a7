"""How well predictions agree with opinion scores: correlations, errors, their intervals, and tests between predictions."""

from __future__ import annotations

from typing import NamedTuple, Optional

import numpy as np
import numpy.typing as npt

from . import _core
from ._arrays import integer, numbers, real_number, seed_number


class Estimate(NamedTuple):
    """A number with its interval, which is NaN where it is not known."""

    value: float
    low: float
    high: float


class Agreement(NamedTuple):
    """How well predictions agree with scores."""

    pearson: Estimate
    """Linear correlation."""
    spearman: Estimate
    """Rank correlation; equal values share the mean of their ranks."""
    kendall: Estimate
    """Kendall's tau-b."""
    rmse: Estimate
    """Root of the mean squared error."""
    outlier_ratio: Estimate
    """Share of the rows whose error is beyond what is allowed them; NaN without allowances."""


class PairedTest(NamedTuple):
    """Whether two predictions of the same scores have errors of different variance."""

    correlation: float
    """Of the errors' sum and difference."""
    t: float
    """Below 0 where the first has the smaller errors."""
    degrees_of_freedom: float
    p: float
    """Two-sided."""


class CubicMapping(NamedTuple):
    """A polynomial of the third order that increases between two limits; call it with a number or an array."""

    coefficients: tuple[float, float, float, float]
    """c[0] + c[1] x + c[2] x^2 + c[3] x^3."""
    low: float
    """Least x that it was made for; what is below is held there."""
    high: float

    def __call__(self, x: npt.ArrayLike) -> npt.NDArray[np.float64]:
        """The mapped values, an array of the shape of x."""
        values = numbers(x, "x")
        mapped = [_core.mapped_value(self.coefficients, self.low, self.high, value) for value in values.ravel()]
        return np.array(mapped).reshape(values.shape)


class MappedAgreement(NamedTuple):
    """Figures of ITU-T P.1401 after the third-order mapping."""

    mapping: CubicMapping
    """Of the predictions to the scores."""
    pearson: float
    """Of scores and mapped predictions."""
    rmse: float
    """Over N - 4 degrees of freedom."""
    rmse_star: float
    """The same of what exceeds the scores' intervals; NaN without them."""
    outlier_ratio: float
    """Share of errors beyond the scores' intervals; NaN without them."""


def _column(values: npt.ArrayLike, name: str) -> list[float]:
    array = numbers(values, name)
    if array.ndim != 1:
        raise ValueError(f"{name}: an array of one dimension is wanted, not {array.shape}")
    return [float(value) for value in array]


def _estimated(
    scores: npt.ArrayLike,
    predicted: npt.ArrayLike,
    other: Optional[npt.ArrayLike],
    allowed: Optional[npt.ArrayLike],
    groups: Optional[npt.ArrayLike],
    resamples: int,
    seed: int,
    confidence: float,
) -> Agreement:
    number_of_group: list[int] = []
    if groups is not None:
        labels = np.asarray(groups)
        if labels.ndim != 1:
            raise ValueError(f"groups: an array of one dimension is wanted, not {labels.shape}")
        number_of_group = [int(number) for number in np.unique(labels, return_inverse=True)[1]]
    figures = _core.agreement(
        _column(scores, "scores"),
        _column(predicted, "predicted" if other is None else "first"),
        None if other is None else _column(other, "second"),
        [] if allowed is None else _column(allowed, "allowed"),
        number_of_group,
        integer("resamples", resamples),
        seed_number(seed),
        real_number("confidence", confidence),
    )
    return Agreement(*(Estimate(*figure) for figure in figures))


def agreement(
    scores: npt.ArrayLike,
    predicted: npt.ArrayLike,
    *,
    allowed: Optional[npt.ArrayLike] = None,
    groups: Optional[npt.ArrayLike] = None,
    resamples: int = 1000,
    seed: int = 1,
    confidence: float = 0.95,
) -> Agreement:
    """How well predictions agree with scores, with percentile intervals over resamples of the groups.

    Parameters
    ----------
    scores, predicted : array (N,)
        What people said, and what was predicted; finite.
    allowed : array (N,), optional
        For the outlier ratio: the greatest error that is allowed a row, such as two standard deviations of its score.
    groups : array (N,), optional
        Labels. Rows of one label, such as all distortions of one photograph, are drawn together; each row is a group of
        its own unless given.
    resamples, seed : int
        The same seed gives the same intervals. Fewer than 20 resamples give none.
    confidence : float
        Share of the resamples inside an interval, above 0 and below 1.

    Returns
    -------
    Agreement
        A statistic that is not defined, as a correlation with a constant, is NaN; its interval too where it is not
        defined in more than one resample of twenty.

    Raises
    ------
    ValueError
        For arrays of different lengths and values that are not finite.

    References
    ----------
    Efron and Tibshirani, An Introduction to the Bootstrap, 1993

    Examples
    --------
    >>> found = agreement([1, 2, 3, 4, 5], [1.2, 1.9, 3.1, 3.8, 5.2], resamples=200)
    >>> round(found.spearman.value, 9), found.rmse.low < found.rmse.value < found.rmse.high
    (1.0, True)
    """
    return _estimated(scores, predicted, None, allowed, groups, resamples, seed, confidence)


def compare_agreement(
    scores: npt.ArrayLike,
    first: npt.ArrayLike,
    second: npt.ArrayLike,
    *,
    allowed: Optional[npt.ArrayLike] = None,
    groups: Optional[npt.ArrayLike] = None,
    resamples: int = 1000,
    seed: int = 1,
    confidence: float = 0.95,
) -> Agreement:
    """Differences of the agreement of two predictions of the same scores, the first less the second.

    Parameters
    ----------
    scores, first, second : array (N,)
        What people said, and two predictions; finite.
    allowed, groups, resamples, seed, confidence
        As of `agreement`.

    Returns
    -------
    Agreement
        An interval without 0 tells the predictions apart.

    Raises
    ------
    ValueError
        As `agreement`.

    Examples
    --------
    >>> scores = [1, 2, 3, 4, 5, 6]
    >>> compare_agreement(scores, scores, [1, 3, 2, 4, 6, 5], resamples=0).rmse.value < 0
    True
    """
    return _estimated(scores, first, second, allowed, groups, resamples, seed, confidence)


def pitman_test(scores: npt.ArrayLike, first: npt.ArrayLike, second: npt.ArrayLike) -> PairedTest:
    """Pitman's test (Pitman-Morgan) of whether two predictions have errors of different variance.

    Rows are taken for independent.

    Parameters
    ----------
    scores, first, second : array (N,)
        What people said, and two predictions; finite.

    Returns
    -------
    PairedTest
        NaN for fewer than three rows.

    Raises
    ------
    ValueError
        As `agreement`.

    References
    ----------
    Pitman, "A note on normal correlation", Biometrika 31, 1939

    Examples
    --------
    >>> test = pitman_test([1, 2, 3, 4], [1.1, 2, 2.9, 4], [1.5, 1.5, 3.5, 3.5])
    >>> test.t < 0, test.degrees_of_freedom
    (True, 2.0)
    """
    return PairedTest(*_core.pitman_test(_column(scores, "scores"), _column(first, "first"), _column(second, "second")))


def monotone_cubic(x: npt.ArrayLike, y: npt.ArrayLike) -> CubicMapping:
    """The increasing polynomial of the third order with the least squared error.

    Parameters
    ----------
    x, y : array (N,)
        At least one of each; finite.

    Returns
    -------
    CubicMapping
        Increasing from the least to the greatest x.

    Raises
    ------
    ValueError
        As `agreement`.

    References
    ----------
    ITU-T P.1401 (2020), 7.1

    Examples
    --------
    >>> monotone_cubic([0, 1, 2, 3], [0, 1, 8, 27])(2.0).round(9).item()
    8.0
    """
    return CubicMapping(*_core.monotone_cubic(_column(x, "x"), _column(y, "y")))


def mapped_agreement(
    scores: npt.ArrayLike, predicted: npt.ArrayLike, *, intervals: Optional[npt.ArrayLike] = None
) -> MappedAgreement:
    """Figures of ITU-T P.1401 after the third-order mapping of the predictions to the scores.

    Parameters
    ----------
    scores, predicted : array (N,)
        What people said, and what was predicted; finite.
    intervals : array (N,), optional
        Half widths of the scores' 95 % confidence intervals, as `opinion_interval` gives them.

    Returns
    -------
    MappedAgreement
        Numbers that are not defined are NaN.

    Raises
    ------
    ValueError
        As `agreement`.

    Examples
    --------
    >>> found = mapped_agreement([0, 1, 8, 27, 64], [0, 1, 2, 3, 4])
    >>> round(found.pearson, 9), round(found.rmse, 9)
    (1.0, 0.0)
    """
    mapping, *figures = _core.mapped_agreement(
        _column(scores, "scores"),
        _column(predicted, "predicted"),
        [] if intervals is None else _column(intervals, "intervals"),
    )
    return MappedAgreement(CubicMapping(*mapping), *figures)


def opinion_interval(deviation: float, observers: int) -> float:
    """Half width of the 95 % confidence interval of a mean opinion score.

    Parameters
    ----------
    deviation : float
        Standard deviation of the opinions.
    observers : int
        How many gave one, at least 2.

    Returns
    -------
    float
        In the units of the scores.

    Examples
    --------
    >>> round(opinion_interval(1, 16), 3)  # 2.131 / 4
    0.533
    """
    return _core.opinion_interval(real_number("deviation", deviation), integer("observers", observers))

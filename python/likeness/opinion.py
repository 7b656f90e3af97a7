"""Opinion scores, predicted from the results of comparisons."""

from __future__ import annotations

import json
import os
import warnings
from collections.abc import Mapping, Sequence
from typing import Any, NamedTuple, Optional, Union

from . import _core
from ._arrays import integer, path_text, real_number, seed_number
from .comparison import Coefficients
from .files import PathLike


class FitWarning(UserWarning):
    """What was left out of a fit, or assumed."""


class PredictedScore(NamedTuple):
    """What a model predicts for a pair of photographs."""

    score: float
    low: float
    """Of the interval in which a single score is expected."""
    high: float
    outside: bool
    """Whether a number is beyond the range that the model was fitted to."""


class FittedRow(NamedTuple):
    """A score and what was predicted for it."""

    id: str
    score: float
    predicted: float
    low: float
    high: float
    cross_validated: float
    """What a model predicts that was fitted without this content; NaN where there is no cross-validation."""


class ScoreModel:
    """A model that `fit` made or that was read from a file of darkroom fit.

    `document` is the file's content: form, parameters, performance, validity (docs/fit.md).
    """

    def __init__(self, text: str, rows: Sequence[FittedRow] = ()) -> None:
        try:
            self.document: dict[str, Any] = json.loads(text)
        except ValueError as problem:
            raise ValueError(f"text: it is no model of darkroom fit: {problem}") from None
        self.rows: tuple[FittedRow, ...] = tuple(rows)
        """Of the fit; empty for a model from a file."""
        self._text = text

    @classmethod
    def read(cls, path: PathLike) -> ScoreModel:
        """Reads a model's file."""
        with open(path, encoding="utf-8") as file:
            return cls(file.read())

    def write(self, path: PathLike) -> None:
        """Writes the file that `darkroom compare --predict` and `darkroom batch --predict` take."""
        with open(path, "w", encoding="utf-8") as file:
            file.write(self._text)

    def predict(self, numbers: Union[Coefficients, Mapping[str, float]]) -> PredictedScore:
        """What the model predicts for a comparison; see `predict`."""
        values = numbers._asdict() if isinstance(numbers, Coefficients) else numbers
        return PredictedScore(
            *_core.predict_score(self._text, {name: real_number(name, value) for name, value in values.items()})
        )


def fit(
    results: PathLike,
    scores: Optional[PathLike] = None,
    *,
    dataset: Optional[tuple[str, PathLike]] = None,
    score: str = "score",
    deviation: Optional[str] = None,
    group: Optional[str] = None,
    type: Optional[str] = None,
    id: Optional[str] = None,
    direction: Optional[str] = None,
    form: str = "linear",
    features: Sequence[str] = (),
    penalty: Optional[float] = None,
    observers: Optional[int] = None,
    folds: int = 10,
    resamples: int = 1000,
    seed: int = 1,
) -> ScoreModel:
    """Fits opinion scores to results, as `darkroom fit` does.

    Parameters
    ----------
    results : str or PathLike
        Of darkroom batch, merge or pairs, or a report For_fit.txt.
    scores : str or PathLike
        Table with a header; rows and results of one id belong together.
    dataset : (name, folder), optional
        In place of `scores`: "tid2013", "kadid10k", "csiq", "live" or "spcd".
    score, deviation, group, type, id : str
        Names of columns.
    direction : str, optional
        "higher-better" where higher scores mean more alike, or "lower-better"; required with `scores`.
    form : str
        "linear", "monotone", "logistic4", "logistic5", "product" or "ridge".
    features : sequence of str
        What the score is predicted from; the five coefficients unless given.
    penalty : float, optional
        Of "ridge".
    observers : int, optional
        How many people gave each score.
    folds, resamples, seed : int
        Of cross-validation and bootstrap.

    Raises
    ------
    ValueError
        What cannot be read or fitted; a sentence why.
    """
    if (scores is None) == (dataset is None):
        raise ValueError("scores or dataset is wanted, and not both")
    if dataset is None and direction is None:
        raise ValueError("direction: higher-better or lower-better is wanted; a table of scores does not tell")
    if isinstance(features, str):
        raise ValueError("features: a sequence of names is wanted")
    text, rows, remarks = _core.fit_scores(
        {
            "results": path_text(results),
            "scores": "" if scores is None else path_text(scores),
            "dataset": None if dataset is None else (dataset[0], path_text(dataset[1])),
            "id": id or "",
            "score": score,
            "deviation": deviation or "",
            "group": group or "",
            "type": type or "",
            "direction": direction or "",
            "form": form,
            "features": list(features),
            "penalty": None if penalty is None else real_number("penalty", penalty),
            "observers": None if observers is None else integer("observers", observers),
            "folds": integer("folds", folds),
            "resamples": integer("resamples", resamples),
            "seed": seed_number(seed),
        }
    )
    for remark in remarks:
        warnings.warn(remark, FitWarning, stacklevel=2)
    return ScoreModel(text, [FittedRow(*row) for row in rows])


def predict(
    model: Union[ScoreModel, PathLike], numbers: Union[Coefficients, Mapping[str, float]]
) -> PredictedScore:
    """The opinion score that a model predicts for a comparison.

    Parameters
    ----------
    model : ScoreModel or path of its file
    numbers : Coefficients or mapping
        What `compare` returned, or numbers by the names of the model's features. They must come from a comparison of the
        model's fingerprint; that is not checked here.
    """
    return (model if isinstance(model, ScoreModel) else ScoreModel.read(model)).predict(numbers)

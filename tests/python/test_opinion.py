"""Opinion scores: fits and predictions."""

from __future__ import annotations

import csv
import json
import math
import pathlib
import random

import pytest

import likeness


@pytest.fixture()
def report(tmp_path: pathlib.Path) -> tuple[pathlib.Path, pathlib.Path]:
    """A report of 60 runs and scores of a known truth."""
    numbers = random.Random(4)
    lines: list[str] = []
    with open(tmp_path / "scores.csv", "w", newline="") as file:
        table = csv.writer(file)
        table.writerow(["id", "mos", "scene"])
        for run in range(1, 61):
            values = [numbers.uniform(0.3, 1) for _ in range(5)]
            lines += [repr(value) for value in values]
            table.writerow([run, 1 + 2 * values[1] + 3 * values[2] + numbers.gauss(0, 0.05), run % 6])
    (tmp_path / "For_fit.txt").write_text("\n".join(lines) + "\n")
    return tmp_path / "For_fit.txt", tmp_path / "scores.csv"


def test_a_fit_finds_the_truth_and_predicts(report: tuple[pathlib.Path, pathlib.Path], tmp_path: pathlib.Path) -> None:
    results, scores = report
    model = likeness.fit(
        results, scores, score="mos", group="scene", direction="higher-better", features=("lightness", "chroma")
    )
    parameters = model.document["parameters"]
    assert parameters["chroma"]["value"] == pytest.approx(3, abs=0.2)
    assert len(model.rows) == 60
    errors = [row.predicted - row.score for row in model.rows]
    rmse = math.sqrt(sum(error * error for error in errors) / len(errors))
    assert model.document["performance"]["rmse"]["value"] == pytest.approx(rmse, rel=1e-12)
    predicted = likeness.predict(model, likeness.Coefficients(1, 0.5, 0.5, 1, 1))
    assert predicted.score == pytest.approx(3.5, abs=0.1)
    assert predicted.low < predicted.score < predicted.high
    assert not predicted.outside
    model.write(tmp_path / "model.json")
    assert likeness.predict(tmp_path / "model.json", {"lightness": 0.5, "chroma": 0.5}) == predicted
    assert likeness.predict(model, {"lightness": 0.5, "chroma": 2}).outside
    assert json.loads((tmp_path / "model.json").read_text()) == model.document


def test_a_table_does_not_tell_the_direction(report: tuple[pathlib.Path, pathlib.Path]) -> None:
    results, scores = report
    with pytest.raises(ValueError, match="direction: higher-better or lower-better is wanted"):
        likeness.fit(results, scores, score="mos")


def test_what_cannot_be_is_a_value_error(report: tuple[pathlib.Path, pathlib.Path]) -> None:
    results, scores = report
    with pytest.raises(ValueError, match="no column 'score'"):
        likeness.fit(results, scores, direction="higher-better")
    with pytest.raises(ValueError, match="form: 'cubic'"):
        likeness.fit(results, scores, score="mos", direction="higher-better", form="cubic")
    with pytest.raises(ValueError, match="scores or dataset"):
        likeness.fit(results)
    model = likeness.fit(results, scores, score="mos", direction="higher-better", group="scene")
    with pytest.raises(ValueError, match="needs 'brightness'"):
        likeness.predict(model, {})

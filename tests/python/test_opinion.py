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


def made_predictions() -> tuple[list[float], list[float], list[float], list[str]]:
    """Scores, two predictions of which the first is better, and the scene of each row."""
    numbers = random.Random(9)
    scores = [numbers.uniform(1, 5) for _ in range(80)]
    close = [score + numbers.gauss(0, 0.2) for score in scores]
    far = [score + numbers.gauss(0, 0.8) for score in scores]
    return scores, close, far, [f"scene {row % 8}" for row in range(80)]


def test_agreement_is_that_of_the_fit(report: tuple[pathlib.Path, pathlib.Path]) -> None:
    results, scores = report
    model = likeness.fit(results, scores, score="mos", group="scene", direction="higher-better", resamples=300, seed=5)
    rows = model.rows
    found = likeness.agreement(
        [row.score for row in rows],
        [row.predicted for row in rows],
        groups=[int(row.id) % 6 for row in rows],
        resamples=300,
        seed=5,
    )
    told = model.document["performance"]
    for name in ("pearson", "spearman", "kendall", "rmse"):
        assert getattr(found, name).value == pytest.approx(told[name]["value"], rel=1e-8)
        assert getattr(found, name).low <= getattr(found, name).value <= getattr(found, name).high
    assert math.isnan(found.outlier_ratio.value)


def test_agreement_is_that_of_scipy() -> None:
    stats = pytest.importorskip("scipy.stats")
    scores, close, far, scenes = made_predictions()
    found = likeness.agreement(scores, close, allowed=[0.3] * 80, groups=scenes)
    assert found.pearson.value == pytest.approx(stats.pearsonr(scores, close)[0], rel=1e-12)
    assert found.spearman.value == pytest.approx(stats.spearmanr(scores, close)[0], rel=1e-12)
    assert found.kendall.value == pytest.approx(stats.kendalltau(scores, close)[0], rel=1e-12)
    assert found.outlier_ratio.value == sum(abs(a - b) > 0.3 for a, b in zip(scores, close)) / 80
    assert found == likeness.agreement(scores, close, allowed=[0.3] * 80, groups=scenes), "the seed decides"
    difference = likeness.compare_agreement(scores, close, far, groups=scenes)
    assert difference.rmse.high < 0 < difference.pearson.low
    assert difference.rmse.value == pytest.approx(
        found.rmse.value - likeness.agreement(scores, far, resamples=0).rmse.value, rel=1e-12
    )
    paired = likeness.pitman_test(scores, close, far)
    assert paired.t < 0 and paired.p < 1e-6 and paired.degrees_of_freedom == 78


def test_the_third_order_mapping() -> None:
    scores, close, _, _ = made_predictions()
    cubes = [value**3 for value in close]
    mapped = likeness.mapped_agreement(scores, cubes, intervals=[likeness.opinion_interval(0.8, 16)] * 80)
    assert mapped.pearson > 0.97 and mapped.rmse_star < mapped.rmse
    values = mapped.mapping(sorted(cubes))
    assert (values[1:] >= values[:-1] - 1e-12).all(), "it increases"
    assert mapped.mapping([[1e9, -1e9]]).tolist() == [[values[-1], values[0]]], "held beyond what it was made for"
    assert mapped.mapping.coefficients == likeness.monotone_cubic(cubes, scores).coefficients


def test_predictions_that_are_no_numbers_are_refused() -> None:
    with pytest.raises(ValueError, match="predicted: a value is not finite"):
        likeness.agreement([1, 2, 3], [1, math.nan, 3])
    with pytest.raises(ValueError, match="predicted: 3 values are wanted, one a row, not 2"):
        likeness.agreement([1, 2, 3], [1, 2])
    with pytest.raises(ValueError, match="groups: one a row is wanted"):
        likeness.agreement([1, 2, 3], [1, 2, 3], groups=["a"])
    with pytest.raises(ValueError, match="scores: an array of one dimension is wanted"):
        likeness.pitman_test([[1, 2]], [1, 2], [1, 2])
    with pytest.raises(ValueError, match="at least 2 observers"):
        likeness.opinion_interval(1, 1)
    with pytest.raises(ValueError, match="confidence"):
        likeness.agreement([1, 2, 3], [1, 2, 3], confidence=1.5)
    nothing = likeness.agreement([], [])
    assert all(math.isnan(figure.value) for figure in nothing)

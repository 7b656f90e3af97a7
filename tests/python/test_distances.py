"""Distances of pairs and sweeps over conditions: the numbers of the program."""

import csv
import io
import json
import math

import likeness
import numpy as np
import pytest
from conftest import made

FIELDS = ("wasserstein", "mean_shift", "kolmogorov_smirnov", "jensen_shannon_bits")


@pytest.fixture(scope="module")
def folder(tmp_path_factory):
    folder = tmp_path_factory.mktemp("distances")
    likeness.write(folder / "first.png", made(1, 70, 90))
    likeness.write(folder / "second.png", made(2, 50, 60, np.uint16), bits=16)
    mask = np.zeros((70, 90), np.uint8)
    mask[10:40, 20:70] = 255
    likeness.write(folder / "mask.png", np.repeat(mask[:, :, None], 3, axis=2))
    return folder


def check(printed, found):
    for name in likeness.Coefficients._fields:
        assert tuple(printed[name][field] for field in FIELDS) == tuple(getattr(found, name)), name


@pytest.mark.parametrize("model", ["likeness", "ciecam02", "ciecam16"])
@pytest.mark.parametrize("masked", [False, True])
def test_the_numbers_of_the_program(folder, darkroom, model, masked):
    arguments = ["--model", model, *(["--first-mask", "mask.png"] if masked else [])]
    published = model != "likeness"
    arguments += ["--sliced", "--seed", "7"] if published else []
    printed = json.loads(darkroom("compare", "first.png", "second.png", "--distances", "--json", *arguments, cwd=folder))
    found = likeness.compare_distances(
        folder / "first.png", folder / "second.png", model=model,
        first_mask=folder / "mask.png" if masked else None, sliced=published, seed=7,
    )  # fmt: skip
    check(printed["distances"], found)
    if published:
        assert printed["distances"]["uniform"] == found.uniform._asdict()
        assert printed["distances"]["sliced_wasserstein"] == found.sliced_wasserstein
    else:
        assert found.uniform is None and found.sliced_wasserstein is None


def test_arrays_and_analyses():
    first, second = made(1), made(2)
    whole = likeness.compare_distances(first, second, model="ciecam16")
    analyses = [likeness.analyze(photograph, model="ciecam16") for photograph in (first, second)]
    of_analyses = likeness.compare_distances(*analyses)
    assert of_analyses[:5] == whole[:5] and of_analyses.uniform is None
    assert likeness.compare_distances(analyses[0], second) == of_analyses
    assert likeness.compare_distances(first, first).chroma == (0, 0, 0, 0)
    back = likeness.compare_distances(second, first, model="ciecam16")
    assert back.lightness.mean_shift == -whole.lightness.mean_shift
    assert back.lightness.wasserstein == whole.lightness.wasserstein > 0


def test_the_directions_are_drawn_from_the_seed():
    def sliced(**options):
        return likeness.compare_distances(made(1), made(2), model="ciecam16", sliced=True, **options).sliced_wasserstein

    assert sliced() == sliced(seed=1, directions=64) != sliced(seed=2)
    assert sliced(directions=1) != sliced()
    for options in ({"directions": 0}, {"directions": 100001}, {"seed": -1}):
        with pytest.raises(ValueError):
            sliced(**options)


def test_empty_photographs_are_at_no_distance():
    nothing, pixel = np.zeros((0, 0, 3), np.uint8), np.full((1, 1, 3), 9, np.uint8)
    found = likeness.compare_distances(nothing, pixel, model="ciecam16")
    assert all(math.isnan(value) for value in found.lightness) and found.uniform is None
    assert likeness.compare_distances(pixel, pixel, model="ciecam16").uniform.total == 0


def test_what_has_no_distances_is_refused():
    photograph = made(1)
    analysis = likeness.analyze(photograph)
    half = np.full(photograph.shape[:2], 128, np.uint8)
    with pytest.raises(ValueError, match="under a published model only"):
        likeness.compare_distances(photograph, photograph, sliced=True)
    with pytest.raises(ValueError, match="not an analysis"):
        likeness.compare_distances(analysis, photograph, sliced=True)
    with pytest.raises(ValueError, match="different models"):
        likeness.compare_distances(analysis, likeness.analyze(photograph, model="ciecam16"))
    with pytest.raises(ValueError, match="first_mask"):
        likeness.compare_distances(analysis, photograph, first_mask=half)
    with pytest.raises(ValueError, match="cannot weigh"):
        likeness.compare_distances(photograph, photograph, mask=half, model="ciecam16")
    assert likeness.compare_distances(photograph, photograph, mask=half).chroma == (0, 0, 0, 0)


def test_a_sweep_has_the_numbers_of_the_program(folder, darkroom):
    lines = darkroom(
        "sweep", "first.png", "second.png", "--white", "srgb", "--white", "A", "--surround", "dim", "--surround", "dark",
        "--white-luminance", "5,80,1000", "--hue", cwd=folder,
    )  # fmt: skip
    printed = list(csv.DictReader(io.StringIO(lines)))
    points = likeness.sweep(
        folder / "first.png", folder / "second.png", whites=["srgb", "A"], surrounds=["dim", "dark"],
        white_luminances=[5, 80, 1000], hue="pixels",
    )  # fmt: skip
    assert len(printed) == len(points) == 12
    for line, point in zip(printed, points):
        assert (line["white"], line["surround"], float(line["white_luminance"])) == point[:3]
        assert float(line["adapting_luminance"]) == point.model.conditions.adapting_luminance
        for name, value in (*point.coefficients._asdict().items(), ("hue", point.hue)):
            assert np.float32(line[name]) == np.float32(value), (line, name)


def test_a_sweep_refuses_and_stops():
    photograph = made(1, 8, 8)
    for options in (
        {"model": "likeness"}, {"whites": ["blue"]}, {"whites": "srgb"}, {"surrounds": ["bright"]}, {"white_luminances": [0]},
        {"white_luminances": [float("nan")]}, {"white_luminances": range(1, 1200)},
    ):  # fmt: skip
        with pytest.raises(ValueError):
            likeness.sweep(photograph, photograph, **options)
    assert likeness.sweep(photograph, photograph, whites=[]) == []
    told = []
    with pytest.raises(likeness.Cancelled):
        likeness.sweep(photograph, photograph, progress=lambda done, total: told.append((done, total)) or done < 2)
    assert told == [(1, 117), (2, 117)]

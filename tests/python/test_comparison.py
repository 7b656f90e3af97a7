"""The numbers of a comparison are those of the program, from files, arrays and analyses."""

import concurrent.futures
import json
import os
import pickle
import shutil
import signal
import subprocess
import sys

import likeness
import numpy as np
import pytest
from conftest import made

fields = ("brightness", "lightness", "chroma", "colorfulness", "saturation")


def printed(darkroom, first, second, *options):
    result = json.loads(darkroom("compare", first, second, "--json", "--quiet", *options))
    return result["coefficients"]


def as_printed(coefficients):
    return {name: float(f"{value:.6g}") for name, value in coefficients._asdict().items()}


def same_numbers(coefficients, numbers):
    for name, value in zip(fields, coefficients):
        assert np.float32(value) == np.float32(numbers[name]), name


@pytest.mark.parametrize("pair", [("cat.jpg", "coffee.jpg"), ("rocket.jpg", "retina.jpg")])
@pytest.mark.parametrize("model", ["likeness", "ciecam16"])
def test_files_have_the_numbers_of_the_program(darkroom, photos, pair, model):
    first, second = (photos / name for name in pair)
    same_numbers(likeness.compare(first, second, model=model), printed(darkroom, first, second, "--model", model))


def test_a_profile_can_be_ignored(darkroom, photos):
    first, second = photos / "rocket.jpg", photos / "coffee.jpg"
    same_numbers(
        likeness.compare(str(first), str(second), profile="ignore"),
        printed(darkroom, first, second, "--ignore-profile"),
    )


def test_arrays_have_the_numbers_of_their_files(photos):
    first, second = photos / "cat.jpg", photos / "coffee.jpg"
    of_files = likeness.compare(first, second)
    assert likeness.compare(likeness.read(first), likeness.read(second)) == of_files
    assert likeness.compare(likeness.read(first), second) == of_files
    assert likeness.compare(likeness.analyze(first), likeness.read(second)) == of_files


def test_the_order_of_channels_is_rgb(photos):
    cat, coffee = likeness.read(photos / "cat.jpg"), likeness.read(photos / "coffee.jpg")
    assert likeness.compare(cat[..., ::-1], coffee[..., ::-1]).chroma != likeness.compare(cat, coffee).chroma


def test_analyses_are_kept_pickled_and_compared(photos):
    analysis = likeness.analyze(photos / "cat.jpg", hue="pixels")
    again = pickle.loads(pickle.dumps(analysis))
    assert again == analysis
    other = likeness.analyze(photos / "coffee.jpg", hue="pixels")
    assert likeness.compare(again, other) == likeness.compare(analysis, other)
    assert likeness.hue_coefficient(again, other) == likeness.hue_coefficient(analysis, other)
    assert analysis != other
    histogram = analysis.histogram("chroma")
    assert histogram.bins.dtype == np.int32 and (np.diff(histogram.bins) > 0).all()
    assert abs(float(histogram.probabilities.sum()) - 1) < 1e-5
    with pytest.raises(ValueError, match="'colour' is none of brightness"):
        analysis.histogram("colour")


def test_analyses_under_different_models_are_refused():
    photograph = made(1)
    with pytest.raises(ValueError, match="different models"):
        likeness.compare(likeness.analyze(photograph), likeness.analyze(photograph, model="ciecam16"))


def test_maps_are_those_of_the_program(darkroom, photos, tmp_path):
    darkroom("appearance", photos / "coffee.jpg", "-o", tmp_path, "--quiet")
    maps = likeness.appearance_maps(photos / "coffee.jpg")
    for name in fields:
        written = [path for path in tmp_path.glob("*.tif") if path.stem.endswith(name)]
        assert len(written) == 1, sorted(tmp_path.iterdir())
        skimage = pytest.importorskip("skimage.io")
        assert np.array_equal(skimage.imread(written[0]), getattr(maps, name), equal_nan=True), name


def test_pairs_are_those_of_a_batch(darkroom, photos, tmp_path):
    (tmp_path / "none.jpg").write_bytes(b"no image")
    shutil.copy(photos / "cat.jpg", tmp_path)
    pairs = [
        (tmp_path / "cat.jpg", photos / "coffee.jpg"),
        (tmp_path / "cat.jpg", tmp_path / "none.jpg"),
        (photos / "coffee.jpg", tmp_path / "cat.jpg"),
    ]
    (tmp_path / "list.csv").write_text("first,second\n" + "".join(f"{first},{second}\n" for first, second in pairs))
    subprocess.run(
        [os.environ["LIKENESS_DARKROOM"], "batch", "list.csv", "-o", "results.jsonl", "--quiet"], cwd=tmp_path
    )
    records = [json.loads(line) for line in (tmp_path / "results.jsonl").read_text().splitlines()]
    steps = []
    results = likeness.compare_pairs(pairs, progress=lambda done, total: steps.append((done, total)))
    assert steps == [(1, 3), (2, 3), (3, 3)]
    assert [result.error for result in results] == [record["error"] or None for record in records]
    for result, record in zip(results, records):
        if result.coefficients is not None:
            same_numbers(result.coefficients, record)


def test_a_call_can_be_cancelled():
    with pytest.raises(likeness.Cancelled):
        likeness.analyze(made(1), progress=lambda done, total: False)
    with pytest.raises(KeyError):
        likeness.analyze(made(1), progress=lambda done, total: {}[done])


def test_an_interrupt_ends_a_call():
    code = """
import likeness, numpy as np, os, signal
photograph = np.random.default_rng(1).integers(0, 256, (600, 800, 3), np.uint8)
def progress(done, total):
    if done == 1:
        os.kill(os.getpid(), signal.SIGINT)
try:
    likeness.exposure_stack(photograph, photograph, progress=progress)
except KeyboardInterrupt:
    print("interrupted")
"""
    done = subprocess.run([sys.executable, "-c", code], capture_output=True, text=True, env={**os.environ, "OMP_NUM_THREADS": "1"})
    assert done.stdout == "interrupted\n", done.stderr


def test_eight_threads_have_one_answer():
    photographs = [made(seed, 60, 80) for seed in range(8)]
    expected = [likeness.compare(photograph, photographs[0]) for photograph in photographs]
    with concurrent.futures.ThreadPoolExecutor(8) as pool:
        for _ in range(5):
            assert list(pool.map(lambda photograph: likeness.compare(photograph, photographs[0]), photographs)) == expected


@pytest.mark.skipif(not hasattr(os, "fork"), reason="there is no fork")
def test_a_forked_child_has_the_same_answer():
    first, second = made(1), made(2)
    expected = likeness.compare(first, second)
    child = os.fork()
    if child == 0:
        signal.alarm(20)
        os._exit(0 if likeness.compare(first, second) == expected else 1)
    assert os.waitpid(child, 0)[1] == 0


def test_a_file_that_cannot_be_read_is_refused_with_its_name(tmp_path):
    with pytest.raises(ValueError, match=r"^cannot read '.*nothing\.jpg': No such file or directory$"):
        likeness.compare(tmp_path / "nothing.jpg", tmp_path / "nothing.jpg")


def test_a_model_out_of_range_is_refused():
    with pytest.raises(ValueError):
        likeness.ComparisonModel("ciecam16", likeness.ViewingConditions(background=-1))
    with pytest.raises(ValueError, match="'ciecam97' is none of likeness, ciecam02, ciecam16"):
        likeness.compare(made(1), made(2), model="ciecam97")


def test_progress_may_call_an_operation_itself():
    """What runs on the same thread in the midst of a call has memory of its own."""
    random = np.random.default_rng(7)
    photograph = random.integers(0, 256, (300, 400, 3), np.uint8)
    others = [random.integers(0, 256, (size, size, 3), np.uint8) for size in (9, 600)]
    expected = likeness.analyze(photograph, maps=True).maps.chroma
    for other in others:
        found = likeness.analyze(photograph, maps=True, progress=lambda done, total: likeness.analyze(other, maps=True))
        assert np.array_equal(found.maps.chroma, expected)


def test_one_tile_has_the_numbers_of_the_whole(photos):
    cat, coffee = photos / "cat.jpg", photos / "coffee.jpg"
    found = likeness.compare_tiles(cat, coffee, tiles=1)
    assert found.coefficients == likeness.compare(cat, coffee)
    assert likeness.Coefficients(*(float(grid[0, 0]) for grid in found.maps)) == found.coefficients
    assert found.few.shape == (1, 1) and found.worst == (0, 0) and found.intervals is None


def test_tiles_are_those_of_the_program(darkroom, photos):
    first, second = photos / "cat.jpg", photos / "coffee.jpg"
    result = json.loads(darkroom("compare", first, second, "--json", "--tiles", "64px", "--stride", "32px"))
    found = likeness.compare_tiles(likeness.read(first), likeness.read(second), tile_pixels=64, stride=32)
    grid = result["tile_grid"]
    assert found.few.shape == (grid["rows"], grid["columns"])
    assert found.worst == (grid["worst"]["row"], grid["worst"]["column"])
    for tile in result["tiles"]:
        place = tile["row"], tile["column"]
        assert found.first[place].tolist() == [tile["first"][side] for side in ("x", "y", "width", "height")]
        same_numbers([grid[place] for grid in found.maps], tile["coefficients"])
    intervals = json.loads(darkroom("compare", first, second, "--json", "--interval", "--seed", "5"))["intervals"]
    found = likeness.compare_tiles(first, second, intervals=True, seed=5)
    for name, interval in found.intervals._asdict().items():
        assert np.float32(interval.low) == np.float32(intervals[name]["low"])
        assert np.float32(interval.high) == np.float32(intervals[name]["high"])
    with pytest.raises(ValueError, match="tiles"):
        likeness.compare_tiles(first, second, tiles=100000)
    with pytest.raises(likeness.Cancelled):
        likeness.compare_tiles(first, second, progress=lambda done, total: False)


def test_pixels_are_compared():
    first, second = made(1), made(2)
    found = likeness.pixel_differences(first, second)
    maps = [likeness.appearance_maps(photograph) for photograph in (first, second)]
    np.testing.assert_array_equal(found.chroma, maps[1].chroma - maps[0].chroma)
    white = likeness.xyz_from_srgb(np.ones(3))
    lab = [
        likeness.cie_lab_from_xyz(likeness.xyz_from_srgb(photograph / 255.0), white) for photograph in (first, second)
    ]
    np.testing.assert_allclose(found.ciede2000, likeness.ciede2000(*lab), atol=1e-4)
    assert found.uniform_model == "ciecam16"
    with pytest.raises(ValueError, match="one size"):
        likeness.pixel_differences(first, second[1:])


def test_explanations_are_those_of_the_program(darkroom, photos):
    first, second = photos / "cat.jpg", photos / "coffee.jpg"
    expected = json.loads(darkroom("compare", first, second, "--json", "--explain"))["explanation"]
    found = likeness.explain(first, second)
    for name in fields:
        change = getattr(found, name)
        assert change.sentence == expected[name]["sentence"]
        assert change.median_shift == pytest.approx(expected[name]["median_shift"], rel=1e-8)
        assert change.lost_bin.bin == expected[name]["lost_bin"]["bin"]
    assert found.white_sentence == expected["white"]["sentence"]

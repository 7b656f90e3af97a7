"""Archives from Python: the files and the numbers of `darkroom index`, `search` and `pairs`."""

import csv
import json
import threading

import likeness
import numpy as np
import pytest
from conftest import made


@pytest.fixture(scope="module")
def folder(tmp_path_factory):
    folder = tmp_path_factory.mktemp("photos")
    for number in range(8):
        photograph = made(number // 2, 40 + number, 50)
        likeness.write(folder / f"{number}.png", photograph)
    (folder / "none.png").write_bytes(b"no image")
    return folder


@pytest.fixture(scope="module")
def archive(folder):
    with pytest.warns(likeness.PhotographWarning, match="none.png"):
        made = likeness.index(folder, folder / "a.likeness")
    assert made == (9, 1, 9, 0, 0)
    return likeness.Archive(folder / "a.likeness")


def test_the_file_is_that_of_the_program(archive, folder, tmp_path):
    import os
    import subprocess

    if "LIKENESS_DARKROOM" not in os.environ:
        pytest.skip("LIKENESS_DARKROOM does not name the program")
    done = subprocess.run(
        [os.environ["LIKENESS_DARKROOM"], "index", folder, "-o", tmp_path / "b.likeness", "--quiet"],
        stderr=subprocess.PIPE,
    )
    assert done.returncode == 1, done.stderr
    assert (tmp_path / "b.likeness").read_bytes() == (folder / "a.likeness").read_bytes()


def test_entries_are_found_by_number_and_path(archive, folder):
    assert len(archive) == 9 and archive.paths == sorted(archive.paths)
    assert [entry.path for entry in archive] == archive.paths
    entry = archive[str(folder / "3.png")]
    assert entry == archive[3] == archive[-6] == archive[folder / "3.png"]
    assert (entry.height, entry.width, entry.pixels, entry.problem) == (43, 50, 43 * 50, None)
    assert entry.size == (folder / "3.png").stat().st_size and entry.modified == (folder / "3.png").stat().st_mtime_ns
    assert entry.analysis == likeness.analyze(folder / "3.png")
    assert archive[8].analysis is None and "none.png" in archive[8].path and archive[8].problem
    assert folder / "3.png" in archive and "nowhere" not in archive
    with pytest.raises(IndexError):
        archive[9]
    with pytest.raises(KeyError):
        archive["nowhere"]
    assert archive.check() == [] and archive.hue is None and "schema=" in archive.parameters
    assert archive.model == likeness.ComparisonModel()


@pytest.mark.parametrize(
    "asked, options",
    [
        ({}, []),
        ({"by": "least", "top": 3}, ["--by", "least", "--top", "3"]),
        ({"by": "chroma"}, ["--by", "chroma"]),
        ({"weights": {"brightness": 2, "saturation": 0.5}}, ["--weights", "brightness=2,saturation=0.5"]),
        ({"minimum": {"lightness": 0.9}}, ["--min", "lightness=0.9"]),
        ({"others": True}, ["--others"]),
    ],
)
def test_the_nearest_are_those_of_the_program(darkroom, archive, folder, asked, options):
    path = folder / "4.png"
    found = archive.nearest(path, **asked)
    results = json.loads(darkroom("search", folder / "a.likeness", path, "--json", "--quiet", *options))["results"]
    assert found and [hit.path for hit in found] == [result["path"] for result in results]
    for hit, result in zip(found, results):
        assert hit.score == result["score"]
        for name, value in hit.coefficients._asdict().items():
            assert np.float32(value) == np.float32(result[name])
        assert hit.coefficients == likeness.compare(path, hit.path)
        assert archive.paths[hit.entry] == hit.path
    if "others" not in asked:
        pixels = likeness.read(path)
        assert archive.nearest(likeness.analyze(path), **asked) == found
        assert archive.nearest(pixels, **asked) == found


def test_pairs_are_those_of_the_program(darkroom, archive, folder, tmp_path):
    def of_the_program(*options):
        name = tmp_path / "pairs.jsonl"
        darkroom("pairs", folder / "a.likeness", "-o", name, "--overwrite", "--quiet", *options)
        return [json.loads(line) for line in name.read_text().splitlines()]

    steps = []
    for found, options in (
        (archive.pairs(minimum=0.5, progress=lambda done, total: steps.append((done, total))), ["--min", "0.5"]),
        (archive.pairs(minimum={"chroma": 0.6}), ["--min", "chroma=0.6"]),
        (archive.neighbors(2), ["--nearest", "2"]),
        (archive.neighbours(1, by="least"), ["--nearest", "1", "--by", "least"]),
    ):
        records = of_the_program(*options)
        assert found and [(pair.first, pair.second) for pair in found] == [(r["first"], r["second"]) for r in records]
        for pair, record in zip(found, records):
            for name, value in pair.coefficients._asdict().items():
                assert np.float32(value) == np.float32(record[name])
    assert len(archive.pairs(archive, minimum=0)) == 64
    assert archive.pairs(minimum=1.0) == []


DISTANCES = ("wasserstein", "mean_shift", "kolmogorov_smirnov", "jensen_shannon_bits")


def test_distances_are_those_of_the_program(darkroom, archive, folder, tmp_path):
    path = folder / "4.png"
    found = archive.nearest(path, distances=True)
    results = json.loads(darkroom("search", folder / "a.likeness", path, "--json", "--quiet", "--distances"))["results"]
    assert found and len(found) == len(results)
    for hit, result in zip(found, results):
        for name, its in zip(likeness.Coefficients._fields, hit.distances):
            assert its._asdict() == {field: result["distances"][name][field] for field in DISTANCES}
        assert hit.distances == likeness.compare_distances(path, hit.path)[:5]
    assert [hit._replace(distances=None) for hit in found] == archive.nearest(path)

    darkroom("pairs", folder / "a.likeness", "-o", tmp_path / "p.jsonl", "--min", "0.5", "--distances", "--quiet")
    records = [json.loads(line) for line in (tmp_path / "p.jsonl").read_text().splitlines()]
    pairs = archive.pairs(minimum=0.5, distances=True)
    assert pairs and len(pairs) == len(records)
    for pair, record in zip(pairs, records):
        assert pair.distances == likeness.compare_distances(pair.first, pair.second)[:5]
        for name, its in zip(likeness.Coefficients._fields, pair.distances):
            for field, value in its._asdict().items():
                assert float(f"{value:.9g}") == float(record[f"{name}_{field}"])
    assert archive.neighbors(1, archive, distances=True)[0].distances is not None
    assert archive.pairs(minimum=0.5)[0].distances is None


def test_clusters_are_those_of_the_program(darkroom, archive, folder, tmp_path):
    for found, options in (
        (archive.clusters(minimum=0.9), ["--min", "0.9"]),
        (archive.clusters(minimum=0), ["--min", "0"]),
        (archive.clusters(minimum={"chroma": 0.6}, by="least"), ["--min", "chroma=0.6", "--by", "least"]),
        (archive.clusters(top=1), ["--nearest", "1"]),
    ):
        darkroom("pairs", folder / "a.likeness", "-o", tmp_path / "p.csv", "--clusters", tmp_path / "g.csv", "--overwrite",
                 "--quiet", *options)  # fmt: skip
        with open(tmp_path / "g.csv", newline="") as file:
            lines = list(csv.DictReader(file))
        told = [
            (str(number), str(len(cluster.paths)), "01"[path == cluster.representative], path, mean)
            for number, cluster in enumerate(found, 1)
            for path, mean in zip(cluster.paths, cluster.means)
        ]
        assert told == [(r["cluster"], r["size"], r["representative"], r["path"], float(r["mean"])) for r in lines]
        assert found
    assert archive.clusters(minimum=1.0) == []
    with pytest.raises(ValueError, match="minimum is required"):
        archive.clusters()
    with pytest.raises(ValueError, match="more than"):
        archive.clusters(minimum=0, most=1)
    with pytest.raises(likeness.Cancelled):
        archive.clusters(minimum=0, progress=lambda done, total: False)


def test_an_archive_is_brought_up_to_date(folder, tmp_path):
    output = tmp_path / "a"
    names = [folder / f"{number}.png" for number in range(3)]
    assert likeness.index(names[:2], output).added == 2
    with pytest.raises(ValueError, match="exists"):
        likeness.index(names, output)
    steps = []
    summary = likeness.index(names, output, update=True, progress=lambda done, total: steps.append((done, total)))
    assert summary == (3, 0, 1, 0, 0)
    assert likeness.index(names[1:], output, update=True) == (2, 0, 0, 0, 1)
    assert likeness.index(names, output, overwrite=True, model="ciecam16", hue="chroma").added == 3
    archive = likeness.Archive(output)
    assert archive.model == likeness.ComparisonModel("ciecam16") and archive.hue == "chroma"
    first, second = archive.nearest(names[0], top=2)
    assert first.hue == pytest.approx(1, abs=1e-6) and 0 <= second.hue <= 1
    analysis = likeness.analyze(names[0], model="ciecam16", hue="chroma")
    assert archive.nearest(analysis, top=2) == [first, second]
    assert archive.nearest(names[0], by="hue")[0].path == str(names[0])
    with pytest.raises(ValueError, match="model"):
        archive.nearest(likeness.analyze(names[0]))
    with pytest.raises(KeyError):
        likeness.index(names, tmp_path / "b", jobs=1, progress=lambda done, total: {}[done])


def test_arguments_are_checked(archive, folder, tmp_path):
    query = folder / "1.png"
    for asked in (
        {"top": 0},
        {"top": 1.5},
        {"top": True},
        {"by": "colour"},
        {"by": "hue"},
        {"weights": {}},
        {"weights": {"chroma": -1}},
        {"weights": {"colour": 1}},
        {"weights": {"hue": 1}},
        {"by": "chroma", "weights": {"chroma": 1}},
        {"minimum": 2},
        {"minimum": float("nan")},
        {"minimum": {"chroma": 1.5}},
        {"approximate": True},
        {"approximate": True, "by": "least"},
    ):
        with pytest.raises(ValueError):
            archive.nearest(query, **asked)
    with pytest.raises(ValueError, match="minimum"):
        archive.pairs()
    with pytest.raises(ValueError, match="most|pairs"):
        archive.pairs(minimum=0, most=3)
    with pytest.raises(likeness.Cancelled):
        archive.pairs(minimum=0, progress=lambda done, total: False)
    with pytest.raises(ValueError, match="cannot read"):
        archive.nearest(tmp_path / "nowhere.png")
    with pytest.raises(ValueError, match="cannot read"):
        archive.nearest(folder / "none.png")
    for path in (tmp_path / "nowhere", query):
        with pytest.raises(ValueError, match=path.name):
            likeness.Archive(path)
    with pytest.raises(ValueError, match="no photographs"):
        likeness.index([], tmp_path / "b")
    with pytest.raises(ValueError, match="overwrite"):
        likeness.index(query, tmp_path / "b", overwrite=True, update=True)


def test_threads_share_an_archive(archive, folder):
    expected = [archive.nearest(folder / f"{number}.png") for number in range(8)]
    found = [None] * 8

    def search(number):
        found[number] = archive.nearest(folder / f"{number}.png")

    threads = [threading.Thread(target=search, args=(number,)) for number in range(8)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert found == expected


def test_approximate_searches_have_the_same_numbers(folder, tmp_path):
    names = [folder / f"{number}.png" for number in range(8)]
    try:
        likeness.index(names, tmp_path / "a", approximate=True)
    except ValueError as problem:
        if "module" not in str(problem):
            raise
        pytest.skip("hnswlib is not there")
    archive = likeness.Archive(tmp_path / "a")
    assert archive.nearest(names[2], approximate=True) == archive.nearest(names[2])


def test_an_index_takes_profiles_as_compare_does(tmp_path):
    wide = made(3, 40, 50)
    likeness.write(tmp_path / "a.png", wide)
    likeness.write(tmp_path / "b.png", wide, profile="adobe-rgb")
    names = [tmp_path / "a.png", tmp_path / "b.png"]
    coefficients = {}
    for profile in ("embedded", "ignore", "adobe-rgb"):
        output = tmp_path / f"{profile}.likeness"
        assert likeness.index(names, output, profile=profile).photographs == 2
        first, second = (entry.analysis for entry in likeness.Archive(output))
        coefficients[profile] = likeness.compare(first, second)
        assert coefficients[profile] == likeness.compare(*names, profile=profile)
    assert coefficients["ignore"] != coefficients["embedded"]
    with pytest.raises(ValueError, match="profile"):
        likeness.index(names, tmp_path / "none", profile="no such profile")
    with pytest.raises(ValueError, match="parameters"):
        likeness.index(names, tmp_path / "embedded.likeness", update=True, profile="ignore")

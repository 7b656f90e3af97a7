"""Batches from Python, and on a Dask cluster: the bytes of `darkroom batch`."""

import os
import shutil
import signal
import subprocess
import sys
import time

import likeness
import numpy as np
import pytest
from conftest import root


@pytest.fixture()
def many_pairs(photos, tmp_path):
    """A list of small photographs, some of which cannot be read."""
    photograph = likeness.read(photos / "cat.jpg")[:120, :160]
    for number in range(12):
        tinted = photograph * np.array([1, 1 - number / 40, 0.9]) * (0.5 + number / 40)
        likeness.write(tmp_path / f"{number}.png", tinted.astype(np.uint8))
    (tmp_path / "none.png").write_bytes(b"no image")
    names = [f"{number}.png" for number in range(12)] + ["none.png", "missing.png"]
    lines = [f"{one}-{two},{tmp_path}/{one},{tmp_path}/{two},a note" for one in names for two in names]
    (tmp_path / "list.csv").write_text("id,first,second,note\n" + "\n".join(lines) + "\n")
    return tmp_path / "list.csv"


def of_the_program(pairs, name):
    done = subprocess.run(
        [os.environ["LIKENESS_DARKROOM"], "batch", pairs, "-o", name, "--quiet"], cwd=pairs.parent, stderr=subprocess.PIPE
    )
    assert done.returncode == 1, done.stderr
    return (pairs.parent / name).read_bytes()


@pytest.mark.parametrize("extension", ["csv", "jsonl"])
def test_results_are_those_of_the_program(darkroom, many_pairs, extension):
    steps = []
    output = many_pairs.parent / f"own.{extension}"
    summary = likeness.batch(many_pairs, output, progress=lambda done, total: steps.append((done, total)))
    assert output.read_bytes() == of_the_program(many_pairs, f"program.{extension}")
    assert (summary.pairs, summary.recorded, summary.done, summary.failed) == (196, 196, 196, 52)
    assert steps == sorted(steps) and steps[-1] == (196, 196)
    again = likeness.batch(many_pairs, output, resume=True)
    assert (again.done, again.failed) == (0, 52)


def test_parts_are_put_together(darkroom, many_pairs):
    folder = many_pairs.parent
    parts = [folder / f"part{index}.csv" for index in (1, 2, 3)]
    for index, part in enumerate(parts, 1):
        likeness.batch(many_pairs, part, shard=(index, 3))
    assert likeness.merge_results(reversed(parts), folder / "whole.csv") == 196
    assert (folder / "whole.csv").read_bytes() == of_the_program(many_pairs, "program.csv")
    with pytest.raises(ValueError, match="exists"):
        likeness.merge_results(parts, folder / "whole.csv")
    with pytest.raises(ValueError, match="shard"):
        likeness.batch(many_pairs, folder / "none.csv", shard=(4, 3))
    with pytest.raises(ValueError, match="exists"):
        likeness.batch(many_pairs, parts[0])


def test_a_run_can_be_ended_and_gone_on_with(darkroom, many_pairs):
    output = many_pairs.parent / "own.csv"
    with pytest.raises(likeness.Cancelled, match="resume"):
        likeness.batch(many_pairs, output, jobs=1, progress=lambda done, total: False)
    with pytest.raises(KeyError):
        likeness.batch(many_pairs, many_pairs.parent / "other.csv", progress=lambda done, total: {}[done])
    likeness.batch(many_pairs, output, resume=True)
    assert output.read_bytes() == of_the_program(many_pairs, "program.csv")


class Cluster:
    """A scheduler and two workers, each a process of its own."""

    def __init__(self, folder):
        self.folder = folder
        self.file = folder / "scheduler.json"
        self.environment = {**os.environ, "PYTHONPATH": os.pathsep.join(sys.path), "DASK_DISTRIBUTED__WORKER__DAEMON": "False"}
        self.processes = [self.start("distributed.cli.dask_scheduler", "--port", "0", "--no-dashboard")]
        deadline = time.monotonic() + 60
        while not self.file.exists() and time.monotonic() < deadline:
            time.sleep(0.1)
        self.workers = [self.worker(), self.worker()]

    def start(self, module, *arguments):
        return subprocess.Popen(
            [sys.executable, "-m", module, "--scheduler-file", self.file, *arguments],
            cwd=self.folder, env=self.environment, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
        )  # fmt: skip

    def worker(self):
        process = self.start("distributed.cli.dask_worker", "--nthreads", "1", "--no-nanny", "--no-dashboard")
        self.processes.append(process)
        return process

    def end(self):
        for process in self.processes:
            process.kill()
            process.wait()


def test_a_cluster_that_loses_workers_has_the_results_of_the_program(darkroom, many_pairs):
    distributed = pytest.importorskip("distributed")
    folder = many_pairs.parent
    expected = of_the_program(many_pairs, "program.jsonl")
    shutil.copy(root / "examples/dask_batch.py", folder / "dask_batch.py")
    cluster = Cluster(folder)
    try:
        with distributed.Client(scheduler_file=str(cluster.file), timeout=60) as client:
            client.wait_for_workers(2, timeout=60)
            address = client.scheduler.address
            script = subprocess.Popen(
                [sys.executable, "dask_batch.py", address, "list.csv", "own.jsonl", "8"],
                cwd=folder, env=cluster.environment, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True,
            )  # fmt: skip
            # One worker is killed as soon as it has begun, and another one takes its place.
            deadline = time.monotonic() + 60
            while not list(folder.glob("own.jsonl.parts/*.jsonl")) and time.monotonic() < deadline:
                time.sleep(0.02)
            cluster.workers[0].send_signal(signal.SIGKILL)
            cluster.worker()
            out, err = script.communicate(timeout=120)
            assert (script.returncode, out) == (1, "52 pairs failed\n"), err
    finally:
        cluster.end()
    assert (folder / "own.jsonl").read_bytes() == expected


@pytest.mark.parametrize("extension", ["csv", "jsonl"])
@pytest.mark.parametrize(
    "arguments, options",
    [
        ({"distances": True, "checksums": True}, ["--distances", "--checksums"]),
        ({"hue": "pixels", "isolate": True, "file_seconds": 60, "file_memory": 2**30},
         ["--hue", "--file-seconds", "60", "--file-memory", "1G"]),
    ],
)  # fmt: skip
def test_further_numbers_are_those_of_the_program(darkroom, many_pairs, arguments, options, extension):
    folder = many_pairs.parent
    likeness.batch(many_pairs, folder / f"own.{extension}", **arguments)
    done = subprocess.run(
        [os.environ["LIKENESS_DARKROOM"], "batch", many_pairs, "-o", f"program.{extension}", "--quiet", *options],
        cwd=folder, stderr=subprocess.PIPE,
    )  # fmt: skip
    assert done.returncode == 1, done.stderr
    assert (folder / f"own.{extension}").read_bytes() == (folder / f"program.{extension}").read_bytes()


def test_archives_and_models_serve_batches(darkroom, many_pairs):
    folder = many_pairs.parent
    likeness.batch(many_pairs, folder / "all.csv")
    scores = "".join(
        f"{one}.png-{two}.png,{5 - abs(one - two) / 3}\n" for one in range(12) for two in range(12)
    )
    (folder / "scores.csv").write_text("id,score\n" + scores)
    model = likeness.fit(folder / "all.csv", folder / "scores.csv", direction="higher-better", features=("chroma",))
    model.write(folder / "model.json")
    darkroom("index", folder / "0.png", folder / "1.png", "-o", folder / "some.likeness", "--quiet")
    likeness.batch(many_pairs, folder / "own.csv", predict=folder / "model.json", archive=folder / "some.likeness", check=True)
    subprocess.run(
        [os.environ["LIKENESS_DARKROOM"], "batch", many_pairs, "-o", "program.csv", "--quiet", "--predict", "model.json",
         "--archive", "some.likeness", "--check"], cwd=folder, stderr=subprocess.PIPE,
    )  # fmt: skip
    assert (folder / "own.csv").read_bytes() == (folder / "program.csv").read_bytes()
    assert "predicted" in (folder / "own.csv").read_text().splitlines()[0]
    with pytest.raises(ValueError, match="predict: .* was fitted to comparisons of the parameters"):
        likeness.batch(many_pairs, folder / "none.csv", predict=folder / "model.json", model="ciecam16")
    with pytest.raises(ValueError, match="archive: .* was made with other parameters"):
        likeness.batch(many_pairs, folder / "none.csv", archive=folder / "some.likeness", center_weighted=True)
    with pytest.raises(ValueError, match="check: there is no archive"):
        likeness.batch(many_pairs, folder / "none.csv", check=True)
    with pytest.raises(ValueError, match="limits of processes"):
        likeness.batch(many_pairs, folder / "none.csv", file_seconds=5)

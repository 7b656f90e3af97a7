"""The script that draws the ladders of docs/reading-scores.md."""

import csv
import os
import pathlib
import subprocess
import sys

import pytest

script = pathlib.Path(__file__).resolve().parents[2] / "examples/score_ladders.py"
document = script.parents[1] / "docs/reading-scores.md"


names_of_photographs = ("cat", "coffee", "retina", "rocket")


def ladders(photos, folder, *options):
    photographs = [photos / f"{name}.jpg" for name in names_of_photographs]
    subprocess.run([sys.executable, script, folder, *photographs, *options], check=True, env=os.environ)
    with open(folder / "ladders.csv", newline="", encoding="utf-8") as file:
        return list(csv.DictReader(file))


def test_every_ladder_is_drawn_and_falls(photos, tmp_path):
    rows = ladders(photos, tmp_path, "--side", "120", "--steps", "3")
    names = {row["ladder"] for row in rows}
    assert names == {"jpeg_quality", "exposure", "white_balance", "saturation", "hue_rotation", "noise", "blur", "size"}
    assert len(rows) == 8 * 3 * len(names_of_photographs)
    for name in names:
        text = (tmp_path / f"ladder_{name}.svg").read_text(encoding="utf-8")
        assert text.count("<polyline") == 5 * len(names_of_photographs)
    for row in rows:
        assert 0 <= float(row["lightness"]) <= 1.00001
        if (row["ladder"], row["step"]) in {("noise", "0"), ("blur", "0"), ("size", "1"), ("exposure", "0")}:
            assert float(row["brightness"]) == pytest.approx(1, abs=1e-5), row
    noise = {(row["photograph"], row["step"]): float(row["chroma"]) for row in rows if row["ladder"] == "noise"}
    for photograph in names_of_photographs:
        assert noise[photograph, "0"] > max(noise[photograph, "5"], noise[photograph, "40"])


def test_the_page_has_the_numbers_of_the_script(photos, tmp_path):
    rows = ladders(photos, tmp_path, "--ladder", "jpeg_quality", "--ladder", "exposure")
    text = document.read_text(encoding="utf-8")
    for name in ("jpeg_quality", "exposure"):
        assert (script.parents[1] / f"docs/images/ladder_{name}.svg").read_text(encoding="utf-8") == (
            tmp_path / f"ladder_{name}.svg"
        ).read_text(encoding="utf-8")
    steps = dict.fromkeys(row["step"] for row in rows if row["ladder"] == "exposure")
    for step in steps:
        least = [min(float(row[name]) for row in rows if (row["ladder"], row["step"]) == ("exposure", step))
                 for name in ("brightness", "lightness", "chroma", "colorfulness", "saturation")]
        assert f"| {step} | " + " | ".join(f"{value:.3f}" for value in least) + " |" in text, step

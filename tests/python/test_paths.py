"""What takes a photograph takes its path too, and gives what it gives for the pixels in the file."""

import concurrent.futures
import inspect
import os
import warnings

import likeness
import numpy as np
import pytest
from conftest import made


@pytest.fixture(scope="module")
def files(tmp_path_factory):
    """Two photographs of a size: 8 bits, and 16 bits in a profile that reading converts from."""
    folder = tmp_path_factory.mktemp("paths")
    likeness.write(folder / "first.png", made(1))
    likeness.write(folder / "second.png", made(2, dtype=np.float32), bits=16, profile="adobe-rgb")
    return folder / "first.png", folder / "second.png"


WHITE = (0.9, 1.0, 1.1)
TIMES = (0.1, 0.4)
CASES = {
    "adapt_to": lambda a, b: likeness.adapt_to(a, b),
    "adapt_to_d65": lambda a, b: likeness.adapt_to_d65(a),
    "align_to": lambda a, b: likeness.align_to(a, b),
    "analyze": lambda a, b: likeness.analyze(b).histogram("chroma"),
    "appearance_maps": lambda a, b: likeness.appearance_maps(b),
    "brighten": lambda a, b: likeness.brighten(b),
    "brighten_in_passes": lambda a, b: likeness.brighten_in_passes(b),
    "compare": lambda a, b: likeness.compare(a, b),
    "compare_distances": lambda a, b: likeness.compare_distances(a, b, model="ciecam16", sliced=True),
    "compare_tiles": lambda a, b: likeness.compare_tiles(a, b, tiles=2).maps,
    "explain": lambda a, b: likeness.explain(a, b),
    "exposure_stack": lambda a, b: likeness.exposure_stack(a, b),
    "fuse_exposures": lambda a, b: likeness.fuse_exposures([a, b]),
    "gray_world_white": lambda a, b: likeness.gray_world_white(b),
    "lab_from_rgb": lambda a, b: likeness.lab_from_rgb(b),
    "lalphabeta_from_rgb": lambda a, b: likeness.lalphabeta_from_rgb(b),
    "lightness_statistics": lambda a, b: likeness.lightness_statistics(b),
    "linear_from_rgb": lambda a, b: likeness.linear_from_rgb(b),
    "local_white": lambda a, b: likeness.local_white(b),
    "log_lms_from_rgb": lambda a, b: likeness.log_lms_from_rgb(b),
    "match_lightness": lambda a, b: likeness.match_lightness(a, b),
    "merge_bracket": lambda a, b: likeness.merge_bracket([a, a], TIMES),
    "merge_radiance": lambda a, b: likeness.merge_radiance([a, a], TIMES, np.ones((256, 3), np.float32)),
    "opponent_from_rgb": lambda a, b: likeness.opponent_from_rgb(b),
    "oriented_structure": lambda a, b: likeness.oriented_structure(b),
    "pixel_differences": lambda a, b: likeness.pixel_differences(a, b),
    "recover_camera_response": lambda a, b: likeness.recover_camera_response([a, a], TIMES),
    "sharpened_from_rgb": lambda a, b: likeness.sharpened_from_rgb(b),
    "smooth": lambda a, b: likeness.smooth(a, b),
    "sweep": lambda a, b: likeness.sweep(a, b, whites=["A"], surrounds=["dim"], white_luminances=[10, 100]),
    "tint": lambda a, b: likeness.tint(a, b),
    "to_unit": lambda a, b: likeness.to_unit(b),
    "transfer_colors": lambda a, b: likeness.transfer_colors(a, b, 0.5),
    "ColorTransfer": lambda a, b: likeness.ColorTransfer(a, b).apply_to(b, 0.5),
    "undo_adaptation": lambda a, b: likeness.undo_adaptation(b, WHITE, likeness.White.d65()),
    "undo_d65_adaptation": lambda a, b: likeness.undo_d65_adaptation(b, WHITE),
    "xyz_from_rgb": lambda a, b: likeness.xyz_from_rgb(b),
    "yuv_from_rgb": lambda a, b: likeness.yuv_from_rgb(b),
}


def same(one: object, other: object) -> bool:
    if isinstance(one, (tuple, list)):
        return len(one) == len(other) and all(map(same, one, other))
    if isinstance(one, (np.ndarray, float)):
        return np.array_equal(one, other, equal_nan=True)
    return one == other


class Named(os.PathLike):
    def __init__(self, path):
        self.path = path

    def __fspath__(self):
        return str(self.path)


@pytest.mark.parametrize("name", CASES)
def test_a_path_is_its_photograph(name, files):
    call = CASES[name]
    assert same(call(str(files[0]), Named(files[1])), call(*map(likeness.read, files)))


@pytest.mark.parametrize("name", CASES)
def test_what_cannot_be_read_is_named(name, tmp_path):
    (tmp_path / "torn.png").write_bytes(b"\x89PNG\r\n\x1a\n")
    for path in (tmp_path / "none.png", tmp_path / "torn.png", tmp_path):
        with pytest.raises(ValueError, match=f"cannot read '{path}'"):
            CASES[name](path, path)


TAKE_PHOTOGRAPHS = {"photograph", "flash", "moving", "exposures", "first", "second"}
OTHERS = {"cie_lab_from_xyz", "ciede2000", "compare_agreement", "hue_coefficient", "pitman_test", "uniform_difference"}


def test_no_function_is_forgotten():
    for name in likeness.__all__:
        value = getattr(likeness, name)
        if inspect.isfunction(value) and TAKE_PHOTOGRAPHS & set(inspect.signature(value).parameters):
            assert name in CASES or name in OTHERS, name


def test_one_path_is_no_sequence_of_exposures(files):
    with pytest.raises(ValueError, match="exposures: a sequence of photographs is wanted, not one path"):
        likeness.fuse_exposures(str(files[0]))


def test_what_is_no_photograph_is_no_path(files):
    for call in (likeness.rgb_from_lab, likeness.rgb_from_linear, likeness.tone_map):
        with pytest.raises(ValueError):
            call(str(files[0]))


def cut_off(photos, tmp_path):
    whole = (photos / "cat.jpg").read_bytes()
    path = tmp_path / "half.jpg"
    path.write_bytes(whole[: len(whole) * 3 // 5])
    return path


def test_what_decoders_say_is_a_remark_and_is_not_printed(photos, tmp_path, capfd):
    path = cut_off(photos, tmp_path)
    remark = "Premature end of JPEG file"
    assert remark in likeness.read_photograph(path).remarks[0]
    assert remark in likeness.analyze(path).remarks[0]
    with pytest.warns(likeness.PhotographWarning, match=remark):
        likeness.read(path)
    with pytest.warns(likeness.PhotographWarning, match=f"half.jpg': .*{remark}"):
        likeness.compare(path, photos / "cat.jpg")
    (result,) = likeness.compare_pairs([(path, photos / "cat.jpg")])
    assert remark in result.remarks[0]
    short = tmp_path / "short.hdr"
    short.write_bytes(b"#?RADIANCE\nFORMAT=32-bit_rle_rgbe\n\n-Y 40 +X 50\n")
    with pytest.raises(ValueError, match="cannot read"):
        likeness.read(short)
    out, err = capfd.readouterr()
    assert (out, err) == ("", "")


def test_eight_threads_have_the_remarks_of_their_own_file(photos, tmp_path, capfd):
    path = cut_off(photos, tmp_path)
    with concurrent.futures.ThreadPoolExecutor(8) as pool:
        analyses = list(pool.map(likeness.analyze, [path, photos / "cat.jpg"] * 24))
    assert [len(analysis.remarks) for analysis in analyses] == [1, 0] * 24
    assert capfd.readouterr().err == ""


def test_a_profile_alone_is_no_warning(photos):
    with warnings.catch_warnings():
        warnings.simplefilter("error")
        likeness.compare(photos / "rocket.jpg", photos / "cat.jpg")


def test_progress_and_its_end_are_those_of_files_too(photos):
    steps = []
    likeness.analyze(photos / "cat.jpg", progress=lambda done, total: steps.append((done, total)))
    assert steps == [(k, 4) for k in range(1, 5)]
    steps.clear()
    likeness.compare(photos / "cat.jpg", photos / "coffee.jpg", progress=lambda done, total: steps.append((done, total)))
    assert steps == [(k, 8) for k in range(1, 9)]
    with pytest.raises(likeness.Cancelled):
        likeness.compare(photos / "cat.jpg", photos / "coffee.jpg", progress=lambda done, total: done < 6)


def test_what_a_file_does_not_have_is_refused(photos, tmp_path):
    with pytest.raises(ValueError, match="layer: .*no OpenEXR"):
        likeness.read(photos / "cat.jpg", layer="a")
    with pytest.raises(ValueError, match="preview: .*no camera's raw file"):
        likeness.read(photos / "cat.jpg", preview=True)
    image = np.full((4, 5, 3), 0.5, np.float32)
    text = tmp_path / "a.csv"
    text.write_text("1,2")
    for source in (tmp_path / "nope.jpg", tmp_path, text):
        with pytest.raises(ValueError, match="source: "):
            likeness.write(tmp_path / "a.jpg", image, source=source)
    with pytest.raises(ValueError, match="bits: only a PNG"):
        likeness.write(tmp_path / "a.jpg", image, bits=16)
    with pytest.raises(ValueError, match="quality: .*without loss"):
        likeness.write(tmp_path / "a.png", image, quality=90)
    image[0, 0, 0] = np.nan
    with pytest.raises(ValueError, match="no numbers"):
        likeness.write(tmp_path / "a.hdr", image)
    assert sorted(tmp_path.iterdir()) == [text]
    likeness.write(tmp_path / "a.exr", image)
    assert np.isnan(likeness.read(tmp_path / "a.exr")[0, 0, 0])

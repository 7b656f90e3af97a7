"""Every operation has the bits of the program `darkroom`, which writes floats into TIFF files."""

import likeness
import numpy as np
import pytest
from conftest import made

skimage = pytest.importorskip("skimage.io")


@pytest.fixture(scope="module")
def bench(tmp_path_factory, darkroom):
    """A folder with two photographs, and what an operation of darkroom makes of them."""
    folder = tmp_path_factory.mktemp("operations")
    first, second = made(1, 70, 90), made(2, 70, 90)
    skimage.imsave(folder / "first.png", first, check_contrast=False)
    skimage.imsave(folder / "second.png", second, check_contrast=False)

    def run(*arguments):
        darkroom(*arguments, "-o", folder / "out.tif", "--depth", "float", "--quiet", cwd=folder)
        return skimage.imread(folder / "out.tif")

    return first, second, run


CASES = {
    "lab": (("convert", "first.png", "--to", "lab"), lambda a, b: likeness.lab_from_rgb(a)),
    "xyz": (("convert", "first.png", "--to", "xyz"), lambda a, b: likeness.xyz_from_rgb(a)),
    "yuv": (("convert", "first.png", "--to", "yuv"), lambda a, b: likeness.yuv_from_rgb(a)),
    "log-lms": (("convert", "first.png", "--to", "log-lms"), lambda a, b: likeness.log_lms_from_rgb(a)),
    "brighten": (("brighten", "first.png", "--factor", "9.5", "--pass", "1"), lambda a, b: likeness.brighten(a, 9.5)),
    "adapt": (("adapt", "first.png", "--like", "second.png"), lambda a, b: likeness.adapt_to(a, b)),
    "local": (("adapt", "first.png", "--like", "second.png", "--local"), lambda a, b: likeness.adapt_to(a, b, local=True)),
    "d65": (("adapt", "first.png", "--to", "d65"), lambda a, b: likeness.adapt_to_d65(a)),
    "smooth": (("smooth", "first.png", "--guide", "second.png", "--radius", "3"), lambda a, b: likeness.smooth(a, b, radius=3)),
    "color": (("smooth", "first.png", "--guide", "second.png", "--color"), lambda a, b: likeness.smooth(a, b, variant="color")),
    "transport": (
        ("smooth", "first.png", "--guide", "second.png", "--transport"),
        lambda a, b: likeness.smooth(a, b, variant="transport"),
    ),
    "transfer": (
        ("transfer", "first.png", "--palette", "second.png", "--t", "0.5"),
        lambda a, b: likeness.transfer_colors(a, b, 0.5).image,
    ),
    "match": (("match-brightness", "first.png", "--like", "second.png"), lambda a, b: likeness.match_lightness(a, b).image),
    "align": (("align", "first.png", "--to", "second.png"), lambda a, b: likeness.align_to(a, b).image),
    "structure": (("structure", "first.png"), lambda a, b: likeness.oriented_structure(a).strength),
    "tint": (("tint", "first.png", "--like", "second.png"), lambda a, b: likeness.tint(a, b)),
}


@pytest.mark.parametrize("name", CASES)
def test_bits_of_the_program(bench, name):
    first, second, run = bench
    arguments, call = CASES[name]
    written, made_here = run(*arguments), call(first, second)
    assert written.shape == made_here.shape
    assert np.array_equal(written, made_here, equal_nan=True), np.abs(written - made_here).max()


def test_there_and_back():
    photograph = made(3, dtype=np.float32)
    for there, back in (
        (likeness.linear_from_rgb, likeness.rgb_from_linear),
        (likeness.xyz_from_rgb, likeness.rgb_from_xyz),
        (likeness.lab_from_rgb, likeness.rgb_from_lab),
        (likeness.yuv_from_rgb, likeness.rgb_from_yuv),
        (likeness.sharpened_from_rgb, likeness.rgb_from_sharpened),
        (likeness.lalphabeta_from_rgb, likeness.rgb_from_lalphabeta),
    ):
        assert np.allclose(back(there(photograph)), photograph, atol=0.02), there.__name__


def test_a_white_goes_there_and_back():
    photograph = made(3, dtype=np.float32)
    white = likeness.White.from_chromaticity(0.4, 0.39)
    adapted = likeness.adapt_to_d65(photograph, white)
    assert np.abs(adapted - photograph).max() > 0.05
    assert np.allclose(likeness.undo_d65_adaptation(adapted, white), photograph, atol=1e-3)
    whites = np.broadcast_to(np.array(white, np.float32), photograph.shape)
    assert np.array_equal(likeness.adapt_to_d65(photograph, whites), adapted)
    assert likeness.adapt_to_d65(photograph, "smoothed").shape == photograph.shape


def test_a_gray_world_iteration_ends():
    photograph = made(4)
    estimate = likeness.gray_world_white(photograph)
    assert estimate.found and not estimate.converged
    assert likeness.gray_world_white(photograph, estimate).converged
    assert np.array_equal(likeness.adapt_to(made(1), estimate), likeness.adapt_to(made(1), photograph))


def test_local_white_follows_its_filter():
    photograph = made(4)
    guided = likeness.local_white(photograph)
    assert not np.array_equal(guided, likeness.local_white(photograph, filter="bilateral"))
    with pytest.raises(ValueError, match="'box' is none of guided, bilateral"):
        likeness.local_white(photograph, filter="box")


def test_a_transfer_serves_many_pictures():
    first, second, third = made(1), made(2), made(3)
    transfer = likeness.ColorTransfer(first, second)
    assert np.array_equal(transfer.at(1).image, likeness.transfer_colors(first, second).image)
    assert np.array_equal(transfer.apply_to(first, 0.5), transfer.at(0.5).image)
    assert transfer.apply_to(third).shape == third.shape
    assert transfer.map(1).matrix.shape == (3, 3)


def test_brackets():
    scene = made(5, 64, 64, np.float32)
    exposures = [np.clip(scene * gain, 0, 1) for gain in (0.4, 0.7, 1.0)]
    times = [0.4, 0.7, 1.0]
    bracket = likeness.merge_bracket(exposures, times)
    response = likeness.recover_camera_response(exposures, times)
    assert response.shape == (256, 3)
    assert np.array_equal(bracket.response, response)
    radiance = likeness.merge_radiance(exposures, times, response)
    assert np.array_equal(bracket.radiance, radiance)
    assert np.array_equal(bracket.tone_mapped, likeness.tone_map(radiance))
    assert likeness.fuse_exposures(exposures).shape == scene.shape
    with pytest.raises(ValueError):
        likeness.recover_camera_response(exposures, times[:2])


def test_an_exposure_stack_has_its_parts():
    stack = likeness.exposure_stack(made(1, 64, 64), made(2, 64, 64))
    assert [picture.shape for picture in stack.exposures] == [(64, 64, 3)] * 6
    assert len(stack.tinted) == 6 and stack.response.shape == (256, 3) and stack.fused.shape == (64, 64, 3)
    only = likeness.exposure_stack(made(1, 64, 64), made(2, 64, 64), version="tint-only")
    assert only.exposures == [] and only.radiance.size == 0 and len(only.tinted) == 1


def test_passes_of_brightening():
    passes = likeness.brighten_in_passes(made(1), 9.5)
    assert len(passes) == 6
    assert np.array_equal(passes[2], likeness.brighten(made(1), 9.5, pass_number=3))


def test_files_are_written_as_they_are_read(tmp_path):
    photograph = made(6)
    likeness.write(tmp_path / "eight.png", photograph)
    assert np.array_equal(likeness.read(tmp_path / "eight.png"), photograph)
    deep = made(6, dtype=np.uint16)
    likeness.write(tmp_path / "deep.png", deep, bits=16)
    again = likeness.read_photograph(tmp_path / "deep.png")
    assert again.bits == 16 and np.array_equal(again.image, deep)
    floats = made(6, dtype=np.float32)
    likeness.write(tmp_path / "floats.tif", floats)
    assert np.array_equal(likeness.read(tmp_path / "floats.tif"), floats)
    with pytest.raises(ValueError):
        likeness.write(tmp_path / "none.xyz", photograph)
    with pytest.raises(ValueError):
        likeness.write(tmp_path / "none.png", photograph, bits=12)
    assert sorted(path.name for path in tmp_path.iterdir()) == ["deep.png", "eight.png", "floats.tif"]


def test_a_wide_gamut_goes_through_a_file(tmp_path):
    photograph = made(6, dtype=np.float32)
    likeness.write(tmp_path / "p3.png", photograph, bits=16, profile="display-p3")
    again = likeness.read_photograph(tmp_path / "p3.png")
    assert again.profile_origin == "embedded" and np.allclose(again.image, photograph, atol=2e-4)


def test_every_depth_and_format_of_the_program_is_written(tmp_path):
    ramp = np.repeat(np.linspace(0.2, 0.8, 64, dtype=np.float32)[None, :, None], 48, axis=0).repeat(3, axis=2)
    written = [("a.tif", 16), ("b.tif", 8), ("a.png", 16)]
    for name, depth in written:
        likeness.write(tmp_path / name, ramp, depth=depth)
        again = likeness.read_photograph(tmp_path / name)
        assert again.bits == depth
        assert np.allclose(again.image / np.iinfo(again.image.dtype).max, ramp, atol=0.51 / (2**depth - 1))
    with pytest.warns(likeness.PhotographWarning, match="clipped"):
        likeness.write(tmp_path / "clipped.tif", 2 * ramp, depth=16)
    with pytest.raises(ValueError, match="depth"):
        likeness.write(tmp_path / "c.png", ramp, depth=12)
    with pytest.raises(ValueError, match="depth"):
        likeness.write(tmp_path / "c.png", ramp, depth="deep")
    with pytest.raises(ValueError, match="subsampling"):
        likeness.write(tmp_path / "c.png", ramp, subsampling="444")
    with pytest.raises(ValueError, match="subsampling"):
        likeness.write(tmp_path / "c.jpg", ramp, subsampling="411")
    assert not (tmp_path / "c.png").exists() and not (tmp_path / "c.jpg").exists()
    likeness.write(tmp_path / "fine.jpg", made(6), subsampling="444")
    likeness.write(tmp_path / "coarse.jpg", made(6), subsampling="420")
    assert (tmp_path / "fine.jpg").stat().st_size > (tmp_path / "coarse.jpg").stat().st_size


def test_linear_values_are_read_at_an_exposure(tmp_path):
    picture = made(6, dtype=np.float32) / 2
    likeness.write(tmp_path / "a.hdr", picture)
    plain, doubled = likeness.read(tmp_path / "a.hdr"), likeness.read(tmp_path / "a.hdr", exposure=1)
    linear = likeness.linear_from_rgb(plain)
    assert np.allclose(likeness.linear_from_rgb(doubled), 2 * linear, rtol=1e-4, atol=1e-6)
    for options in ({"exposure": 31}, {"exposure": float("nan")}, {"page": 0}, {"page": 2}):
        with pytest.raises(ValueError):
            likeness.read(tmp_path / "a.hdr", **options)

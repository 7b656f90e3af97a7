"""Parts of photographs: masks, and masked arrays of NumPy."""

import json

import numpy as np
import pytest

import likeness
from conftest import made


def mask_of(photograph: np.ndarray) -> np.ndarray:
    mask = np.zeros(photograph.shape[:2], bool)
    mask[5:20, 10:40] = True
    return mask


@pytest.mark.parametrize("dtype", [np.uint8, np.uint16, np.float32])
def test_a_mask_counts_the_pixels_alone(dtype):
    first, second = made(1, dtype=dtype), made(2, dtype=dtype)
    mask = mask_of(first)
    alone = likeness.compare(first[5:20, 10:40], second[5:20, 10:40])
    assert likeness.compare(first, second, first_mask=mask, second_mask=mask) == alone
    assert likeness.compare(first, second, first_mask=mask) == likeness.compare(first[5:20, 10:40], second)
    for wide in (mask * np.uint8(255), mask * np.uint16(65535), mask.astype(np.float32), mask.astype(np.float64)):
        assert likeness.compare(first, second, first_mask=wide, second_mask=wide) == alone
    everything = np.ones(first.shape[:2], bool)
    assert likeness.compare(first, second, first_mask=everything) == likeness.compare(first, second)


def test_masked_pixels_of_masked_arrays_do_not_count():
    first, second = made(1), made(2)
    mask = mask_of(first)
    masked = np.ma.masked_array(first, mask=np.repeat(~mask[:, :, None], 3, axis=2))
    assert likeness.compare(masked, second) == likeness.compare(first, second, first_mask=mask)
    one_channel = np.zeros(first.shape, bool)
    one_channel[:, :, 1] = ~mask
    assert likeness.analyze(np.ma.masked_array(first, mask=one_channel)) == likeness.analyze(first, mask=mask)
    assert likeness.analyze(np.ma.masked_array(first)) == likeness.analyze(first)
    other = np.zeros(first.shape[:2], np.uint8)
    other[10:, :] = 128
    both = np.where(mask, other, 0).astype(np.uint8)
    assert likeness.analyze(masked, mask=other) == likeness.analyze(first, mask=both)
    with pytest.raises(ValueError, match="no pixel of it counts"):
        likeness.analyze(np.ma.masked_array(first, mask=True))


def test_grey_weighs():
    photograph = made(3)
    mask = np.linspace(0, 1, photograph.shape[1]) * np.ones((photograph.shape[0], 1))
    weighted = likeness.analyze(photograph, mask=mask, maps=True)
    assert weighted.counted_pixels == pytest.approx(mask.sum(), rel=1e-4)
    bins, probabilities = weighted.histogram("lightness")
    weights = np.rint(mask * 65535)
    expected = np.bincount(np.floor(weighted.maps.lightness + 0.5).astype(int).ravel(), weights.ravel())
    assert np.array_equal(bins, np.flatnonzero(expected))
    assert np.allclose(probabilities, expected[bins] / expected.sum(), rtol=1e-6)
    assert weighted.maps.lightness.shape == photograph.shape[:2]


def test_statistics_are_of_the_part():
    photograph, other = made(1), made(4)
    mask = mask_of(photograph)
    crop = photograph[5:20, 10:40]
    assert likeness.gray_world_white(photograph, mask=mask) == likeness.gray_world_white(crop)
    part = likeness.lightness_statistics(photograph, mask=mask)
    assert part == pytest.approx(likeness.lightness_statistics(crop), rel=1e-5)
    match = likeness.match_lightness(photograph, other, mask=mask, reference_mask=mask)
    assert match.own == part
    assert match.wanted == likeness.lightness_statistics(other, mask=mask)
    assert match.image.shape == photograph.shape
    transfer = likeness.ColorTransfer(photograph, other, mask=mask, palette_mask=mask)
    expected = likeness.ColorTransfer(crop, other[5:20, 10:40]).map()
    assert np.allclose(transfer.map().matrix, expected.matrix, rtol=1e-4)
    assert np.allclose(transfer.map().input_mean, expected.input_mean, rtol=1e-4)


def test_wrong_masks_are_refused():
    photograph = made(1)
    with pytest.raises(ValueError, match="photograph: it is 64 x 48 pixels, and the weights of its pixels are 4 x 3"):
        likeness.analyze(photograph, mask=np.ones((3, 4), bool))
    with pytest.raises(ValueError, match="mask: its floats must be from 0 to 1"):
        likeness.analyze(photograph, mask=np.full((48, 64), 1.5))
    with pytest.raises(ValueError, match="mask: an array"):
        likeness.analyze(photograph, mask=np.ones((48, 64), np.int32))
    with pytest.raises(ValueError, match="first_mask: an analysis has been made already"):
        likeness.compare(likeness.analyze(photograph), photograph, first_mask=np.ones((48, 64), bool))


def test_files_have_masks_too(tmp_path, photos):
    photograph = likeness.read(photos / "cat.jpg")
    mask = np.zeros(photograph.shape, np.uint8)
    mask[50:150, 80:200] = 255
    likeness.write(tmp_path / "mask.png", mask)
    expected = likeness.compare(photograph[50:150, 80:200], photograph)
    assert likeness.compare(photos / "cat.jpg", photos / "cat.jpg", first_mask=tmp_path / "mask.png") == expected


def printed(text: str) -> list:
    coefficients = json.loads(text)["coefficients"]
    return [np.float32(coefficients[name]) for name in likeness.Coefficients._fields]


PARTS = [
    ({"regions": "25%,25%,50%,50%"}, ["--region", "25%,25%,50%,50%"]),
    (
        {"regions": [(10, 20, 100, 80), "ellipse:0,0,30%,40%"]},
        ["--region", "10,20,100,80", "--region", "ellipse:0,0,30%,40%"],
    ),
    ({"center_weighted": True}, ["--center-weighted"]),
    ({"regions": "0,0,50%,100%", "center_weighted": True}, ["--region", "0,0,50%,100%", "--center-weighted"]),
]


@pytest.mark.parametrize("arguments, options", PARTS)
def test_parts_are_those_of_the_program(darkroom, photos, arguments, options):
    first, second = photos / "cat.jpg", photos / "coffee.jpg"
    found = likeness.compare(first, second, **arguments)
    assert [np.float32(value) for value in found] == printed(darkroom("compare", first, second, *options, "--json"))
    pixels = likeness.read(first), likeness.read(second)
    assert likeness.compare(*pixels, **arguments) == found
    assert likeness.analyze(pixels[0], **arguments) == likeness.analyze(first, **arguments)
    assert likeness.compare(likeness.analyze(first, **arguments), likeness.analyze(second, **arguments)) == found
    (pair,) = likeness.compare_pairs([(first, second)], **arguments)
    assert pair.coefficients == found
    white = json.loads(darkroom("white", first, *options, "--json"))
    estimate = likeness.gray_world_white(pixels[0], **arguments)
    assert white["white_bgr"] == pytest.approx(estimate.rgb[::-1], rel=1e-8)
    for made_with_parts, made_without in (
        (likeness.match_lightness(*pixels, **arguments), likeness.match_lightness(*pixels)),
        (likeness.transfer_colors(*pixels, **arguments), likeness.transfer_colors(*pixels)),
    ):
        assert not np.array_equal(made_with_parts.image, made_without.image)
    by_class = likeness.ColorTransfer(*pixels, **arguments).at(1)
    assert np.array_equal(likeness.transfer_colors(*pixels, **arguments).image, by_class.image)


def test_masks_and_regions_multiply(darkroom, photos, tmp_path):
    photograph = likeness.read(photos / "cat.jpg")
    mask = np.zeros(photograph.shape, np.uint8)
    mask[:, : photograph.shape[1] // 2] = (np.arange(photograph.shape[1] // 2) % 256)[:, None]
    likeness.write(tmp_path / "mask.png", mask)
    arguments = {"regions": "10%,10%,60%,60%", "center_weighted": True}
    found = likeness.compare(photograph, photos / "cat.jpg", first_mask=mask, **arguments)
    options = ["--region", "10%,10%,60%,60%", "--center-weighted", "--first-mask", tmp_path / "mask.png"]
    assert [np.float32(value) for value in found] == printed(
        darkroom("compare", photos / "cat.jpg", photos / "cat.jpg", *options, "--json")
    )
    assert likeness.compare(photos / "cat.jpg", photos / "cat.jpg", first_mask=tmp_path / "mask.png", **arguments) == found
    assert likeness.compare(photos / "cat.jpg", photos / "cat.jpg", first_mask=mask, **arguments) == found


@pytest.mark.parametrize("alpha", ["use", "ignore", "over white", "over #804020", "over 1,2,3"])
def test_alpha_is_used_as_the_program_does(darkroom, photos, tmp_path, alpha):
    image = pytest.importorskip("PIL.Image")
    colors = likeness.read(photos / "cat.jpg")[:100, :120]
    opacity = np.repeat((np.arange(120) * 2).astype(np.uint8)[None, :], 100, axis=0)
    array = np.dstack([colors, opacity])
    image.fromarray(array).save(tmp_path / "alpha.png")
    other = photos / "coffee.jpg"
    found = likeness.compare(array, likeness.read(other), alpha=alpha)
    options = ["--alpha", *alpha.split(" ", 1)]
    assert [np.float32(value) for value in found] == printed(
        darkroom("compare", tmp_path / "alpha.png", other, *options, "--json")
    )
    assert likeness.compare(tmp_path / "alpha.png", other, alpha=alpha) == found
    as_floats = np.dstack([colors / 255, opacity / 255])
    if alpha in ("use", "ignore"):
        assert likeness.analyze(as_floats, alpha=alpha) == likeness.analyze(colors / 255, mask=opacity if alpha == "use" else None)
    with pytest.raises(ValueError, match=r"\(H, W, 3\)"):
        likeness.compare(array, array)


def test_batches_take_parts(darkroom, photos, tmp_path):
    (tmp_path / "list.csv").write_text(f"first,second\n{photos}/cat.jpg,{photos}/coffee.jpg\n")
    likeness.batch(tmp_path / "list.csv", tmp_path / "own.csv", regions=["25%,25%,50%,50%"], center_weighted=True)
    darkroom("batch", tmp_path / "list.csv", "-o", tmp_path / "program.csv", "--region", "25%,25%,50%,50%",
             "--center-weighted", "--quiet")  # fmt: skip
    assert (tmp_path / "own.csv").read_bytes() == (tmp_path / "program.csv").read_bytes()


@pytest.mark.parametrize(
    "arguments, sentence",
    [
        ({"regions": "1,2,3"}, "regions: '1,2,3' is not x,y,width,height"),
        ({"regions": [(0, 0, 0, 5)]}, "regions: '0,0,0,5': width and height must be above 0"),
        ({"regions": [(1000, 1000, 5, 5)]}, "regions: '1000,1000,5,5' holds no pixel of the photograph, which is 64 x 48"),
        ({"alpha": "over pink"}, "alpha: 'over pink' is not one of"),
        ({"alpha": 1}, "alpha: a text is wanted"),
        ({"mask": np.zeros((48, 64), bool), "center_weighted": True}, "no pixel of it counts"),
        ({"mask": np.ones((4, 4), bool), "center_weighted": True}, "mask: it is 4 x 4 pixels, and the photograph is 64 x 48"),
    ],
)
def test_wrong_parts_are_refused(arguments, sentence):
    with pytest.raises(ValueError, match=sentence):
        likeness.analyze(made(1), **arguments)


def test_where_and_why_look_at_what_counts(darkroom, tmp_path):
    first, second = made(1), made(2)
    mask = np.zeros(first.shape[:2], bool)
    mask[4:30, 8:50] = True
    parts = [np.ascontiguousarray(photograph[4:30, 8:50]) for photograph in (first, second)]
    for masked in ({"mask": mask}, {"regions": [(8, 4, 42, 26)]}, {"first_mask": mask, "second_mask": mask}):
        assert likeness.explain(first, second, **masked) == likeness.explain(*parts)
        found = likeness.compare_tiles(first, second, tiles=1, **masked)
        assert found.coefficients == likeness.compare(*parts)
        assert found.maps.chroma[0, 0] == np.float32(found.coefficients.chroma)
        differences = likeness.pixel_differences(first, second, **masked)
        np.testing.assert_array_equal(np.isnan(differences.ciede2000), ~mask)
        np.testing.assert_array_equal(differences.ciede2000[mask], likeness.pixel_differences(*parts).ciede2000.ravel())
    both = np.ma.masked_array(first, ~np.repeat(mask[:, :, None], 3, axis=2))
    other = np.ma.masked_array(second, ~np.repeat(mask[:, :, None], 3, axis=2))
    assert likeness.explain(both, other) == likeness.explain(*parts)
    for call in (likeness.compare_tiles, likeness.pixel_differences, likeness.explain):
        with pytest.raises(ValueError, match="excludes first_mask"):
            call(first, second, mask=mask, first_mask=mask)

"""Parts of photographs: masks, and masked arrays of NumPy."""

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

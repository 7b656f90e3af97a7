"""Arrays as they come: depths, strides, orders of bytes, and what is refused."""

import likeness
import numpy as np
import pytest
from conftest import made
from hypothesis import HealthCheck, given, settings
from hypothesis import strategies as st
from hypothesis.extra import numpy as arrays


@pytest.mark.parametrize("dtype", [np.uint8, np.uint16, np.float32, np.float64])
def test_every_depth_gives_its_own_answer(dtype):
    photograph = made(1, dtype=dtype)
    lab = likeness.lab_from_rgb(photograph)
    assert lab.dtype == np.float32 and lab.shape == photograph.shape and lab.flags.c_contiguous
    assert np.array_equal(lab, likeness.lab_from_rgb(likeness.to_unit(photograph)))


def strided(photograph):
    height, width, _ = photograph.shape
    yield "fortran", np.asfortranarray(photograph)
    wide = np.zeros((height, 2 * width, 3), photograph.dtype)
    wide[:, ::2] = photograph
    yield "every second column", wide[:, ::2]
    yield "upside down", photograph[::-1].copy()[::-1]
    yield "mirrored", photograph[:, ::-1].copy()[:, ::-1]
    yield "blue first", photograph[..., ::-1].copy()[..., ::-1]
    yield "planes", np.moveaxis(np.moveaxis(photograph, -1, 0).copy(), 0, -1)
    four = np.dstack([photograph, photograph[..., :1]])
    yield "of four channels", four[..., :3]
    yield "other bytes", photograph.astype(photograph.dtype.newbyteorder())
    read_only = photograph.copy()
    read_only.flags.writeable = False
    yield "read-only", read_only
    yield "a list", photograph.tolist() if photograph.dtype == np.float64 else photograph
    packed = np.zeros(photograph.nbytes + 1, np.uint8)
    unaligned = packed[1:].view(photograph.dtype).reshape(photograph.shape)
    unaligned[...] = photograph
    yield "unaligned", unaligned


@pytest.mark.parametrize("dtype", [np.uint8, np.uint16, np.float32, np.float64])
def test_any_strides_give_the_same_bits(dtype):
    photograph = made(2, dtype=dtype)
    expected = likeness.xyz_from_rgb(photograph)
    coefficients = likeness.compare(photograph, made(3))
    for name, array in strided(photograph):
        before = np.array(array)
        assert np.array_equal(likeness.xyz_from_rgb(array), expected), name
        assert likeness.compare(array, made(3)) == coefficients, name
        assert np.array_equal(before, np.array(array)), name


@pytest.mark.parametrize("size", [(48, 64), (700, 900)])
def test_photographs_lie_in_memory_in_either_order(size):
    first, second = made(1, *size), made(2, *size)
    expected = likeness.compare(first, second)

    def reversed_in_memory(photograph):
        return np.ascontiguousarray(photograph[..., ::-1])[..., ::-1]

    for one in (first, reversed_in_memory(first)):
        for other in (second, reversed_in_memory(second)):
            assert likeness.compare(one, other) == expected
            assert likeness.analyze(one) == likeness.analyze(first)
    padded = np.zeros((size[0], size[1] + 3, 3), np.uint8)
    padded[:, : size[1]] = first
    assert likeness.compare(padded[:, : size[1]], second) == expected


def test_results_can_be_written_and_outlive_their_arguments():
    photograph = made(1, dtype=np.float32)
    unit = likeness.to_unit(photograph)
    assert not np.shares_memory(unit, photograph)
    unit[...] = 0
    assert photograph.max() > 0
    lab = likeness.lab_from_rgb(photograph)
    del photograph
    lab += 1
    assert lab.flags.writeable and lab.flags.c_contiguous


@pytest.mark.parametrize(
    "array",
    [
        np.zeros((4, 4)),
        np.zeros((4, 4, 4)),
        np.zeros((4, 4, 1)),
        np.zeros((4, 4, 3), np.int32),
        np.zeros((4, 4, 3), np.int8),
        np.zeros((4, 4, 3), np.float16),
        np.zeros((4, 4, 3), bool),
        np.zeros((4, 4, 3), complex),
        np.zeros((2, 4, 4, 3)),
        np.zeros(3),
        np.array(None),
        np.array([["a"]]),
        np.ma.masked_array(np.zeros((4, 4, 3)), mask=True),
        [[1, 2], [3, 4]],
    ],
)
def test_other_arrays_are_refused_with_a_sentence(array):
    with pytest.raises(ValueError, match="^(photograph|first): "):
        likeness.lab_from_rgb(array)
    with pytest.raises(ValueError, match="^(photograph|first): "):
        likeness.compare(array, made(1))
    with pytest.raises(ValueError, match="^photograph: "):
        likeness.smooth(array)


@pytest.mark.parametrize("shape", [(0, 0, 3), (0, 5, 3), (5, 0, 3)])
def test_empty_photographs_give_empty_results(shape):
    empty = np.zeros(shape, np.uint8)
    assert likeness.lab_from_rgb(empty).size == 0
    assert likeness.smooth(empty).size == 0
    assert likeness.analyze(empty).histogram("chroma").bins.size == 0


def test_one_pixel_is_a_photograph():
    pixel = np.array([[[10, 200, 30]]], np.uint8)
    assert likeness.compare(pixel, pixel).brightness == 1
    assert likeness.smooth(pixel).shape == (1, 1, 3)


def test_nan_stays_in_its_pixel():
    photograph = made(1, dtype=np.float32)
    photograph[3, 4, 1] = np.nan
    xyz = likeness.xyz_from_rgb(photograph)
    assert np.isnan(xyz[3, 4]).all() and np.isnan(xyz).sum() == 3
    with pytest.raises(ValueError, match="finite"):
        likeness.smooth(photograph)


dtypes = st.sampled_from([np.uint8, np.uint16, np.float32, np.float64, np.int16, np.float16, ">f4", ">u2", bool])
shapes = st.one_of(
    st.tuples(st.integers(0, 9), st.integers(0, 9), st.just(3)),
    arrays.array_shapes(min_dims=0, max_dims=4, min_side=0, max_side=5),
)


@settings(max_examples=150, deadline=None, suppress_health_check=list(HealthCheck))
@given(data=st.data())
def test_any_array_is_answered_or_refused(data):
    array = data.draw(arrays.arrays(data.draw(dtypes), data.draw(shapes)))
    if array.ndim == 3 and data.draw(st.booleans()):
        array = array[:: data.draw(st.sampled_from([1, -1, 2])), :: data.draw(st.sampled_from([1, -1]))]
    for operation in (
        likeness.analyze,
        likeness.lab_from_rgb,
        likeness.rgb_from_lab,
        likeness.smooth,
        likeness.gray_world_white,
        likeness.oriented_structure,
        lambda image: likeness.compare(image, image),
        lambda image: likeness.transfer_colors(image, image),
        lambda image: likeness.match_lightness(image, image),
    ):
        try:
            operation(array)
        except ValueError as refused:
            assert "\n" not in str(refused)


@pytest.mark.parametrize(
    "call",
    [
        lambda p: likeness.compare_tiles(p, p, seed=-1, intervals=True),
        lambda p: likeness.compare_tiles(p, p, seed=1.5),
        lambda p: likeness.compare_tiles(p, p, tiles=(1, 2, 3)),
        lambda p: likeness.compare_tiles(p, p, tiles="4"),
        lambda p: likeness.compare_tiles(p, p, stride="half"),
        lambda p: likeness.compare_tiles(p, p, resamples=2**40, intervals=True),
        lambda p: likeness.compare_tiles(p, p, least_pixels=None),
        lambda p: likeness.compare_pairs([], jobs=-1),
        lambda p: likeness.compare_pairs([], jobs="all"),
        lambda p: likeness.brighten(p, "5"),
        lambda p: likeness.brighten(p, 5, pass_number=1.5),
        lambda p: likeness.adapt_to(p, p, degree=None),
        lambda p: likeness.tint(p, p, diameter=2**31),
        lambda p: likeness.smooth(p, radius=0.5),
        lambda p: likeness.align_to(p, p, levels=[1]),
        lambda p: likeness.oriented_structure(p, size="3"),
        lambda p: likeness.transfer_colors(p, p, "half"),
        lambda p: likeness.local_white(p, filter="bilateral", sigma="wide"),
        lambda p: likeness.recover_camera_response([p, p], ["1", "2"]),
        lambda p: likeness.fuse_exposures([p, p], likeness.FusionWeights(contrast="1")),
        lambda p: likeness.correlated_color_temperature("x", 0.3),
        lambda p: likeness.White.from_chromaticity(None, 0.3),
        lambda p: likeness.White.from_rgb("white"),
        lambda p: likeness.set_threads(1.5),
        lambda p: likeness.merge_results("x.csv", "y.csv"),
        lambda p: likeness.batch("none.csv", "none.db", jobs=1.5),
        lambda p: likeness.batch("none.csv", "none.db", shard=("1", 2)),
    ],
)
def test_bad_numbers_are_sentences(call):
    with pytest.raises(ValueError) as problem:
        call(np.full((16, 16, 3), 100, np.uint8))
    assert "incompatible" not in str(problem.value) and "\n" not in str(problem.value)


def test_a_path_with_a_nul_names_no_other_file(tmp_path):
    path = tmp_path / "a.png"
    likeness.write(path, made(1))
    for call in (
        lambda name: likeness.read(name),
        lambda name: likeness.compare(name, path),
        lambda name: likeness.compare_pairs([(path, name)]),
        lambda name: likeness.write(name, made(2)),
    ):
        with pytest.raises(ValueError, match="a path holds no NUL"):
            call(f"{path}\0x")
    assert np.array_equal(likeness.read(path), made(1))


def test_floats_that_are_no_shares_of_white_are_told():
    bytes_as_floats = made(1).astype(np.float32)
    with pytest.warns(likeness.PhotographWarning, match="the floats of an array reach"):
        likeness.compare(bytes_as_floats, made(2))
    with pytest.raises(ValueError, match="none of its values is a number"):
        likeness.compare(np.full((4, 4, 3), np.nan), made(2))


def test_what_a_file_cannot_hold_is_told_or_refused(tmp_path):
    picture = made(1, dtype=np.float32)
    picture[0, 0] = (1.5, -0.25, 0.5)
    with pytest.warns(likeness.PhotographWarning, match="2 of .* values lie outside of 0..1"):
        likeness.write(tmp_path / "a.png", picture)
    picture[0, 0, 2] = np.nan
    with pytest.raises(ValueError, match="values that are no numbers"):
        likeness.write(tmp_path / "b.png", picture)
    assert not (tmp_path / "b.png").exists()
    likeness.write(tmp_path / "b.tif", picture)


def test_a_pair_that_is_none_is_told_by_its_number():
    with pytest.raises(ValueError, match=r"pairs: number 1 is \('a.jpg',\), not two paths"):
        likeness.compare_pairs([("a.jpg", "b.jpg"), ("a.jpg",)])


def test_one_mask_is_for_both():
    first, second = made(1), made(2)
    mask = np.zeros(first.shape[:2], bool)
    mask[: first.shape[0] // 2] = True
    assert likeness.compare(first, second, mask=mask) == likeness.compare(first, second, first_mask=mask, second_mask=mask)
    with pytest.raises(ValueError, match="excludes first_mask"):
        likeness.compare(first, second, mask=mask, first_mask=mask)


def test_whites_on_the_scale_of_illuminants_are_refused():
    gray = np.full((2, 2, 3), 0.5, np.float32)
    for call in (likeness.adapt_to_d65, likeness.xyz_from_rgb, likeness.lab_from_rgb, likeness.undo_d65_adaptation):
        with pytest.raises(ValueError, match="white: its Y is 100"):
            call(gray, likeness.illuminants["A"])
        call(gray, np.array(likeness.illuminants["A"]) / 100)
    with pytest.raises(ValueError, match="scene: its Y is 100"):
        likeness.undo_adaptation(gray, likeness.White.d65(), likeness.illuminants["A"])


def test_floats_of_bytes_are_warned_of_everywhere():
    image = np.full((40, 40, 3), 200, np.float32)
    for call in (likeness.lab_from_rgb, likeness.smooth, likeness.local_white, likeness.analyze):
        with pytest.warns(likeness.PhotographWarning, match="reach 200"):
            call(image)


def test_empty_photographs_have_channels_and_a_type():
    empty = np.zeros((0, 0, 3), np.uint8)
    for result in (likeness.lab_from_rgb(empty), likeness.smooth(empty), likeness.adapt_to_d65(empty)):
        assert (result.shape, result.dtype) == ((0, 0, 3), np.float32)
    with pytest.raises(ValueError, match="at least one"):
        likeness.fuse_exposures([])


def test_numbers_that_are_none_do_not_count_as_white():
    image = np.full((4, 4, 3), 0.5, np.float32)
    image[1, 1] = np.nan
    for value in (image, np.full((2, 2, 3), np.inf, np.float32)):
        with pytest.raises(ValueError, match="-1e6 to 1e6"):
            likeness.lightness_statistics(value)


def test_arguments_of_wrong_types_have_a_sentence():
    gray = np.full((4, 4, 3), 128, np.uint8)
    for call, name in (
        (lambda: likeness.ViewingConditions(adapting_luminance="x"), "adapting_luminance"),
        (lambda: likeness.ViewingConditions(background="x"), "background"),
        (lambda: likeness.ViewingConditions(surround=(1, 2)), "surround"),
        (lambda: likeness.ComparisonModel(3), "kind"),
        (lambda: likeness.ComparisonModel("ciecam16", 5), "conditions"),
        (lambda: likeness.compare(gray, gray, model=5), "model"),
        (lambda: likeness.analyze(gray, hue=3), "hue"),
        (lambda: likeness.analyze(gray, hue="x"), "hue"),
        (lambda: likeness.smooth(gray, variant=3), "variant"),
        (lambda: likeness.read("a.jpg", profile=3), "profile"),
        (lambda: likeness.read("a.jpg", layer=3), "layer"),
        (lambda: likeness.read("a.jpg", exposure="x"), "exposure"),
        (lambda: likeness.ciede2000(np.zeros((2, 3)), np.zeros((4, 3))), "second"),
        (lambda: likeness.ciede2000([1, 2, 3], [1, 2, 3], k_l=0), "k_l"),
        (lambda: likeness.ScoreModel("nope"), "text"),
    ):
        with pytest.raises(ValueError, match=name):
            call()
    assert likeness.ViewingConditions(surround=(1, 0.69, 1)).surround == likeness.surrounds["average"]

"""Every function with the arrays and in the surroundings that stand beside the usual ones."""

import multiprocessing
from concurrent.futures import ThreadPoolExecutor

import numpy as np
import pytest
from conftest import made
from test_paths import CASES, same

SLOW = {"exposure_stack", "merge_bracket", "recover_camera_response"}
FIRST, SECOND = made(1), made(2)


def read_only(pixels):
    pixels = pixels.copy()
    pixels.flags.writeable = False
    return pixels


def strided(pixels):
    return np.repeat(np.repeat(pixels, 2, axis=0), 2, axis=1)[::2, ::2]


@pytest.mark.parametrize("name", CASES)
def test_the_same_values_in_another_array(name):
    first, second = FIRST, made(2, dtype=np.uint16)
    wanted = CASES[name](first, second)
    swapped = second.astype(second.dtype.newbyteorder())
    for one, other in ((read_only(first), swapped), (strided(first), np.asfortranarray(second))):
        assert same(CASES[name](one, other), wanted)
    assert np.array_equal(first, FIRST) and np.array_equal(second, made(2, dtype=np.uint16))


@pytest.mark.parametrize("name", CASES)
def test_odd_photographs_are_answered_or_refused(name):
    for odd in (
        np.zeros((0, 0, 3), np.uint8), np.zeros((0, 5, 3), np.float32), np.full((1, 1, 3), 7, np.uint8),
        np.full((4, 4, 3), 0.5), np.full((4, 4, 3), np.nan), np.zeros((4, 4), np.uint8), np.zeros((4, 4, 3), bool),
        np.zeros((4, 4, 3), np.int64), np.ma.masked_array(np.full((4, 4, 3), 9, np.uint8), mask=True),
    ):  # fmt: skip
        try:
            CASES[name](odd, odd)
        except ValueError as problem:
            assert str(problem)


@pytest.mark.parametrize("name", sorted(set(CASES) - SLOW))
def test_eight_threads_have_the_results_of_one(name):
    wanted = CASES[name](FIRST, SECOND)
    with ThreadPoolExecutor(8) as pool:
        results = list(pool.map(lambda _: CASES[name](FIRST, SECOND), range(8)))
    assert all(same(result, wanted) for result in results)


def in_a_child(name, pipe):
    pipe.send(CASES[name](FIRST[:16, :16], SECOND[:16, :16]))


@pytest.mark.parametrize("name", ["compare", "smooth", "adapt_to", "brighten"])
def test_a_fork_works_as_its_parent(name):
    wanted = CASES[name](FIRST[:16, :16], SECOND[:16, :16])
    here, there = multiprocessing.Pipe()
    child = multiprocessing.get_context("fork").Process(target=in_a_child, args=(name, there))
    child.start()
    assert here.poll(60), "the child stands still"
    assert same(here.recv(), wanted)
    child.join(10)
    assert child.exitcode == 0

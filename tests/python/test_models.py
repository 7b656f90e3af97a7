"""Published models from Python: printed examples, there and back, wrong conditions."""

import pickle

import likeness
import numpy as np
import pytest


def test_ciecam02_has_the_printed_values():
    # CIE 159:2004, the worked example of case 1.
    conditions = likeness.ViewingConditions((95.05, 100, 108.88), 318.31, 20, "average")
    look = likeness.AppearanceModel("ciecam02", conditions).correlates([19.01, 20.0, 21.78])
    assert round(look.lightness, 2) == 41.73 and round(look.chroma, 4) == 0.1047 and round(look.hue_degrees, 1) == 219.0


@pytest.mark.parametrize("kind", ["ciecam02", "ciecam16"])
@pytest.mark.parametrize("strength", ["chroma", "colorfulness", "saturation"])
def test_there_and_back(kind, strength):
    model = likeness.AppearanceModel(kind, "print-d50")
    xyz = likeness.xyz_from_srgb(np.random.default_rng(1).uniform(0.05, 1, (20, 10, 3)))
    look = model.correlates(xyz)
    again = model.colors(lightness=look.lightness, hue_degrees=look.hue_degrees, **{strength: getattr(look, strength)})
    assert np.allclose(again, xyz, rtol=1e-9)
    assert np.allclose(model.colors(brightness=look.brightness, chroma=look.chroma, hue_quadrature=look.hue_quadrature), xyz)


def test_images_have_the_correlates_of_their_colours():
    model = likeness.AppearanceModel("ciecam16")
    image = np.random.default_rng(2).uniform(0.05, 0.9, (5, 7, 3)).astype(np.float32)
    maps = model.correlate_maps(image)
    colors = model.correlates(image.astype(np.float64) * 100)
    for name in likeness.Correlates._fields:
        assert np.allclose(getattr(maps, name), getattr(colors, name), rtol=1e-6), name


def test_uniform_spaces():
    colorspacious = pytest.importorskip("colorspacious")
    xyz = np.random.default_rng(3).uniform(10, 80, (50, 3))
    space = colorspacious.CIECAM02Space(XYZ100_w="D65", Y_b=20, L_A=64 / np.pi / 5, surround=colorspacious.CIECAM02Surround.AVERAGE)
    expected = colorspacious.cspace_convert(xyz, "XYZ100", {"name": "J'a'b'", "ciecam02_space": space, "luoetal2006_space": colorspacious.CAM02UCS})
    white = tuple(float(v) for v in space.XYZ100_w)
    model = likeness.AppearanceModel("ciecam02", likeness.ViewingConditions(white, 64 / np.pi / 5, 20, "average"))
    look = model.correlates(xyz)
    uniform = likeness.uniform_colors(look.lightness, look.colorfulness, look.hue_degrees)
    assert np.allclose(uniform, expected, atol=1e-6)
    back = likeness.correlates_of_uniform(uniform)
    assert np.allclose(back[:, 0], look.lightness) and np.allclose(back[:, 1], look.colorfulness)
    assert likeness.uniform_difference(uniform[0], uniform[0]) == 0


def test_conditions_are_values():
    conditions = likeness.ViewingConditions.preset("srgb-display")
    assert conditions in likeness.condition_presets().values()
    assert pickle.loads(pickle.dumps(conditions)) == conditions
    model = likeness.AppearanceModel("ciecam16", conditions)
    again = pickle.loads(pickle.dumps(model))
    assert again.correlates([20, 20, 20]) == model.correlates([20, 20, 20])
    assert 0 < model.factors.degree_of_adaptation <= 1


def test_wrong_conditions_are_refused():
    for wrong in (
        {"white": (0, 0, 0)},
        {"white": (1, 2)},
        {"adapting_luminance": float("nan")},
        {"background": 300},
        {"surround": "bright"},
        {"surround": likeness.Surround(2, 0.5, 1)},
    ):
        with pytest.raises(ValueError):
            likeness.ViewingConditions(**wrong)
    with pytest.raises(ValueError, match="no conditions are called"):
        likeness.AppearanceModel("ciecam16", "moon")
    with pytest.raises(ValueError):
        likeness.AppearanceModel("likeness")
    with pytest.raises(ValueError, match="one of lightness, brightness is wanted"):
        likeness.AppearanceModel("ciecam16").colors(chroma=1, hue_degrees=2)


def test_differences_of_colours():
    # Sharma, Wu, Dalal (2005), pairs 1, 7 and 25.
    first = np.array([[50, 2.6772, -79.7751], [50, 0, 0], [60.2574, -34.0099, 36.2677]])
    second = np.array([[50, 0, -82.7485], [50, -1, 2], [60.4626, -34.1751, 39.4387]])
    assert likeness.ciede2000(first, second).round(4).tolist() == [2.0425, 2.3669, 1.2644]
    lab = likeness.cie_lab_from_xyz(likeness.xyz_from_srgb([0.2, 0.5, 0.7]), likeness.illuminants["D65"])
    again = likeness.srgb_from_xyz(likeness.xyz_from_cie_lab(lab, likeness.illuminants["D65"]))
    assert np.allclose(again, [0.2, 0.5, 0.7])


def test_temperatures():
    assert abs(likeness.correlated_color_temperature(*likeness.planckian_chromaticity(3000)).kelvin - 3000) < 5
    assert np.isnan(likeness.correlated_color_temperature(0.9, 0.9).kelvin)
    with pytest.raises(ValueError):
        likeness.daylight_chromaticity(1000)

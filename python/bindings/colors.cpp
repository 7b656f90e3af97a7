// Conversions among colour spaces, of images and of single colours.
#include "calls.hpp"

#include <likeness/color/bgr_xyz.hpp>
#include <likeness/color/cie_lab.hpp>
#include <likeness/color/correlated_color_temperature.hpp>
#include <likeness/color/illuminants.hpp>
#include <likeness/color/lab.hpp>
#include <likeness/color/lab_range.hpp>
#include <likeness/color/lms_lalphabeta.hpp>
#include <likeness/color/opponent.hpp>
#include <likeness/color/sharpened_rgb.hpp>
#include <likeness/color/srgb_companding.hpp>
#include <likeness/color/tristimulus.hpp>
#include <likeness/color/unit_image.hpp>
#include <likeness/color/white.hpp>
#include <likeness/color/yuv.hpp>

#include <pybind11/stl.h>

#include <array>
#include <optional>
#include <stdexcept>
#include <string>

namespace likeness::python {
namespace {

namespace py = pybind11;

using Conversion = cv::Mat (*)(const cv::Mat&);

void bindConversion(py::module_& module, const char* name, const char* argument, Channels in, Channels out,
                    Conversion conversion) {
    module.def(name, [argument, in, out, conversion](const py::array& array) {
        const cv::Mat image = imageOf(array, argument, in);
        return imageFrom(out, [&image, conversion] { return conversion(image); });
    });
}

/// An image under a white, or under the usual one.
template <typename Plain, typename UnderWhite>
void bindUnderWhite(py::module_& module, const char* name, const char* argument, Channels in, Channels out, Plain plain,
                    UnderWhite underWhite) {
    module.def(name, [=](const py::array& array, const std::optional<Triple>& white) {
        const cv::Mat image = imageOf(array, argument, in);
        return imageFrom(out, [&image, &white, plain, underWhite] {
            return white ? underWhite(image, whiteOf(*white)) : plain(image);
        });
    });
}

}  // namespace

void bindColors(py::module_& module) {
    constexpr Channels rgb = Channels::rgb;
    constexpr Channels same = Channels::same;

    bindConversion(module, "to_unit", "photograph", rgb, rgb, toUnit);
    bindConversion(module, "linear_from_rgb", "photograph", rgb, rgb, linearBgrFromBgr);
    bindConversion(module, "rgb_from_linear", "linear", rgb, rgb, bgrFromLinearBgr);
    bindConversion(module, "lab255_from_lab", "lab", same, same, lab255FromLab);
    bindConversion(module, "lab_from_lab255", "lab255", same, same, labFromLab255);
    bindConversion(module, "log_lms_from_rgb", "photograph", rgb, same, logLmsFromBgr);
    bindConversion(module, "rgb_from_log_lms", "log_lms", same, rgb, bgrFromLogLms);
    bindConversion(module, "lalphabeta_from_rgb", "photograph", rgb, same, lalphabetaFromBgr);
    bindConversion(module, "rgb_from_lalphabeta", "lalphabeta", same, rgb, bgrFromLalphabeta);
    bindConversion(module, "yuv_from_rgb", "photograph", rgb, same, yuvFromBgr);
    bindConversion(module, "rgb_from_yuv", "yuv", same, rgb, bgrFromYuv);
    bindConversion(module, "opponent_from_rgb", "photograph", rgb, same, opponentFromBgr);
    bindConversion(module, "sharpened_from_xyz", "xyz", same, rgb,
                   [](const cv::Mat& xyz) { return sharpenedFromXyz(xyz); });
    bindConversion(module, "xyz_from_sharpened", "sharpened", rgb, same, xyzFromSharpened);
    bindConversion(module, "sharpened_from_rgb", "photograph", rgb, rgb, sharpenedFromBgr);
    bindConversion(module, "rgb_from_sharpened", "sharpened", rgb, rgb, bgrFromSharpened);

    bindUnderWhite(
        module, "xyz_from_rgb", "photograph", rgb, same, [](const cv::Mat& image) { return xyzFromBgr(image); },
        [](const cv::Mat& image, const White& white) { return xyzFromBgr(image, white); });
    bindUnderWhite(
        module, "rgb_from_xyz", "xyz", same, rgb, [](const cv::Mat& image) { return bgrFromXyz(image); },
        [](const cv::Mat& image, const White& white) { return bgrFromXyz(image, white); });
    bindUnderWhite(
        module, "lab_from_rgb", "photograph", rgb, same, [](const cv::Mat& image) { return labFromBgr(image); },
        [](const cv::Mat& image, const White& white) { return labFromBgr(image, white); });
    bindUnderWhite(
        module, "rgb_from_lab", "lab", same, rgb, [](const cv::Mat& image) { return bgrFromLab(image); },
        [](const cv::Mat& image, const White& white) { return bgrFromLab(image, white); });

    module.def("white_d65", [] { return tripleOf(White::d65().xyz); });
    module.def("white_d50", [] { return tripleOf(White::d50().xyz); });
    module.def("white_from_rgb", [](const Triple& rgbWhite) {
        return tripleOf(White::fromBgr({rgbWhite[2], rgbWhite[1], rgbWhite[0]}).xyz);
    });
    module.def("white_from_chromaticity", [](double x, double y) {
        return tripleOf(White::fromChromaticity({x, y}).xyz);
    });
    module.def("lab_white_from_rgb", [](const Triple& rgbWhite) {
        return tripleOf(labWhiteFromBgr({rgbWhite[2], rgbWhite[1], rgbWhite[0]}).xyz);
    });

    // Single colours: each argument is the array's row.
    module.def("xyz_from_srgb", [](const Triple& color) {
        const Xyz xyz = xyzFromSrgb({color[0], color[1], color[2]});
        return Triple{xyz.x, xyz.y, xyz.z};
    });
    module.def("srgb_from_xyz", [](const Triple& xyz) { return tripleOf(srgbFromXyz({xyz[0], xyz[1], xyz[2]})); });
    module.def("cie_lab_from_xyz", [](const Triple& xyz, const Triple& white) {
        const CieLab lab = labFromXyz({xyz[0], xyz[1], xyz[2]}, {white[0], white[1], white[2]});
        return Triple{lab.lightness, lab.a, lab.b};
    });
    module.def("xyz_from_cie_lab", [](const Triple& lab, const Triple& white) {
        const Xyz xyz = xyzFromLab({lab[0], lab[1], lab[2]}, {white[0], white[1], white[2]});
        return Triple{xyz.x, xyz.y, xyz.z};
    });
    module.def("ciede2000", py::vectorize([](double l1, double a1, double b1, double l2, double a2, double b2,
                                             double kL, double kC, double kH) {
                   return ciede2000({l1, a1, b1}, {l2, a2, b2}, {kL, kC, kH});
               }));
    module.def("correlated_color_temperature", [](double x, double y) {
        const PlanckianNeighbor neighbor = correlatedColorTemperature({x, y});
        return std::array<double, 2>{neighbor.kelvin, neighbor.duv};
    });
    module.def("daylight_chromaticity", [](double kelvin) {
        const Chromaticity xy = daylightChromaticity(kelvin);
        return std::array<double, 2>{xy.x, xy.y};
    });
    module.def("planckian_chromaticity", [](double kelvin) {
        const Chromaticity xy = planckianChromaticity(kelvin);
        return std::array<double, 2>{xy.x, xy.y};
    });
    py::dict illuminants;
    for (const NamedWhite& named : standardIlluminants) {
        illuminants[py::str(std::string(named.name))] = Triple{named.white.x, named.white.y, named.white.z};
    }
    module.attr("illuminants") = illuminants;
}

}  // namespace likeness::python

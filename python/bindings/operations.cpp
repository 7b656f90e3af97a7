// Operations on photographs: whites, adaptation, exposure, structure, smoothing, transfer of colours.
#include "calls.hpp"

#include <likeness/adaptation/photograph_adaptation.hpp>
#include <likeness/adaptation/tint.hpp>
#include <likeness/adaptation/white_image.hpp>
#include <likeness/color/clipped_values.hpp>
#include <likeness/color/white_point.hpp>
#include <likeness/exposure/bracket.hpp>
#include <likeness/exposure/brightening.hpp>
#include <likeness/exposure/brightness_alignment.hpp>
#include <likeness/exposure/exposure_stack.hpp>
#include <likeness/filter/smoothing.hpp>
#include <likeness/structure/optical_flow_alignment.hpp>
#include <likeness/structure/structure_tensor.hpp>
#include <likeness/transport/color_transfer.hpp>

#include <pybind11/stl.h>

#include <array>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace likeness::python {
namespace {

namespace py = pybind11;

constexpr Channels rgb = Channels::rgb;
constexpr Channels same = Channels::same;

/// B, G, R as R, G, B, and the way back.
Triple reversed(const cv::Vec3d& v) {
    return {v[2], v[1], v[0]};
}

py::tuple clippedOf(const ClippedValues& clipped) {
    return py::make_tuple(clipped.pixels, clipped.below, clipped.above);
}

/// An optional image; empty for None.
cv::Mat imageOrNone(const py::object& array, const char* name) {
    return array.is_none() ? cv::Mat() : imageOf(array.cast<py::array>(), name, rgb);
}

std::vector<cv::Mat> imagesOf(const py::sequence& arrays, const char* name) {
    std::vector<cv::Mat> images;
    for (const py::handle array : arrays) {
        images.push_back(imageOf(array.cast<py::array>(), name, rgb));
    }
    return images;
}

py::list rgbArraysOf(std::vector<cv::Mat> images) {
    py::list arrays;
    for (cv::Mat& image : images) {
        arrays.append(rgbArrayOf(std::move(image)));
    }
    return arrays;
}

// (X, Y, Z), (R, G, B), (Y, U, V), found, converged

py::tuple tupleOf(const WhiteEstimate& estimate) {
    return py::make_tuple(tripleOf(estimate.white.xyz), reversed(estimate.bgr), tripleOf(estimate.yuv), estimate.found,
                          estimate.converged);
}

WhiteEstimate estimateOf(const py::tuple& estimate) {
    const auto xyz = estimate[0].cast<Triple>();
    const auto rgbWhite = estimate[1].cast<Triple>();
    const auto yuv = estimate[2].cast<Triple>();
    WhiteEstimate result{};
    result.white = whiteOf(xyz);
    result.bgr = {rgbWhite[2], rgbWhite[1], rgbWhite[0]};
    result.yuv = {yuv[0], yuv[1], yuv[2]};
    result.found = estimate[3].cast<bool>();
    result.converged = estimate[4].cast<bool>();
    return result;
}

[[noreturn]] void refuse(const char* option, const std::string& name, const char* names) {
    throw std::invalid_argument(std::string(option) + ": '" + name + "' is none of " + names);
}

void bindWhites(py::module_& module) {
    module.def("gray_world_white", [](const py::array& array, const std::optional<py::tuple>& previous,
                                      const py::object& mask, const py::object& progress) {
        const cv::Mat photograph = imageOf(array, "photograph", rgb);
        const PixelWeights weights = weightsOf(mask);
        if (previous && !mask.is_none()) {
            throw std::invalid_argument("previous: a white with a mask has no previous one");
        }
        const WhiteEstimate before = previous ? estimateOf(*previous) : WhiteEstimate{};
        const Watch watch = watchOf(progress);
        const WhiteEstimate* const given = previous ? &before : nullptr;
        return tupleOf(unlocked([&] {
            return mask.is_none() ? grayWorldWhite(photograph, given, watch)
                                  : grayWorldWhite(PhotographPart{photograph, weights}, watch);
        }));
    });
    module.def("local_white", [](const py::array& array, const std::string& filter, double sigma, int diameter,
                                 const py::object& progress) {
        LocalWhiteOptions options;
        if (filter == "bilateral") {
            options.filter = WhiteFilter::bilateral;
        } else if (filter != "guided") {
            refuse("filter", filter, "guided, bilateral");
        }
        options.sigma = sigma;
        options.diameter = diameter;
        const cv::Mat photograph = imageOf(array, "photograph", rgb);
        const Watch watch = watchOf(progress);
        return imageFrom(rgb, [&] { return localWhite(photograph, options, watch); });
    });
}

void bindAdaptation(py::module_& module) {
    module.def("adapt_to_d65", [](const py::array& array, const Triple& white, const py::object& progress) {
        const cv::Mat photograph = imageOf(array, "photograph", rgb);
        const Watch watch = watchOf(progress);
        return imageFrom(rgb, [&] { return adaptToD65(photograph, whiteOf(white), watch); });
    });
    module.def("adapt_to_d65_from_whites",
               [](const py::array& array, const py::array& whites, const py::object& progress) {
                   const cv::Mat photograph = imageOf(array, "photograph", rgb);
                   const cv::Mat whiteXyz = imageOf(whites, "white", same);
                   const Watch watch = watchOf(progress);
                   return imageFrom(rgb, [&] { return adaptToD65(photograph, whiteXyz, watch); });
               });
    module.def("adapt_to_d65_by_pixel",
               [](const py::array& array, const std::string& white, const py::object& progress) {
                   if (white != "smoothed" && white != "own") {
                       refuse("white", white, "smoothed, own");
                   }
                   const PixelWhite kind = white == "own" ? PixelWhite::own : PixelWhite::smoothed;
                   const cv::Mat photograph = imageOf(array, "photograph", rgb);
                   const Watch watch = watchOf(progress);
                   return imageFrom(rgb, [&] { return adaptToD65(photograph, kind, watch); });
               });
    module.def("undo_d65_adaptation", [](const py::array& array, const Triple& white, const py::object& progress) {
        const cv::Mat photograph = imageOf(array, "photograph", rgb);
        const Watch watch = watchOf(progress);
        return imageFrom(rgb, [&] { return undoD65Adaptation(photograph, whiteOf(white), watch); });
    });
    module.def("undo_d65_adaptation_to_whites",
               [](const py::array& array, const py::array& whites, const py::object& progress) {
                   const cv::Mat photograph = imageOf(array, "photograph", rgb);
                   const cv::Mat whiteXyz = imageOf(whites, "white", same);
                   const Watch watch = watchOf(progress);
                   return imageFrom(rgb, [&] { return undoD65Adaptation(photograph, whiteXyz, watch); });
               });
    module.def("undo_adaptation", [](const py::array& array, const Triple& adaptedTo, const Triple& scene,
                                     const py::object& progress) {
        const cv::Mat photograph = imageOf(array, "photograph", rgb);
        const Watch watch = watchOf(progress);
        return imageFrom(rgb, [&] { return undoAdaptation(photograph, whiteOf(adaptedTo), whiteOf(scene), watch); });
    });

    const auto adaptOptions = [](double degree, const py::object& leftOut, bool local, double blend) {
        AdaptOptions options;
        options.degree = degree;
        options.leftOut = leftOut.is_none() ? cv::Mat() : planeOf(leftOut.cast<py::array>(), "left_out");
        options.local = local;
        options.blend = blend;
        return options;
    };
    module.def("adapt_to",
               [adaptOptions](const py::array& array, const py::array& like, double degree, const py::object& leftOut,
                              bool local, double blend, const py::object& progress) {
                   const cv::Mat photograph = imageOf(array, "photograph", rgb);
                   const cv::Mat other = imageOf(like, "like", rgb);
                   const AdaptOptions options = adaptOptions(degree, leftOut, local, blend);
                   const Watch watch = watchOf(progress);
                   return imageFrom(rgb, [&] { return adaptTo(photograph, other, options, watch); });
               });
    module.def("adapt_to_light",
               [adaptOptions](const py::array& array, const py::tuple& light, double degree, const py::object& leftOut,
                              bool local, double blend, const py::object& progress) {
                   const cv::Mat photograph = imageOf(array, "photograph", rgb);
                   const WhiteEstimate estimate = estimateOf(light);
                   const AdaptOptions options = adaptOptions(degree, leftOut, local, blend);
                   const Watch watch = watchOf(progress);
                   return imageFrom(rgb, [&] { return adaptTo(photograph, estimate, options, watch); });
               });
    module.def("tint", [](const py::array& flash, const py::array& noFlash, const std::string& form, double sigma,
                          int diameter, const py::object& progress) {
        TintOptions options;
        if (form == "regression") {
            options.form = TintForm::regression;
        } else if (form != "gain") {
            refuse("form", form, "gain, regression");
        }
        options.sigma = sigma;
        options.diameter = diameter;
        const cv::Mat withFlash = imageOf(flash, "flash", rgb);
        const cv::Mat without = imageOf(noFlash, "no_flash", rgb);
        const Watch watch = watchOf(progress);
        return imageFrom(rgb, [&] { return tint(withFlash, without, options, watch); });
    });
}

ToneMapOptions toneMapOptionsOf(const std::array<float, 5>& values) {
    ToneMapOptions options;
    options.gamma = values[0];
    options.contrast = values[1];
    options.saturation = values[2];
    options.spaceSigma = values[3];
    options.colorSigma = values[4];
    return options;
}

FusionOptions fusionOptionsOf(const Triple& values) {
    FusionOptions options;
    options.contrast = values[0];
    options.saturation = values[1];
    options.exposedness = values[2];
    return options;
}

/// The response of a camera, (256, 3) in R, G, B, and the way back.
py::array responseArray(cv::Mat response) {
    py::array image = rgbArrayOf(std::move(response));
    return image.size() == 0 ? image : py::array(image.attr("reshape")(256, 3));
}

cv::Mat responseOf(const py::array& array) {
    return imageOf(py::array(array.attr("reshape")(-1, 1, 3)), "response", rgb);
}

py::tuple tupleOf(const LightnessStatistics& statistics) {
    return py::make_tuple(statistics.mean, statistics.deviation);
}

void bindBrightening(py::module_& module) {
    module.def("brighten", [](const py::array& array, double factor, int pass, const py::object& progress) {
        const cv::Mat photograph = imageOf(array, "photograph", rgb);
        const Watch watch = watchOf(progress);
        return imageFrom(rgb, [&] { return brighten(photograph, {factor, pass}, watch); });
    });
    module.def("brighten_in_passes", [](const py::array& array, double factor, const py::object& progress) {
        const cv::Mat photograph = imageOf(array, "photograph", rgb);
        const Watch watch = watchOf(progress);
        return rgbArraysOf(unlocked([&] { return brightenInPasses(photograph, {factor, 1}, watch); }));
    });
    module.def("lightness_statistics", [](const py::array& array, const py::object& mask) {
        const PhotographPart photograph{imageOf(array, "photograph", rgb), weightsOf(mask)};
        return tupleOf(unlocked([&] { return lightnessStatisticsOf(photograph); }));
    });
    module.def("match_lightness", [](const py::array& array, const py::array& reference, const py::object& mask,
                                     const py::object& referenceMask, const py::object& progress) {
        const PhotographPart photograph{imageOf(array, "photograph", rgb), weightsOf(mask)};
        const PhotographPart wanted{imageOf(reference, "reference", rgb), weightsOf(referenceMask)};
        const Watch watch = watchOf(progress);
        LightnessMatch match = unlocked([&] { return matchLightness(photograph, wanted, watch); });
        return py::make_tuple(rgbArrayOf(std::move(match.image)), tupleOf(match.own), tupleOf(match.wanted),
                              tupleOf(match.reached), clippedOf(match.clipped));
    });
}

void bindBrackets(py::module_& module) {
    module.def("fuse_exposures", [](const py::sequence& arrays, const Triple& weights, const py::object& progress) {
        const std::vector<cv::Mat> exposures = imagesOf(arrays, "exposures");
        const Watch watch = watchOf(progress);
        return imageFrom(rgb, [&] { return fuseExposures(exposures, fusionOptionsOf(weights), watch); });
    });
    module.def("recover_camera_response",
               [](const py::sequence& arrays, const std::vector<float>& times, const py::object& progress) {
                   const std::vector<cv::Mat> exposures = imagesOf(arrays, "exposures");
                   const Watch watch = watchOf(progress);
                   return responseArray(unlocked([&] { return recoverCameraResponse(exposures, times, watch); }));
               });
    module.def("merge_radiance", [](const py::sequence& arrays, const std::vector<float>& times,
                                    const py::array& response, const py::object& progress) {
        const std::vector<cv::Mat> exposures = imagesOf(arrays, "exposures");
        const cv::Mat curve = responseOf(response);
        const Watch watch = watchOf(progress);
        return imageFrom(rgb, [&] { return mergeRadiance(exposures, times, curve, watch); });
    });
    module.def("tone_map", [](const py::array& array, const std::array<float, 5>& options, const py::object& progress) {
        const cv::Mat radiance = imageOf(array, "radiance", rgb);
        const Watch watch = watchOf(progress);
        return imageFrom(rgb, [&] { return toneMap(radiance, toneMapOptionsOf(options), watch); });
    });
    module.def("merge_bracket", [](const py::sequence& arrays, const std::vector<float>& times,
                                   const std::array<float, 5>& toneMapping, const Triple& weights,
                                   const py::object& progress) {
        const std::vector<cv::Mat> exposures = imagesOf(arrays, "exposures");
        const BracketOptions options{toneMapOptionsOf(toneMapping), fusionOptionsOf(weights)};
        const Watch watch = watchOf(progress);
        Bracket bracket = unlocked([&] { return mergeBracket(exposures, times, options, watch); });
        return py::make_tuple(responseArray(std::move(bracket.response)), rgbArrayOf(std::move(bracket.radiance)),
                              rgbArrayOf(std::move(bracket.toneMapped)), rgbArrayOf(std::move(bracket.fused)));
    });
    module.def("exposure_stack", [](const py::array& flash, const py::array& noFlash, const std::string& version,
                                    double brightness, int iterations, const py::object& progress) {
        StackOptions options;
        if (version == "tinted-first") {
            options.version = StackVersion::tintedFirst;
        } else if (version == "tint-only") {
            options.version = StackVersion::tintOnly;
        } else if (version != "full") {
            refuse("version", version, "full, tinted-first, tint-only");
        }
        options.brightness = brightness;
        options.iterations = iterations;
        const cv::Mat withFlash = imageOf(flash, "flash", rgb);
        const cv::Mat without = imageOf(noFlash, "no_flash", rgb);
        const Watch watch = watchOf(progress);
        ExposureStack stack = unlocked([&] { return exposureStack(withFlash, without, options, watch); });
        return py::make_tuple(rgbArraysOf(std::move(stack.exposures)), rgbArraysOf(std::move(stack.tinted)),
                              responseArray(std::move(stack.response)), rgbArrayOf(std::move(stack.radiance)),
                              rgbArrayOf(std::move(stack.toneMapped)), rgbArrayOf(std::move(stack.fused)));
    });
}

void bindGeometry(py::module_& module) {
    module.def("align_to", [](const py::array& moving, const py::array& reference, int levels, int window,
                              int iterations, double sigma, const py::object& progress) {
        const cv::Mat movingImage = imageOf(moving, "moving", rgb);
        const cv::Mat referenceImage = imageOf(reference, "reference", rgb);
        const AlignOptions options{levels, window, iterations, sigma};
        const Watch watch = watchOf(progress);
        Alignment alignment = unlocked([&] { return alignTo(movingImage, referenceImage, options, watch); });
        return py::make_tuple(rgbArrayOf(std::move(alignment.image)), arrayOf(std::move(alignment.flow)));
    });
    module.def("oriented_structure", [](const py::array& array, int size, bool coherence, const py::object& progress) {
        const cv::Mat photograph = imageOf(array, "photograph", rgb);
        const Watch watch = watchOf(progress);
        Structure structure = unlocked([&] { return orientedStructure(photograph, {size, coherence}, watch); });
        return py::make_tuple(arrayOf(std::move(structure.strength)),
                              coherence ? py::object(arrayOf(std::move(structure.coherence))) : py::object(py::none()));
    });
    module.def("smooth", [](const py::array& array, const py::object& guide, int radius, double epsilon,
                            const std::string& variant, const py::object& progress) {
        SmoothOptions options;
        options.guide = imageOrNone(guide, "guide");
        options.radius = radius;
        options.epsilon = epsilon;
        if (variant == "color") {
            options.variant = SmoothingVariant::color;
        } else if (variant == "transport") {
            options.variant = SmoothingVariant::transport;
        } else if (variant != "gray") {
            refuse("variant", variant, "gray, color, transport");
        }
        const cv::Mat photograph = imageOf(array, "photograph", rgb);
        const Watch watch = watchOf(progress);
        return imageFrom(rgb, [&] { return smooth(photograph, options, watch); });
    });
}

TransferOptions transferOptionsOf(const std::string& channels, const std::string& form, double t) {
    TransferOptions options;
    options.t = t;
    if (channels == "chroma") {
        options.channels = TransferChannels::chroma;
    } else if (channels != "all") {
        refuse("channels", channels, "all, chroma");
    }
    if (form == "bonneel") {
        options.form = TransferForm::bonneel;
    } else if (form != "centered") {
        refuse("form", form, "centered, bonneel");
    }
    return options;
}

/// (matrix, input mean, target mean)
py::tuple tupleOf(const cv::Matx33f& matrix, const cv::Vec3f& inputMean, const cv::Vec3f& targetMean) {
    return py::make_tuple(arrayOf(cv::Mat(matrix).clone()),
                          std::array<float, 3>{inputMean[0], inputMean[1], inputMean[2]},
                          std::array<float, 3>{targetMean[0], targetMean[1], targetMean[2]});
}

void bindTransfer(py::module_& module) {
    py::class_<ColorTransfer>(module, "ColorTransfer")
        .def(py::init([](const py::array& array, const py::array& palette, const std::string& channels,
                         const std::string& form, const py::object& mask, const py::object& paletteMask,
                         const py::object& progress) {
            const TransferOptions options = transferOptionsOf(channels, form, 1);
            const PhotographPart photograph{imageOf(array, "photograph", rgb), weightsOf(mask)};
            const PhotographPart colors{imageOf(palette, "palette", rgb), weightsOf(paletteMask)};
            const Watch watch = watchOf(progress);
            return unlocked([&] { return ColorTransfer(photograph, colors, options, watch); });
        }))
        .def("at",
             [](const ColorTransfer& transfer, double t, const py::object& progress) {
                 const Watch watch = watchOf(progress);
                 Transfer made = unlocked([&] { return transfer.at(t, watch); });
                 return py::make_tuple(rgbArrayOf(std::move(made.image)),
                                       tupleOf(made.map, made.inputMean, made.targetMean), clippedOf(made.clipped));
             })
        .def("apply_to",
             [](const ColorTransfer& transfer, const py::array& array, double t, const py::object& progress) {
                 const cv::Mat photograph = imageOf(array, "photograph", rgb);
                 const Watch watch = watchOf(progress);
                 return imageFrom(rgb, [&] { return transfer.applyTo(photograph, t, watch); });
             })
        .def("map", [](const ColorTransfer& transfer, double t) {
            const ColorMap map = transfer.map(t);
            return tupleOf(map.matrix, map.inputMean, map.targetMean);
        });
    module.def("transfer_colors", [](const py::array& array, const py::array& palette, double t,
                                     const std::string& channels, const std::string& form, const py::object& progress) {
        const TransferOptions options = transferOptionsOf(channels, form, t);
        const cv::Mat photograph = imageOf(array, "photograph", rgb);
        const cv::Mat colors = imageOf(palette, "palette", rgb);
        const Watch watch = watchOf(progress);
        Transfer made = unlocked([&] { return transferColors(photograph, colors, options, watch); });
        return py::make_tuple(rgbArrayOf(std::move(made.image)), tupleOf(made.map, made.inputMean, made.targetMean),
                              clippedOf(made.clipped));
    });
}

}  // namespace

void bindOperations(py::module_& module) {
    bindWhites(module);
    bindAdaptation(module);
    bindBrightening(module);
    bindBrackets(module);
    bindGeometry(module);
    bindTransfer(module);
}

}  // namespace likeness::python

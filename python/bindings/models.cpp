// Appearance models under the user's conditions.
#include "models.hpp"

#include "calls.hpp"

#include <likeness/appearance/conditions.hpp>
#include <likeness/appearance/published_model.hpp>
#include <likeness/appearance/uniform_space.hpp>
#include "files/refusal.hpp"
#include "photofile/part_text.hpp"

#include <pybind11/stl.h>

#include <array>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace likeness::python {
namespace {

namespace py = pybind11;

using Triple = std::array<double, 3>;
using Doubles = py::array_t<double, py::array::c_style | py::array::forcecast>;

template <typename Value>
struct Named {
    const char* name;
    Value value;
};

template <typename Value, std::size_t count>
Value valueOf(const char* option, const std::string& name, const std::array<Named<Value>, count>& values) {
    std::string names;
    for (const Named<Value>& known : values) {
        if (name == known.name) {
            return known.value;
        }
        names += std::string(names.empty() ? "" : ", ") + known.name;
    }
    throw std::invalid_argument(std::string(option) + ": '" + name + "' is none of " + names);
}

UniformVariant variantOf(const std::string& name) {
    return valueOf<UniformVariant, 3>(
        "variant", name, {{{"ucs", UniformVariant::ucs}, {"lcd", UniformVariant::lcd}, {"scd", UniformVariant::scd}}});
}

/// Rows of so many numbers each.
std::size_t rowsOf(const Doubles& array, py::ssize_t each, const char* name) {
    if (array.ndim() != 2 || array.shape(1) != each) {
        throw std::invalid_argument(std::string(name) + ": rows of " + std::to_string(each) + " numbers are wanted");
    }
    return static_cast<std::size_t>(array.shape(0));
}

Doubles rows(std::size_t count, py::ssize_t each) {
    return Doubles(std::vector<py::ssize_t>{static_cast<py::ssize_t>(count), each});
}

void bindPublishedModel(py::module_& module) {
    py::class_<PublishedModel>(module, "PublishedModel")
        .def(py::init([](const std::string& kind, const py::tuple& conditions) {
            return PublishedModel(modelKindOf(kind), conditionsOf(conditions));
        }))
        .def("factors",
             [](const PublishedModel& model) {
                 const ConditionFactors& f = model.factors();
                 return std::array<double, 6>{f.degreeOfAdaptation,  f.luminanceLevel, f.backgroundInduction,
                                              f.brightnessInduction, f.baseExponent,   f.whiteResponse};
             })
        .def("correlates",
             [](const PublishedModel& model, const Doubles& xyz) {
                 const std::size_t count = rowsOf(xyz, 3, "xyz");
                 Doubles result = rows(count, 7);
                 const double* in = xyz.data();
                 double* out = result.mutable_data();
                 unlocked([&model, in, out, count]() mutable {
                     for (std::size_t k = 0; k < count; ++k, in += 3, out += 7) {
                         const Correlates c = model.correlatesOf({in[0], in[1], in[2]});
                         out[0] = c.lightness;
                         out[1] = c.brightness;
                         out[2] = c.chroma;
                         out[3] = c.colorfulness;
                         out[4] = c.saturation;
                         out[5] = c.hueDegrees;
                         out[6] = c.hueQuadrature;
                     }
                 });
                 return result;
             })
        .def("colors",
             [](const PublishedModel& model, const std::string& level, const std::string& chroma,
                const std::string& hue, const Doubles& triples) {
                 const std::size_t count = rowsOf(triples, 3, "correlates");
                 CorrelateTriple triple;
                 triple.kinds = {level == "lightness" ? LevelCorrelate::lightness : LevelCorrelate::brightness,
                                 chroma == "chroma"         ? ChromaCorrelate::chroma
                                 : chroma == "colorfulness" ? ChromaCorrelate::colorfulness
                                                            : ChromaCorrelate::saturation,
                                 hue == "hue_degrees" ? HueCorrelate::degrees : HueCorrelate::quadrature};
                 Doubles result = rows(count, 3);
                 const double* in = triples.data();
                 double* out = result.mutable_data();
                 unlocked([&model, triple, in, out, count]() mutable {
                     for (std::size_t k = 0; k < count; ++k, in += 3, out += 3) {
                         triple.level = in[0];
                         triple.chroma = in[1];
                         triple.hue = in[2];
                         const Xyz xyz = model.colorOf(triple);
                         out[0] = xyz.x;
                         out[1] = xyz.y;
                         out[2] = xyz.z;
                     }
                 });
                 return result;
             })
        .def("correlate_maps", [](const PublishedModel& model, const py::array& array) {
            const cv::Mat xyz = imageOf(array, "xyz", Channels::same);
            const CorrelateMaps maps = unlocked([&model, &xyz] { return model.correlateMaps(xyz); });
            return py::make_tuple(arrayOf(maps.lightness), arrayOf(maps.brightness), arrayOf(maps.chroma),
                                  arrayOf(maps.colorfulness), arrayOf(maps.saturation), arrayOf(maps.hueDegrees),
                                  arrayOf(maps.hueQuadrature));
        });
    module.def("hue_quadrature", py::vectorize(hueQuadratureOf));
    module.def("hue_degrees", py::vectorize(hueDegreesOf));
    module.def("hue_composition", hueComposition);
}

void bindUniformSpaces(py::module_& module) {
    module.def("uniform_colors", [](const Doubles& jmh, const std::string& variant) {
        const std::size_t count = rowsOf(jmh, 3, "correlates");
        const UniformVariant kind = variantOf(variant);
        Doubles result = rows(count, 3);
        const double* in = jmh.data();
        double* out = result.mutable_data();
        for (std::size_t k = 0; k < count; ++k, in += 3, out += 3) {
            Correlates correlates;
            correlates.lightness = in[0];
            correlates.colorfulness = in[1];
            correlates.hueDegrees = in[2];
            const UniformColor color = uniformColorOf(correlates, kind);
            out[0] = color.lightness;
            out[1] = color.a;
            out[2] = color.b;
        }
        return result;
    });
    module.def("correlates_of_uniform", [](const Doubles& uniform, const std::string& variant) {
        const std::size_t count = rowsOf(uniform, 3, "uniform");
        const UniformVariant kind = variantOf(variant);
        Doubles result = rows(count, 3);
        const double* in = uniform.data();
        double* out = result.mutable_data();
        for (std::size_t k = 0; k < count; ++k, in += 3, out += 3) {
            const CorrelateTriple triple = tripleOf(UniformColor{in[0], in[1], in[2]}, kind);
            out[0] = triple.level;
            out[1] = triple.chroma;
            out[2] = triple.hue;
        }
        return result;
    });
    module.def("uniform_difference", [](const Triple& first, const Triple& second, const std::string& variant) {
        return uniformDifference({first[0], first[1], first[2]}, {second[0], second[1], second[2]}, variantOf(variant));
    });
}

py::tuple tupleOf(const ViewingConditions& conditions) {
    const py::object background =
        conditions.background ? py::object(py::float_(*conditions.background)) : py::object(py::none());
    return py::make_tuple(
        py::make_tuple(conditions.white.x, conditions.white.y, conditions.white.z), conditions.adaptingLuminance,
        background,
        py::make_tuple(conditions.surround.adaptation, conditions.surround.impact, conditions.surround.induction),
        conditions.discounting);
}

}  // namespace

std::optional<HueWeights> hueWeightsOf(const std::optional<std::string>& weights) {
    if (!weights) {
        return std::nullopt;
    }
    if (*weights == "pixels") {
        return HueWeights::pixels;
    }
    if (*weights == "chroma") {
        return HueWeights::chroma;
    }
    throw std::invalid_argument("hue: '" + *weights + "' is none of pixels, chroma");
}

AlphaChoice alphaChoiceOf(const std::string& text) {
    try {
        return alphaIn(text);
    } catch (const Refusal& refusal) {
        throw std::invalid_argument(std::string("alpha: ") + refusal.what());
    }
}

RegionChoice regionChoiceOf(const std::string& text) {
    try {
        return regionIn(text);
    } catch (const Refusal& refusal) {
        throw std::invalid_argument(std::string("regions: ") + refusal.what());
    }
}

ProfileChoice profileChoiceOf(const std::string& profile) {
    return profileChoiceFor("profile", profile);
}

PartChoice partChoiceOf(const py::object& part) {
    PartChoice choice;
    if (part.is_none()) {
        return choice;
    }
    const auto values = part.cast<py::tuple>();
    choice.mask = values[0].cast<std::string>();
    choice.alpha = alphaChoiceOf(values[1].cast<std::string>());
    for (const std::string& region : values[2].cast<std::vector<std::string>>()) {
        choice.regions.push_back(regionChoiceOf(region));
    }
    choice.centerWeighted = values[3].cast<bool>();
    return choice;
}

ViewingConditions conditionsOf(const py::tuple& conditions) {
    const auto white = conditions[0].cast<Triple>();
    const auto surround = conditions[3].cast<Triple>();
    ViewingConditions result;
    result.white = {white[0], white[1], white[2]};
    result.adaptingLuminance = conditions[1].cast<double>();
    result.background = conditions[2].cast<std::optional<double>>();
    result.surround = {surround[0], surround[1], surround[2]};
    result.discounting = conditions[4].cast<bool>();
    return result;
}

AppearanceModelKind modelKindOf(const std::string& name) {
    return valueOf<AppearanceModelKind, 3>("kind", name,
                                           {{{"likeness", AppearanceModelKind::likeness},
                                             {"ciecam02", AppearanceModelKind::ciecam02},
                                             {"ciecam16", AppearanceModelKind::ciecam16}}});
}

ComparisonModel comparisonModelOf(const py::tuple& model) {
    ComparisonModel result;
    result.kind = modelKindOf(model[0].cast<std::string>());
    result.conditions = conditionsOf(model[1].cast<py::tuple>());
    result.pictureWhite = valueOf<PictureWhite, 3>("picture_white", model[2].cast<std::string>(),
                                                   {{{"encoding", PictureWhite::encoding},
                                                     {"gray-world", PictureWhite::grayWorld},
                                                     {"brightest", PictureWhite::brightestPixel}}});
    result.white =
        valueOf<WhiteResponse, 2>("white", model[3].cast<std::string>(),
                                  {{{"brightest", WhiteResponse::brightest}, {"fixed", WhiteResponse::fixed}}});
    result.black = valueOf<BlackAdaptation, 2>(
        "black", model[4].cast<std::string>(),
        {{{"defined", BlackAdaptation::defined}, {"continuous", BlackAdaptation::continuous}}});
    result.background = model[5].cast<std::optional<double>>();
    return result;
}

py::tuple tupleOf(const ComparisonModel& model) {
    const char* const kind = model.kind == AppearanceModelKind::likeness   ? "likeness"
                             : model.kind == AppearanceModelKind::ciecam02 ? "ciecam02"
                                                                           : "ciecam16";
    const py::object background = model.background ? py::object(py::float_(*model.background)) : py::object(py::none());
    return py::make_tuple(kind, tupleOf(model.conditions), nameOf(model.pictureWhite),
                          model.white == WhiteResponse::brightest ? "brightest" : "fixed",
                          model.black == BlackAdaptation::defined ? "defined" : "continuous", background);
}

void bindModels(py::module_& module) {
    bindPublishedModel(module);
    bindUniformSpaces(module);
    module.def("check_conditions",
               [](const py::tuple& conditions) { checkViewingConditions(conditionsOf(conditions)); });
    module.def("check_model", [](const py::tuple& model) { checkComparisonModel(comparisonModelOf(model)); });
    module.def("adapting_luminance_under", adaptingLuminanceUnder);
    module.def("condition_presets", [] {
        py::list presets;
        for (const ConditionPreset& preset : conditionPresets()) {
            presets.append(
                py::make_tuple(std::string(preset.name), std::string(preset.text), tupleOf(preset.conditions)));
        }
        return presets;
    });
}

}  // namespace likeness::python

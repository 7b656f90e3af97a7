#include "batch/parameters.hpp"

#include <likeness/appearance/viewing_conditions.hpp>
#include "batch/result_record.hpp"
#include "batch/stable_hash.hpp"
#include "files/number_format.hpp"

#include <fmt/format.h>
#include <opencv2/core.hpp>

#include <sys/utsname.h>
#include <locale>
#include <sstream>
#include <string_view>

namespace likeness {

namespace {

/// Of what the numbers of a comparison mean, whatever the fields of the records.
constexpr int comparisonSchema = 1;

/// What the line says of files of absolute luminance, with the luminance behind it.
constexpr std::string_view absoluteWhite = ";white-of-absolute-luminance=";

bool isDefault(const AnalysisOptions& options) {
    return !options.hue && options.model == ComparisonModel();
}

}  // namespace

std::string modelParameters(const ComparisonModel& model, const std::optional<HueWeights>& hue) {
    std::string text = fmt::format("model={}", nameOf(model.kind));
    if (model.kind == AppearanceModelKind::likeness) {
        text +=
            fmt::format(";white={};black={};background={}", model.white == WhiteResponse::fixed ? "fixed" : "brightest",
                        model.black == BlackAdaptation::continuous ? "continuous" : "defined",
                        model.background ? fmt::format("{}", *model.background) : "drifting");
    } else {
        const ViewingConditions& conditions = model.conditions;
        text += fmt::format(
            ";white={},{},{};adapting-luminance={};background={};surround={},{},{};discounting={};picture-white={}",
            conditions.white.x, conditions.white.y, conditions.white.z, conditions.adaptingLuminance,
            conditions.background.value_or(0), conditions.surround.adaptation, conditions.surround.impact,
            conditions.surround.induction, conditions.discounting ? "yes" : "no", nameOf(model.pictureWhite));
    }
    if (hue) {
        text += *hue == HueWeights::chroma ? ";hue=chroma" : ";hue=pixels";
    }
    return text;
}

std::string comparisonParameters(const AnalysisOptions& options, const ProfileChoice& profiles) {
    ::utsname system{};
    ::uname(&system);
    const auto number = [](float value) { return nineDigits(static_cast<double>(value)); };
    std::string text = fmt::format(
        "schema={};photographs=bgr8,bgr16,linear,floats,exif-orientation;adapting-luminance={};white-luminance={};"
        "background-of-1-"
        "pixel={};"
        "surround-impact={};surround-induction={};bins=all;image-library={};architecture={}",
        comparisonSchema, number(adaptingLuminance), number(whiteLuminance),
        number(backgroundOfUniformWhite(1, whiteLuminance)), number(darkSurroundImpact), number(darkSurroundInduction),
        cv::getVersionString(), system.machine);
    if (profiles.assumed != nullptr) {
        const std::vector<unsigned char>& icc = profiles.assumed->icc();
        text += fmt::format(";assumed-profile={},{:016x}", profiles.assumed->description(),
                            fnv1a({reinterpret_cast<const char*>(icc.data()), icc.size()}));
    }
    if (profiles.ignore) {
        text += ";profiles=ignored";
    }
    if (profiles.exposure != 0) {
        text += fmt::format(";exposure={}", profiles.exposure);
    }
    if (profiles.whiteLuminance > 0) {
        text += fmt::format("{}{}", absoluteWhite, profiles.whiteLuminance);
    }
    if (profiles.selection.page != 1) {
        text += fmt::format(";page={}", profiles.selection.page);
    }
    if (!profiles.selection.layer.empty()) {
        text += ";layer=" + profiles.selection.layer;
    }
    if (profiles.selection.preview) {
        text += ";preview";
    }
    if (!profiles.part.isWhole()) {
        text += ';' + profiles.part.parameters();
    }
    return isDefault(options) ? text : text + ';' + modelParameters(options.model, options.hue);
}

double absoluteWhiteIn(const std::string& parameters) {
    const std::size_t at = parameters.find(absoluteWhite);
    double luminance = 0;
    if (at != std::string::npos) {
        std::istringstream number(parameters.substr(at + absoluteWhite.size()));
        number.imbue(std::locale::classic());
        number >> luminance;
    }
    return luminance;
}

std::string parameterFingerprint(const AnalysisOptions& options, const ProfileChoice& profiles) {
    const std::string fingerprint = fmt::format("{:016x}", fnv1a(comparisonParameters(options, profiles)));
    return isDefault(options) ? fingerprint : fingerprint + ' ' + modelParameters(options.model, options.hue);
}

}  // namespace likeness

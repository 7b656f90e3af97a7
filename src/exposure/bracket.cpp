#include <likeness/exposure/bracket.hpp>

#include <likeness/exposure/response_recovery.hpp>
#include "color/photograph_argument.hpp"
#include "diagnostics/number_text.hpp"
#include "diagnostics/step_count.hpp"
#include "exposure/exposure_merging.hpp"
#include "modules/module_loader.hpp"
#include "modules/photo.hpp"

#include <algorithm>
#include <cmath>
#include <functional>
#include <string>

namespace likeness {
namespace {

void requireFusion(const FusionOptions& options) {
    requireBetween("contrast", options.contrast, 0, 100);
    requireBetween("saturation", options.saturation, 0, 100);
    requireBetween("exposedness", options.exposedness, 0, 100);
}

void requireToneMapping(const ToneMapOptions& options) {
    constexpr double greatest = 1e6;
    requireAboveZero("gamma", static_cast<double>(options.gamma), greatest);
    requireAboveZero("contrast", static_cast<double>(options.contrast), greatest);
    requireBetween("saturation", static_cast<double>(options.saturation), 0, greatest);
    requireAboveZero("spaceSigma", static_cast<double>(options.spaceSigma), greatest);
    requireAboveZero("colorSigma", static_cast<double>(options.colorSigma), greatest);
}

/// Calls take(image) with every exposure: as it is where it has 8 bits, else on the scale 0..255, CV_32FC3.
template <typename Take>
void forEachChecked(const std::vector<cv::Mat>& exposures, Take take) {
    for (std::size_t k = 0; k < exposures.size(); ++k) {
        const std::string name = elementName("exposures", k);
        const cv::Mat& exposure = exposures[k];
        requireSameSize("exposures[0]", exposures[0], name, exposure);
        if (exposure.type() == CV_8UC3 && !exposure.empty()) {
            take(exposure);
            continue;
        }
        const cv::Mat unit = unitPhotograph(name, exposure);
        requireFinite(name, unit);
        take(cv::Mat(unit * 255.0));
    }
}

/// Images on the scale 0..255 as the image library fuses them: bytes beside floats become floats of the same values.
std::vector<cv::Mat> ofOneDepth(std::vector<cv::Mat> images) {
    const auto isFloat = [](const cv::Mat& image) { return image.depth() == CV_32F; };
    if (std::any_of(images.begin(), images.end(), isFloat)) {
        for (cv::Mat& image : images) {
            image.convertTo(image, CV_32F);
        }
    }
    return images;
}

/// @param taken  called after each exposure
std::vector<cv::Mat> bytesOf(const std::vector<cv::Mat>& exposures, const std::function<void()>& taken) {
    std::vector<cv::Mat> bytes;
    forEachChecked(exposures, [&](const cv::Mat& image) {
        cv::Mat rounded;
        image.convertTo(rounded, CV_8U);  // of bytes, too: the image library gets memory of ours
        bytes.push_back(rounded);
        taken();
    });
    return bytes;
}

/// Each exposure and what is made of all.
int stepsOf(const std::vector<cv::Mat>& exposures) {
    return static_cast<int>(exposures.size()) + 1;
}

void requireTimes(const std::vector<float>& times, std::size_t count) {
    if (times.size() != count) {
        refuseArgument("times", "there must be one for each exposure, " + std::to_string(count) + ", not " +
                                    std::to_string(times.size()));
    }
    for (std::size_t k = 0; k < times.size(); ++k) {
        if (!(times[k] > 0 && std::isnormal(times[k]))) {
            refuseArgument(elementName("times", k), "it must be a number above 0, not " + numberText(times[k]));
        }
    }
}

void requireBracket(const std::vector<cv::Mat>& exposures, const std::vector<float>& times) {
    if (exposures.size() < 2) {
        refuseArgument("exposures", "there must be at least two, not " + std::to_string(exposures.size()));
    }
    requireTimes(times, exposures.size());
    for (std::size_t k = 0; k < times.size(); ++k) {
        for (std::size_t other = 0; other < k; ++other) {
            if (times[k] == times[other]) {
                refuseArgument(elementName("times", k), "it must differ from " + elementName("times", other));
            }
        }
    }
}

void requireResponse(const cv::Mat& response) {
    requireRowsAndColumns("response", response);
    if (response.type() != CV_32FC3 || response.size() != cv::Size(1, 256)) {
        refuseArgument("response", "it must be 256 x 1 CV_32FC3");
    }
    requireFinite("response", response);
    for (int k = 0; k < response.rows; ++k) {
        const auto& value = response.at<cv::Vec3f>(k);
        if (!(value[0] > 0 && value[1] > 0 && value[2] > 0)) {
            refuseArgument("response", "its values must be above 0, and that of byte " + std::to_string(k) + " is not");
        }
    }
}

/// One step.
cv::Mat shownResponse(const std::vector<cv::Mat>& bytes, const std::vector<float>& times, StepCount& steps,
                      const Diagnostics& diagnostics) {
    cv::Mat response = recoverResponse(bytes, times);
    dumpResponse(response, bracketResponseFiles(), diagnostics);
    steps.step();
    return response;
}

}  // namespace

void requireResponseGrid(const std::string& name, cv::Size size) {
    if (!hasResponseGrid(size)) {
        refuseArgument(name, std::to_string(size.width) + " x " + std::to_string(size.height) +
                                 " pixels have no room for the grid of about 70 points that a response is recovered "
                                 "from");
    }
}

cv::Mat radianceOf(const std::vector<cv::Mat>& bytes, const std::vector<float>& times, const cv::Mat& response) {
    cv::Mat radiance;
    reinterpret_cast<MergeDebevecEntry>(moduleEntry("photo", "likeness_merge_debevec"))(bytes, times, response,
                                                                                        radiance);
    return radiance;
}

cv::Mat fusionOf(const std::vector<cv::Mat>& images, const FusionOptions& options) {
    cv::Mat fused;
    reinterpret_cast<MergeMertensEntry>(moduleEntry("photo", "likeness_merge_mertens"))(
        images, static_cast<float>(options.contrast), static_cast<float>(options.saturation),
        static_cast<float>(options.exposedness), fused);
    return fused;
}

MergedExposures mergedOf(const std::vector<cv::Mat>& bytes, const std::vector<float>& times, const cv::Mat& response,
                         const BracketOptions& options, const std::function<void()>& stepDone) {
    MergedExposures merged;
    merged.radiance = radianceOf(bytes, times, response);
    stepDone();
    toneMapDurand(merged.radiance, merged.toneMapped, options.toneMapping);
    stepDone();
    merged.fused = fusionOf(bytes, options.fusion);
    stepDone();
    return merged;
}

cv::Mat fuseExposures(const std::vector<cv::Mat>& exposures, const FusionOptions& options, const Watch& watch) {
    if (exposures.empty()) {
        return {};
    }
    requireFusion(options);
    StepCount steps(watch, stepsOf(exposures));
    std::vector<cv::Mat> images;
    forEachChecked(exposures, [&](const cv::Mat& image) {
        images.push_back(image);
        steps.step();
    });
    cv::Mat fused = fusionOf(ofOneDepth(images), options);
    steps.step();
    return fused;
}

cv::Mat recoverCameraResponse(const std::vector<cv::Mat>& exposures, const std::vector<float>& times,
                              const Watch& watch) {
    requireBracket(exposures, times);
    const std::vector<cv::Mat> bytes = bytesOf(exposures, [] {});
    requireResponseGrid("exposures", bytes[0].size());
    StepCount steps(watch, 1);
    return shownResponse(bytes, times, steps, watch.receiver());
}

cv::Mat mergeRadiance(const std::vector<cv::Mat>& exposures, const std::vector<float>& times, const cv::Mat& response,
                      const Watch& watch) {
    if (exposures.empty()) {
        return {};
    }
    requireTimes(times, exposures.size());
    requireResponse(response);
    StepCount steps(watch, stepsOf(exposures));
    cv::Mat radiance = radianceOf(bytesOf(exposures, [&steps] { steps.step(); }), times, response);
    steps.step();
    return radiance;
}

cv::Mat toneMap(const cv::Mat& radiance, const ToneMapOptions& options, const Watch& watch) {
    if (radiance.empty()) {
        return {};
    }
    requireRowsAndColumns("radiance", radiance);
    if (radiance.type() != CV_32FC3) {
        refuseArgument("radiance", "it must be CV_32FC3, not " + cv::typeToString(radiance.type()));
    }
    requireToneMapping(options);
    requireFinite("radiance", radiance);
    StepCount steps(watch, 3);
    cv::Mat result;
    toneMapInSteps(radiance.isSubmatrix() ? radiance.clone() : radiance, result, options, [&steps] { steps.step(); });
    if (!cv::checkRange(result) || cv::countNonZero(result.reshape(1)) == 0) {
        refuseArgument("radiance", "it has one luminance throughout: there is no range to compress");
    }
    return result;
}

Bracket mergeBracket(const std::vector<cv::Mat>& exposures, const std::vector<float>& times,
                     const BracketOptions& options, const Watch& watch) {
    if (exposures.empty()) {
        return {};
    }
    requireBracket(exposures, times);
    requireToneMapping(options.toneMapping);
    requireFusion(options.fusion);
    const std::vector<cv::Mat> bytes = bytesOf(exposures, [] {});
    requireResponseGrid("exposures", bytes[0].size());
    StepCount steps(watch, 4);
    Bracket bracket;
    bracket.response = shownResponse(bytes, times, steps, watch.receiver());
    const MergedExposures merged = mergedOf(bytes, times, bracket.response, options, [&steps] { steps.step(); });
    bracket.radiance = merged.radiance;
    bracket.toneMapped = merged.toneMapped;
    bracket.fused = merged.fused;
    return bracket;
}

}  // namespace likeness

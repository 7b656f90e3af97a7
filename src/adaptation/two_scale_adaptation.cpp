#include <likeness/adaptation/two_scale_adaptation.hpp>

#include <likeness/adaptation/d65_adaptation.hpp>
#include <likeness/adaptation/white_image.hpp>
#include <likeness/color/bgr_xyz.hpp>
#include <likeness/color/sharpened_rgb.hpp>
#include <likeness/diagnostics/name_text.hpp>
#include <likeness/structure/structure_tensor.hpp>
#include "adaptation/common_region.hpp"
#include "adaptation/usual_degree.hpp"
#include "diagnostics/number_text.hpp"
#include "filter/bilateral_filter.hpp"
#include "numerics/argument_check.hpp"
#include "numerics/parallel.hpp"
#include "numerics/transcendental_blocks.hpp"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <string>

namespace likeness {
namespace {

bool isDark(float white) {
    return 1e-3 > static_cast<double>(white);
}

float ratioOf(float target, float white) {
    return isDark(white) ? static_cast<float>(static_cast<double>(target) / (static_cast<double>(white) + 0.02))
                         : target / white;
}

/// 1 - D + D ratio.
class Blend {
public:
    Blend() : degree_(usualDegreeOfAdaptation()), rest_(1 - degree_) {}

    float operator()(float ratio) const noexcept { return rest_ + ratio * degree_; }

private:
    float degree_;
    float rest_;
};

void scaleByRatios(cv::Mat& image, const cv::Mat& white, const cv::Mat& target) {
    const Blend blend;
    const ImageWalk walk = walkOver(image, white, target);
    numerics::forEachPiece(walk, numerics::pixelsInBlock, [&](int i, std::size_t first, std::size_t pixels) {
        float ratios[numerics::blockSize] = {};
        float* const values = image.ptr<float>(i) + 3 * first;
        const float* const whites = white.ptr<float>(i) + 3 * first;
        const float* const targets = target.ptr<float>(i) + 3 * first;
        const std::size_t count = 3 * pixels;
        // Dark whites are rare: a block without any is a few vector operations.
        int dark = 0;
        for (std::size_t k = 0; k < count; ++k) {
            ratios[k] = targets[k] / whites[k];
            dark |= static_cast<int>(isDark(whites[k]));
        }
        if (dark != 0) {
            std::transform(targets, targets + count, whites, ratios, ratioOf);
        }
        for (std::size_t k = 0; k < count; ++k) {
            values[k] *= blend(blend(ratios[k]));  // departure 8
        }
    });
}

struct Peak {
    float ratio = 0;
    cv::Point place;
};

/// The greatest ratio of a channel; where none is above 0, the place stays `previous`.
Peak peakRatio(const cv::Mat& white, const cv::Mat& target, int channel, cv::Point previous) {
    Peak peak{0, previous};
    for (int i = 0; i < white.rows; ++i) {
        const auto* const whites = white.ptr<cv::Vec3f>(i);
        const auto* const targets = target.ptr<cv::Vec3f>(i);
        for (int j = 0; j < white.cols; ++j) {
            const float ratio = ratioOf(targets[j][channel], whites[j][channel]);
            if (ratio > peak.ratio) {
                peak = {ratio, {j, i}};
            }
        }
    }
    return peak;
}

/// Each channel in turn replaces what was written of the one before: only the last is written.
void writeLastChannel(const cv::Mat& white, const cv::Mat& target, float greatestRatio,
                      const Diagnostics& diagnostics) {
    const Blend blend;
    cv::Mat ratios(white.size(), CV_32F);
    cv::Mat factors(white.size(), CV_32F);
    for (int i = 0; i < white.rows; ++i) {
        const auto* const whites = white.ptr<cv::Vec3f>(i);
        const auto* const targets = target.ptr<cv::Vec3f>(i);
        float* const ratio = ratios.ptr<float>(i);
        float* const factor = factors.ptr<float>(i);
        for (int j = 0; j < white.cols; ++j) {
            ratio[j] = ratioOf(targets[j][2], whites[j][2]);
            factor[j] = blend(ratio[j]);
        }
    }
    diagnostics.writeMap("catRatio.txt", ratios, ratios.rows, ratios.cols);
    diagnostics.writeImage("increaseMap.jpg", cv::Mat(factors / greatestRatio * 255));
}

void showRatios(const cv::Mat& white, const cv::Mat& target, const Diagnostics& diagnostics) {
    std::string lines;
    Peak peak;
    for (int c = 0; c < 3; ++c) {
        peak = peakRatio(white, target, c, peak.place);
        lines += numberText(peak.ratio) + ' ' + numberText(white.at<cv::Vec3f>(peak.place)[c]) + ' ' +
                 numberText(target.at<cv::Vec3f>(peak.place)[c]) + '\n';
    }
    if (diagnostics.wantsFiles()) {
        writeLastChannel(white, target, peak.ratio, diagnostics);
    }
    if (diagnostics.wantsMessages()) {
        diagnostics.print(lines);
    }
}

/// Hands on messages and keeps no file.
class MessagesOf final : public Diagnostics {
public:
    explicit MessagesOf(const Diagnostics& receiver) : receiver_(receiver) {}

    bool wantsFiles() const noexcept override { return false; }
    bool wantsMessages() const noexcept override { return receiver_.wantsMessages(); }
    void writeImage(const std::string& /*name*/, const cv::Mat& /*image*/) const override {}
    void writeMap(const std::string& /*name*/, const cv::Mat& /*map*/, int /*rows*/, int /*cols*/) const override {}
    std::unique_ptr<TextDump> openText(const std::string& name) const override { return dropAll().openText(name); }
    void print(std::string_view text) const override { receiver_.print(text); }

private:
    const Diagnostics& receiver_;
};

/// Prints what the structure tensor tells of the first pixel, for which a few rows are enough.
void printStructure(const cv::Mat& image, const Diagnostics& diagnostics) {
    cv::Mat head = image.rowRange(0, std::min(image.rows, 8));
    cv::Mat strength(head.size(), CV_32F);
    computeStructuralTensor(head, strength, 3.0F, MessagesOf(diagnostics));
}

void showStructure(cv::Mat& input, cv::Mat& guidance, const Diagnostics& diagnostics) {
    if (diagnostics.wantsMessages()) {
        printStructure(input, diagnostics);
    }
    if (diagnostics.wantsFiles()) {
        cv::Mat strength(guidance.size(), CV_32F);
        computeStructuralTensor(guidance, strength, 3.0F, diagnostics);
    } else if (diagnostics.wantsMessages()) {
        printStructure(guidance, diagnostics);
    }
}

/// The variance of the guidance and its covariance with the input are there to be looked at: the gain uses neither.
void writeCovariance(const cv::Mat& guidance, const cv::Mat& whiteGuidance, const cv::Mat& input, float sigma,
                     int diameter, const Diagnostics& diagnostics) {
    cv::Mat product = input.mul(guidance);
    diagnostics.writeImage("covariance1.jpg", product);
    cv::Mat mean;
    computeWhiteImgVs2(product, mean, sigma, diameter);
    diagnostics.writeImage("covariance2.jpg", mean);
    product = guidance.mul(guidance);
    computeWhiteImgVs2(product, mean, sigma, diameter);
    diagnostics.writeImage("variance.jpg", cv::Mat(mean - whiteGuidance.mul(whiteGuidance)));
}

struct LocalRatio {
    float ratio;
    bool valid;
};

LocalRatio localRatio(float whiteInput, float whiteGuidance) {
    const bool dark = 1.0 > static_cast<double>(whiteGuidance);
    const float ratio = dark ? whiteInput : whiteInput / whiteGuidance;
    return {ratio, !dark && !(50 * ratio > 200)};
}

void writeRatios(const cv::Mat& whiteGuidance, const cv::Mat& whiteInput, const Diagnostics& diagnostics) {
    cv::Mat ratios(whiteGuidance.size(), CV_32FC3);
    cv::Mat valid(whiteGuidance.size(), CV_32FC3);
    for (int i = 0; i < ratios.rows; ++i) {
        const auto* const ofGuidance = whiteGuidance.ptr<cv::Vec3f>(i);
        const auto* const ofInput = whiteInput.ptr<cv::Vec3f>(i);
        auto* const ratio = ratios.ptr<cv::Vec3f>(i);
        auto* const isValid = valid.ptr<cv::Vec3f>(i);
        for (int j = 0; j < ratios.cols; ++j) {
            bool any = false;
            for (int c = 0; c < 3; ++c) {
                const LocalRatio local = localRatio(ofInput[j][c], ofGuidance[j][c]);
                ratio[j][c] = local.ratio;
                any = any || local.valid;
            }
            isValid[j] = cv::Vec3f::all(any ? 255.0F : 0.0F);
        }
    }
    diagnostics.openText("catRatio.txt");  // left empty, departure 25
    diagnostics.writeImage("ratio_bowls.jpg", cv::Mat(ratios * 50));
    diagnostics.writeImage("diff1.jpg", valid);
}

void regress(cv::Mat& guidance, const cv::Mat& whiteGuidance, const cv::Mat& whiteInput, const cv::Mat& weightMap) {
    const Blend blend;
    const ImageWalk walk = walkOver(guidance, whiteGuidance, whiteInput, weightMap);
    for (int i = 0; i < walk.rows; ++i) {
        float* value = guidance.ptr<float>(i);
        const float* ofGuidance = whiteGuidance.ptr<float>(i);
        const float* ofInput = whiteInput.ptr<float>(i);
        const float* const weights = weightMap.ptr<float>(i);
        for (int j = 0; j < walk.cols; ++j, value += 3, ofGuidance += 3, ofInput += 3) {
            const float w = weights[j];
            for (int c = 0; c < 3; ++c) {
                const float a = blend(localRatio(ofInput[c], ofGuidance[c]).ratio);
                const float b = ofInput[c] - ofGuidance[c] * a;
                value[c] = value[c] * a * w + b * w;
            }
        }
    }
}

}  // namespace

void biCAT(cv::Mat& image, cv::Mat& sourceWhite, cv::Mat& /*sourceWhiteXYZ*/, cv::Mat& target, cv::Mat& /*mask*/,
           const Diagnostics& diagnostics) {
    requireType("biCAT", CV_32FC3, {{"image", image}, {"sourceWhite", sourceWhite}, {"target", target}});
    const cv::Rect region = commonRegion(image, sourceWhite, target);
    if (region.empty()) {
        return;
    }
    cv::Mat adapted = image(region);
    const cv::Mat white = sourceWhite(region);
    const cv::Mat wanted = target(region);
    if (diagnostics.wantsFiles() || diagnostics.wantsMessages()) {
        showRatios(white, wanted, diagnostics);
    }
    scaleByRatios(adapted, white, wanted);
}

void biCATRegression(cv::Mat& guidance, cv::Mat& whiteGuidance, cv::Mat& input, cv::Mat& spare, cv::Mat& whiteInput,
                     cv::Mat& weightMap, float sigma, const Diagnostics& diagnostics) {
    requireType(
        "biCATRegression", CV_32FC3,
        {{"guidance", guidance}, {"whiteGuidance", whiteGuidance}, {"input", input}, {"whiteInput", whiteInput}});
    requireType("biCATRegression", CV_32F, {{"weightMap", weightMap}});
    const cv::Rect region = commonRegion(guidance, whiteGuidance, input, whiteInput, weightMap);
    if (region.empty()) {
        return;
    }
    cv::Mat* const scaled[] = {&guidance, &whiteGuidance, &whiteInput, &spare, &input};
    for (cv::Mat* const image : scaled) {
        *image *= 255;
    }
    cv::Mat guided = guidance(region);
    const cv::Mat ofGuidance = whiteGuidance(region);
    const cv::Mat ofInput = whiteInput(region);
    showStructure(input, guidance, diagnostics);
    if (diagnostics.wantsFiles()) {
        const auto rows = static_cast<double>(guidance.rows);
        const auto cols = static_cast<double>(guidance.cols);
        const auto diagonal = static_cast<int>(std::sqrt(cols * cols + rows * rows));
        writeCovariance(guided, ofGuidance, input(region), sigma, static_cast<int>(diagonal / 25.0), diagnostics);
        writeRatios(ofGuidance, ofInput, diagnostics);
        diagnostics.writeImage("whiteGuidance.jpg", whiteGuidance);
        diagnostics.writeImage("whiteInput.jpg", whiteInput);
    }
    regress(guided, ofGuidance, ofInput, weightMap(region));
    for (cv::Mat* const image : scaled) {
        *image /= 255;
    }
}

void computeCorrectedNonFlash(cv::Mat* exposures, cv::Mat& white, cv::Mat& reference, int index, int diagonal,
                              const Diagnostics& diagnostics) {
    requireThere("computeCorrectedNonFlash", {{"exposures", exposures}});
    requireIndex("computeCorrectedNonFlash", "index", index);
    cv::Mat& exposure = exposures[index];
    requireType("computeCorrectedNonFlash", CV_32FC3, {{"the exposure", exposure}, {"white", white}});
    const cv::Rect region = commonRegion(exposure, white);
    cv::Mat adapted = exposure(region);
    cv::Mat whiteOfAdapted = white(region);
    inverseCATByD65(adapted, whiteOfAdapted, reference);
    convertSharpenedBGRtoXYZ(exposure, exposure);
    convertXYZToBGRDirect(exposure, exposure);
    if (diagnostics.wantsFiles()) {
        diagnostics.writeImage(convertIntToString(index) + "_nonFlash.jpg", cv::Mat(exposure * 255));
    }
    const int diameter = diagonal / 100;
    cv::Mat smoothed;
    bilateralFilter(exposure, smoothed, diameter, 0.01, static_cast<double>(diameter));
    convertBGRToXYZDirect(smoothed, smoothed);
    convertXYZtoSharpenedBGR(smoothed, exposure);
}

}  // namespace likeness

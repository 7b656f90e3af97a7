#include <likeness/exposure/exposure_sequence.hpp>

#include <likeness/adaptation/d65_adaptation.hpp>
#include <likeness/appearance/appearance_correlates.hpp>
#include <likeness/appearance/cone_responses.hpp>
#include <likeness/appearance/viewing_conditions.hpp>
#include <likeness/color/bgr_xyz.hpp>
#include <likeness/color/sharpened_rgb.hpp>
#include "diagnostics/number_text.hpp"
#include "exposure/result_image.hpp"
#include "numerics/argument_check.hpp"

#include <cstdint>

namespace likeness {
namespace {

/// Runs the forward model on sharpened images on the scale 0..100, for the files that it writes on the way.
class LightnessAndBrightness {
public:
    LightnessAndBrightness(cv::Size size, const Diagnostics& diagnostics)
        : diagnostics_(diagnostics), response_(size, CV_32FC3), J_(size, CV_32F), map_(size, CV_32F) {
        const float background =
            backgroundOfUniformWhite(static_cast<std::int64_t>(size.width) * size.height, whiteLuminance);
        conditions_ = uniformViewingConditions(size, background);
    }

    void dump(const cv::Mat& sharpened) {
        convertSharpenedBGRtoHPE(sharpened, response_);
        computeNonLinearities(response_, response_, conditions_.FL);
        const float Aw = computeLightness(response_, conditions_.Ncb, conditions_.z, J_, map_, diagnostics_);
        computeBrightness(J_, conditions_.FL, conditions_.z, map_, Aw, diagnostics_);
    }

private:
    const Diagnostics& diagnostics_;
    cv::Mat response_, J_, map_;
    ViewingConditionMaps conditions_;
};

}  // namespace

void loadExposureSeq(cv::Mat* exposures, cv::Mat& nonFlash, float* times, std::vector<cv::Mat>& images,
                     std::vector<float>& imageTimes, int count, const Diagnostics& diagnostics) {
    if (count > 0) {
        requireThere("loadExposureSeq", {{"exposures", exposures}, {"times", times}});
    }
    nonFlash *= 255;
    if (diagnostics.wantsFiles()) {
        cv::Mat bytes;
        nonFlash.convertTo(bytes, CV_8U);
        diagnostics.writeImage("test2.jpg", bytes);
    }
    for (int i = 0; i < count; ++i) {
        exposures[i] *= 255;
        cv::Mat bytes;
        exposures[i].convertTo(bytes, CV_8U);
        images.push_back(bytes);
        if (i == 1) {
            diagnostics.writeImage("test10.jpg", images[0]);
            diagnostics.writeImage("test11.jpg", bytes);
        }
        imageTimes.push_back(1 / times[i + 1]);
        diagnostics.print(numberText(imageTimes[static_cast<std::size_t>(i)]) + ' ' + numberText(times[i + 1]) + ' ' +
                          std::to_string(count) + '\n');
    }
}

void recoverLightnessExposureCurve(cv::Mat*& exposures, int count, const Diagnostics& diagnostics) {
    if (count > 0) {
        requireThere("recoverLightnessExposureCurve", {{"exposures", exposures}});
    }
    for (int i = 0; i < count; ++i) {
        requireType("recoverLightnessExposureCurve", CV_32FC3, {{"an exposure", exposures[i]}});
    }
    for (int i = 0; i < count; ++i) {
        cv::Mat& exposure = exposures[i];
        if (diagnostics.wantsFiles()) {
            diagnostics.writeImage("test1.jpg", exposure * 255);
        }
        convertBGRToXYZDirect(exposure, exposure);
        convertXYZtoSharpenedBGR(exposure, exposure);
        iCAMCATByD65(exposure, exposure, exposure);
        if (diagnostics.wantsFiles()) {
            diagnostics.writeImage("test.jpg", exposure * 255);
        }
        exposure *= 100;
        if (diagnostics.wantsFiles()) {
            LightnessAndBrightness(exposure.size(), diagnostics).dump(exposure);
        }
    }
}

void getFinalImg(cv::Mat& img, std::string name) {
    img *= 255;
    writeResultImage(name, img);
}

}  // namespace likeness

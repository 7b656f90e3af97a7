#include <likeness/adaptation/d65_adaptation.hpp>

#include <likeness/adaptation/degree_of_adaptation.hpp>
#include <likeness/color/sharpened_rgb.hpp>
#include "numerics/argument_check.hpp"
#include "numerics/image_walk.hpp"

namespace likeness {
namespace {

constexpr double guard = D65Adaptation::guard;

/// What an element is multiplied by to go from its white to D65.
class D65Factor {
public:
    float operator()(float white, int channel) const noexcept {
        const auto ratio = static_cast<float>(static_cast<double>(d65_.degreeTimesWhite[channel]) /
                                              (guard + static_cast<double>(white)));
        return 1.0F + ratio - d65_.degree;
    }

private:
    D65Adaptation d65_ = d65Adaptation();
};

/// img = combine(img, factor of its white), element by element.
template <typename Combine>
void scaleByD65Factor(cv::Mat& img, const cv::Mat& white, Combine combine) {
    const D65Factor factor;
    const ImageWalk walk = walkOver(img, white);
    for (int i = 0; i < walk.rows; ++i) {
        float* value = img.ptr<float>(i);
        const float* whiteValue = white.ptr<float>(i);
        for (int j = 0; j < walk.cols; ++j, value += 3, whiteValue += 3) {
            for (int c = 0; c < 3; ++c) {
                value[c] = combine(value[c], factor(whiteValue[c], c));
            }
        }
    }
}

}  // namespace

D65Adaptation d65Adaptation() {
    D65Adaptation d65{computeAdapFactD(20.0F), {}};
    cv::Mat white(1, 1, CV_32FC3, cv::Scalar(0.9505F, 1.0F, 1.0888F));
    convertXYZtoSharpenedBGR(white, white);
    for (int c = 0; c < 3; ++c) {
        d65.degreeTimesWhite[c] = white.at<cv::Vec3f>(0, 0)[c] * d65.degree;
    }
    return d65;
}

void iCAMCATByD65(cv::Mat& img, cv::Mat& white, cv::Mat& /*xyz*/) {
    requireType("iCAMCATByD65", CV_32FC3, {{"img", img}});
    requireRoom("iCAMCATByD65", img.size(), CV_32FC3, {{"white", white}});
    scaleByD65Factor(img, white, [](float value, float factor) { return factor * value; });
}

void inverseCATByD65(cv::Mat& img, cv::Mat& white, cv::Mat& /*third*/) {
    requireType("inverseCATByD65", CV_32FC3, {{"img", img}});
    requireRoom("inverseCATByD65", img.size(), CV_32FC3, {{"white", white}});
    scaleByD65Factor(img, white, [](float value, float factor) { return value / factor; });
}

void inverseCAT(cv::Mat& adapted, cv::Mat& targetWhite, cv::Mat& sourceWhite, cv::Mat& out) {
    requireType("inverseCAT", CV_32FC3, {{"adapted", adapted}});
    requireRoom("inverseCAT", adapted.size(), CV_32FC3,
                {{"targetWhite", targetWhite}, {"sourceWhite", sourceWhite}, {"out", out}});
    requireType("inverseCAT", CV_32FC3, {{"out", out}});
    cv::Mat xyz(out.size(), CV_32FC3);
    convertSharpenedBGRtoXYZ(out, xyz);
    const ImageWalk walk = walkOver(adapted, targetWhite, sourceWhite, out, xyz);
    for (int i = 0; i < walk.rows; ++i) {
        const float* value = adapted.ptr<float>(i);
        const float* target = targetWhite.ptr<float>(i);
        const float* pixelXyz = xyz.ptr<float>(i);
        float* source = sourceWhite.ptr<float>(i);
        float* result = out.ptr<float>(i);
        for (int j = 0; j < walk.cols; ++j, value += 3, target += 3, source += 3, result += 3, pixelXyz += 3) {
            const float degree = computeAdapFactD(static_cast<float>(static_cast<double>(pixelXyz[1]) * 0.2));
            for (int c = 0; c < 3; ++c) {
                if (guard > static_cast<double>(source[c])) {
                    source[c] = static_cast<float>(static_cast<double>(source[c]) + guard);
                }
                const float ratio = target[c] * degree / source[c];
                result[c] = value[c] / (1.0F + ratio - degree);
            }
        }
    }
}

}  // namespace likeness

#include <likeness/adaptation/d65_adaptation.hpp>

#include <likeness/adaptation/degree_of_adaptation.hpp>
#include <likeness/color/sharpened_rgb.hpp>
#include "adaptation/adaptation_steps.hpp"
#include "adaptation/usual_degree.hpp"
#include "numerics/argument_check.hpp"
#include "numerics/parallel.hpp"

#include <vector>

namespace likeness {
namespace {

constexpr double guard = D65Adaptation::guard;

/// What an element is multiplied by to go from its white to D65.
class D65Factor {
public:
    D65Factor() {
        for (std::size_t k = 0; k < numerics::blockSize; ++k) {
            degreeTimesWhite_[k] = static_cast<double>(d65_.degreeTimesWhite[k % 3]);
        }
    }

    float operator()(float white, int channel) const noexcept {
        return of(white, static_cast<double>(d65_.degreeTimesWhite[channel]));
    }

    /// Of the whites of at most `numerics::pixelsInBlock` pixels.
    void ofPixels(const float* white, float* factors, std::size_t pixels) const noexcept {
        for (std::size_t k = 0; k < 3 * pixels; ++k) {
            factors[k] = of(white[k], degreeTimesWhite_[k]);
        }
    }

private:
    float of(float white, double degreeTimesWhite) const noexcept {
        return factorToD65(white, degreeTimesWhite, d65_.degree);
    }

    D65Adaptation d65_ = d65Adaptation();
    double degreeTimesWhite_[numerics::blockSize];  // of the channels in turn
};

// Objects, not functions: the loops below are compiled for each, without a call.
constexpr auto multiplied = [](float value, float factor) { return factor * value; };
constexpr auto divided = [](float value, float factor) { return value / factor; };

/// img = combine(img, factor of its white), element by element.
template <typename Combine>
void scaleByD65Factor(cv::Mat& img, const cv::Mat& white, Combine combine) {
    const D65Factor factor;
    const ImageWalk walk = walkOver(img, white);
    numerics::forEachPiece(walk, numerics::pixelsInBlock, [&](int i, std::size_t first, std::size_t count) {
        float* const value = img.ptr<float>(i) + 3 * first;
        // In an array of their own, since the white may be the image itself, the quotients are found in vectors.
        float factors[numerics::blockSize];
        factor.ofPixels(white.ptr<float>(i) + 3 * first, factors, count);
        for (std::size_t k = 0; k < 3 * count; ++k) {
            value[k] = combine(value[k], factors[k]);
        }
    });
}

template <typename Combine>
void scaleByD65Factor(cv::Mat& img, const cv::Vec3f& white, Combine combine) {
    const D65Factor factor;
    const float factors[] = {factor(white[0], 0), factor(white[1], 1), factor(white[2], 2)};
    const ImageWalk walk = walkOver(img);
    numerics::forEachPiece(walk, numerics::pixelsInPiece, [&](int i, std::size_t first, std::size_t count) {
        float* value = img.ptr<float>(i) + 3 * first;
        for (std::size_t j = 0; j < count; ++j, value += 3) {
            for (int c = 0; c < 3; ++c) {
                value[c] = combine(value[c], factors[c]);
            }
        }
    });
}

/// Adapting luminance of a pixel of so much Y.
float adaptingLuminanceOf(float y) {
    return static_cast<float>(static_cast<double>(y) * 0.2);
}

/// The degree of adaptation that each of `count` pixels of sharpened R, G, B sets by its own luminance.
std::vector<float> degreesOfAdaptation(float* sharpened, std::size_t count) {
    cv::Mat colors(1, static_cast<int>(count), CV_32FC3, sharpened);  // read
    cv::Mat xyz(colors.size(), CV_32FC3);
    convertSharpenedBGRtoXYZ(colors, xyz);
    std::vector<float> degrees(count);
    for (std::size_t j = 0; j < count; ++j) {
        degrees[j] = adaptingLuminanceOf(xyz.ptr<float>(0)[3 * j + 1]);
    }
    computeAdapFactD(degrees.data(), degrees.data(), count);
    return degrees;
}

/// A white of the scene that may be divided by.
float guarded(float source) {
    return guard > static_cast<double>(source) ? static_cast<float>(static_cast<double>(source) + guard) : source;
}

/// An element adapted to `target`, taken back to `source`.
float takenBack(float value, float target, float source, float degree) {
    const float ratio = target * degree / source;
    return value / (1.0F + ratio - degree);
}

}  // namespace

D65Adaptation d65Adaptation() {
    D65Adaptation d65{usualDegreeOfAdaptation(), {}};
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
    scaleByD65Factor(img, white, multiplied);
}

void inverseCATByD65(cv::Mat& img, cv::Mat& white, cv::Mat& /*third*/) {
    requireType("inverseCATByD65", CV_32FC3, {{"img", img}});
    requireRoom("inverseCATByD65", img.size(), CV_32FC3, {{"white", white}});
    scaleByD65Factor(img, white, divided);
}

void inverseCAT(cv::Mat& adapted, cv::Mat& targetWhite, cv::Mat& sourceWhite, cv::Mat& out) {
    requireType("inverseCAT", CV_32FC3, {{"adapted", adapted}});
    requireRoom("inverseCAT", adapted.size(), CV_32FC3,
                {{"targetWhite", targetWhite}, {"sourceWhite", sourceWhite}, {"out", out}});
    requireType("inverseCAT", CV_32FC3, {{"out", out}});
    const ImageWalk walk = walkOver(adapted, targetWhite, sourceWhite, out);
    numerics::forEachPiece(walk, numerics::pixelsInPiece, [&](int i, std::size_t first, std::size_t count) {
        const float* value = adapted.ptr<float>(i) + 3 * first;
        const float* target = targetWhite.ptr<float>(i) + 3 * first;
        float* source = sourceWhite.ptr<float>(i) + 3 * first;
        float* result = out.ptr<float>(i) + 3 * first;
        const std::vector<float> degrees = degreesOfAdaptation(result, count);
        for (std::size_t j = 0; j < count; ++j, value += 3, target += 3, source += 3, result += 3) {
            for (int c = 0; c < 3; ++c) {
                source[c] = guarded(source[c]);
                result[c] = takenBack(value[c], target[c], source[c], degrees[j]);
            }
        }
    });
}

void scaleToD65(cv::Mat& img, const cv::Vec3f& white) {
    scaleByD65Factor(img, white, multiplied);
}

void scaleFromD65(cv::Mat& img, const cv::Vec3f& white) {
    scaleByD65Factor(img, white, divided);
}

void scaleToScene(cv::Mat& img, const cv::Vec3f& adaptedTo, const cv::Vec3f& scene) {
    const float source[] = {guarded(scene[0]), guarded(scene[1]), guarded(scene[2])};
    const ImageWalk walk = walkOver(img);
    numerics::forEachPiece(walk, numerics::pixelsInPiece, [&](int i, std::size_t first, std::size_t count) {
        float* value = img.ptr<float>(i) + 3 * first;
        const std::vector<float> degrees = degreesOfAdaptation(value, count);
        for (std::size_t j = 0; j < count; ++j, value += 3) {
            for (int c = 0; c < 3; ++c) {
                value[c] = takenBack(value[c], adaptedTo[c], source[c], degrees[j]);
            }
        }
    });
}

}  // namespace likeness

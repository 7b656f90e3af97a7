#include <likeness/structure/structure_tensor.hpp>

#include "color/photograph_argument.hpp"
#include "diagnostics/watched_bands.hpp"
#include "numerics/argument_check.hpp"
#include "numerics/image_walk.hpp"
#include "structure/tensor_eigenvalues.hpp"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <sstream>
#include <string>

namespace likeness {
namespace {

constexpr int border = cv::BORDER_REFLECT_101;

float orientationStrength(float t00, float t10, float t11) {
    // The eigenvalues' difference is at most this sum, and below 24,400 the exponential is less than 2^-24: lost beside
    // 0.5. So most pixels need no eigenvalues. NaN goes on.
    if (std::fabs(t00) + std::fabs(t11) + 2.0F * std::fabs(t10) < 24000.0F) {
        return 0.5F;
    }
    const Eigenvalues l = symmetricEigenvalues(t00, t10, t11);
    const float difference = l.greater - l.lesser;
    return static_cast<float>(0.5 * static_cast<double>(std::exp(-1e10F / (difference * difference))) + 0.5);
}

float coherence(float t00, float t10, float t11) {
    const Eigenvalues l = symmetricEigenvalues(t00, t10, t11);
    const float ratio = (l.greater - l.lesser) / (l.greater + l.lesser);
    return ratio * ratio;
}

std::string eigenText(float t00, float t10, float t11) {
    const cv::Mat tensor = (cv::Mat_<float>(2, 2) << t00, t10, t10, t11);
    cv::Mat values;
    cv::Mat vectors;
    if (!cv::eigen(tensor, values, vectors)) {
        const cv::Scalar notANumber(std::numeric_limits<double>::quiet_NaN());
        values = cv::Mat(2, 1, CV_32F, notANumber);
        vectors = cv::Mat(2, 2, CV_32F, notANumber);
    }
    const float rootOfTrace = std::sqrt(t00 + t11);
    std::ostringstream text;
    text << cv::Mat(vectors * rootOfTrace) << "eig V" << values << ' ' << rootOfTrace << '\n';
    return text.str();
}

/// The maps that are made only to be looked at, of the whole image.
struct ShownMaps {
    explicit ShownMaps(cv::Size size)
        : smoothed(size, CV_32FC3),
          gradientX(size, CV_32F),
          mixed(size, CV_32F),
          smoothedMixed(size, CV_32F),
          coherence(size, CV_32F) {}

    void write(const cv::Mat& strength, const Diagnostics& diagnostics) const {
        diagnostics.writeImage("inputGauss.jpg", smoothed);
        diagnostics.writeImage("sobel.jpg", gradientX);
        diagnostics.writeImage("sobelMatr.jpg", mixed);
        diagnostics.writeImage("sobelGauss.jpg", smoothedMixed);
        diagnostics.writeImage("tensorX.jpg", gradientX * 255.0);
        diagnostics.writeImage("tensor.jpg", strength * 255.0);
        diagnostics.writeImage("coherence.jpg", coherence * 255.0);
    }

    cv::Mat smoothed;
    cv::Mat gradientX;  // of channel 0
    cv::Mat mixed;
    cv::Mat smoothedMixed;
    cv::Mat coherence;
};

/// The structure tensor of a few rows of an image at a time, so that its planes stay in the processor's cache.
class BandTensor {
public:
    BandTensor(const cv::Mat& image, int kernelSide) : image_(image), kernel_(kernelSide, kernelSide) {}

    /// Finds the smoothed tensor of the rows `band`, and fills these rows of the shown maps where they are wanted.
    void find(cv::Range band, ShownMaps* shown) {
        // Of the rows around the band, those that the derivatives and the second smoothing reach to are worked out,
        // too. What the filters make of the outermost of them is not used.
        const int reach = kernel_.height / 2 + 1;
        const cv::Range rows(std::max(band.start - reach, 0), std::min(band.end + reach, image_.rows));
        own_ = cv::Range(band.start - rows.start, band.end - rows.start);
        cv::GaussianBlur(image_.rowRange(rows), smoothed_, kernel_, 0, 0, border);
        for (cv::Mat* const entry : {&xx_, &xy_, &yy_}) {
            entry->create(smoothed_.size(), CV_32F);
            entry->setTo(0);
        }
        for (int c = 0; c < 3; ++c) {
            cv::extractChannel(smoothed_, channel_, c);
            cv::Sobel(channel_, gradientX_, CV_32F, 1, 0, 3, 1.0, 0.0, border);
            cv::Sobel(channel_, gradientY_, CV_32F, 0, 1, 3, 1.0, 0.0, border);
            addOuterProducts();
            if (shown != nullptr && c == 0) {
                gradientX_.rowRange(own_).copyTo(shown->gradientX.rowRange(band));
            }
        }
        if (shown != nullptr) {
            smoothed_.rowRange(own_).copyTo(shown->smoothed.rowRange(band));
            xy_.rowRange(own_).copyTo(shown->mixed.rowRange(band));
        }
        for (cv::Mat* const entry : {&xx_, &xy_, &yy_}) {
            cv::GaussianBlur(*entry, *entry, kernel_, 0, 0, border);
        }
        if (shown != nullptr) {
            xy_.rowRange(own_).copyTo(shown->smoothedMixed.rowRange(band));
        }
    }

    /// Calls result = function(t00, t10, t11) for every pixel of the band.
    template <typename Function>
    void map(cv::Mat result, Function function) const {
        for (int i = 0; i < result.rows; ++i) {
            const float* const xx = xx_.ptr<float>(own_.start + i);
            const float* const xy = xy_.ptr<float>(own_.start + i);
            const float* const yy = yy_.ptr<float>(own_.start + i);
            float* const value = result.ptr<float>(i);
            for (int j = 0; j < result.cols; ++j) {
                value[j] = function(xx[j], xy[j], yy[j]);
            }
        }
    }

    /// The lines about the band's first pixel.
    std::string firstPixelText() const {
        return eigenText(xx_.at<float>(own_.start, 0), xy_.at<float>(own_.start, 0), yy_.at<float>(own_.start, 0));
    }

private:
    void addOuterProducts() {
        const ImageWalk walk = walkOver(gradientX_, gradientY_, xx_, xy_, yy_);
        for (int i = 0; i < walk.rows; ++i) {
            const float* const gx = gradientX_.ptr<float>(i);
            const float* const gy = gradientY_.ptr<float>(i);
            float* const xx = xx_.ptr<float>(i);
            float* const xy = xy_.ptr<float>(i);
            float* const yy = yy_.ptr<float>(i);
            for (int j = 0; j < walk.cols; ++j) {
                xx[j] += gx[j] * gx[j];
                yy[j] += gy[j] * gy[j];
                xy[j] += gx[j] * gy[j];
            }
        }
    }

    const cv::Mat& image_;
    cv::Size kernel_;
    cv::Range own_;  // rows of the planes below that belong to the band
    cv::Mat smoothed_;
    cv::Mat channel_;
    cv::Mat gradientX_;
    cv::Mat gradientY_;
    cv::Mat xx_;
    cv::Mat xy_;  // both mixed entries
    cv::Mat yy_;
};

/// Fills `strength`, and `coherence` where there is one, band by band.
/// @param image  CV_32FC3 on the scale 0..255
void mapStructure(const cv::Mat& image, int kernelSide, cv::Mat& strength, cv::Mat* coherenceMap, const Watch& watch) {
    constexpr int bandHeight = 32;
    const Diagnostics& diagnostics = watch.receiver();
    std::optional<ShownMaps> shown;
    if (diagnostics.wantsFiles()) {
        shown.emplace(image.size());
    }
    forEachBand(image.size(), bandHeight, watch, 0, [&](cv::Range band) {
        BandTensor tensor(image, kernelSide);
        tensor.find(band, shown ? &*shown : nullptr);
        tensor.map(strength(band, cv::Range(0, image.cols)), orientationStrength);  // it may be larger
        if (shown) {
            tensor.map(shown->coherence.rowRange(band), coherence);
        }
        if (coherenceMap != nullptr) {
            tensor.map(coherenceMap->rowRange(band), coherence);
        }
        if (band.start == 0 && diagnostics.wantsMessages()) {
            diagnostics.print(tensor.firstPixelText());
        }
    });
    if (shown) {
        shown->write(strength, diagnostics);
    }
}

}  // namespace

void computeStructuralTensor(cv::Mat& image, cv::Mat& out, float size, const Diagnostics& diagnostics) {
    CV_Assert(!image.empty());
    requireType("computeStructuralTensor", CV_32FC3, {{"image", image}});
    requireRoom("computeStructuralTensor", image.size(), CV_32F, {{"out", out}});
    Watch watch;
    watch.diagnostics = &diagnostics;
    mapStructure(image, static_cast<int>(size), out, nullptr, watch);
}

Structure orientedStructure(const cv::Mat& photograph, const StructureOptions& options, const Watch& watch) {
    if (photograph.empty()) {
        return {};
    }
    requireBetween("size", options.size, 1, 99);
    if (options.size % 2 == 0) {
        refuseArgument("size", "it must be odd, not " + std::to_string(options.size));
    }
    const cv::Mat image = unitPhotograph("photograph", photograph) * 255.0;  // the strength's constant is one for bytes
    Structure structure;
    structure.strength.create(image.size(), CV_32F);
    if (options.coherence) {
        structure.coherence.create(image.size(), CV_32F);
    }
    mapStructure(image, options.size, structure.strength, options.coherence ? &structure.coherence : nullptr, watch);
    if (options.coherence) {
        structure.coherence *= 255.0;  // to the scale of the dump and back, so that both say the same
        structure.coherence /= 255.0;
    }
    return structure;
}

}  // namespace likeness

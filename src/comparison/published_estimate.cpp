#include "comparison/published_estimate.hpp"

#include "comparison/estimated_bins.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

namespace likeness {
namespace {

constexpr std::size_t blockSize = PublishedEstimate::blockSize;

// Relative errors. A cone's response carries the roundings of three products and sums, doubled at most because it is
// more than half of their size (6e-7), of the logarithm up to 2^5 and of the power: below 1.5e-6. The achromatic
// response is a sum of positive ones; its logarithm's error is multiplied by an exponent up to 1.24.
constexpr float responseError = 1.5e-6F;
constexpr float rootError = 4e-6F;
constexpr float magnitudeError = 5.5e-6F;
constexpr float rounding = 4e-6F;

LIKENESS_ALWAYS_INLINE std::int32_t binOf(float value, float error, bool& certain) {
    return estimatedBin(value, error, PublishedEstimate::binLimit, certain);
}

/// Linear value of an element: of a level by the table, of a float, which is linear, itself.
LIKENESS_ALWAYS_INLINE float linearOf(const PublishedEstimate::Constants& constants, uchar level) {
    return constants.linear[level];
}
LIKENESS_ALWAYS_INLINE float linearOf(const PublishedEstimate::Constants& /*constants*/, float linear) {
    return linear;
}

template <typename Element>
LIKENESS_ALWAYS_INLINE void binsOf(const PublishedEstimate::Constants& constants, const Element* bgr, std::size_t count,
                                   PublishedEstimate::Bins& out) {
    float red[blockSize];
    float green[blockSize];
    float blue[blockSize];
    for (std::size_t i = 0; i < count; ++i) {
        blue[i] = linearOf(constants, bgr[3 * i]);
        green[i] = linearOf(constants, bgr[3 * i + 1]);
        red[i] = linearOf(constants, bgr[3 * i + 2]);
    }
    // Copies: no store of the loops can change them, which a compiler does not know of the constants themselves.
    const auto [toRho, toGamma, toBeta] = constants.cones;
    const auto [sizeOfRho, sizeOfGamma, sizeOfBeta] = constants.magnitude;
    const float scale = constants.scale;
    const float lowKnee = constants.lowKnee;
    const float lowSlope = constants.lowSlope;
    const float highKnee = constants.highKnee;
    const float highResponse = constants.highResponse;
    const float highSlope = constants.highSlope;
    const float chromaticFactor = constants.chromaticFactor;
    const auto compressed = [=](float q) {
        const float curve = compressedCone(scale * q);
        const float below = q < lowKnee ? lowSlope * q : curve;
        return q > highKnee ? highResponse + highSlope * (q - highKnee) : below;
    };
    float achromatic[blockSize];
    float magnitude[blockSize];
    std::int32_t sound[blockSize];
    for (std::size_t i = 0; i < count; ++i) {
        const float q0 = times(toRho, red[i], green[i], blue[i]);
        const float q1 = times(toGamma, red[i], green[i], blue[i]);
        const float q2 = times(toBeta, red[i], green[i], blue[i]);
        const float redSize = std::abs(red[i]);
        const float greenSize = std::abs(green[i]);
        const float blueSize = std::abs(blue[i]);
        const float half0 = 0.5F * times(sizeOfRho, redSize, greenSize, blueSize);
        const float half1 = 0.5F * times(sizeOfGamma, redSize, greenSize, blueSize);
        const float half2 = 0.5F * times(sizeOfBeta, redSize, greenSize, blueSize);
        const float least = q0 < q1 ? (q0 < q2 ? q0 : q2) : (q1 < q2 ? q1 : q2);
        const float greatest = q0 > q1 ? (q0 > q2 ? q0 : q2) : (q1 > q2 ? q1 : q2);
        const bool clear =
            (q0 > half0) & (q1 > half1) & (q2 > half2) & (scale * least > 1e-9F) & (scale * greatest < 1e9F);
        sound[i] = clear ? 1 : 0;
        const float rho = compressed(clear ? q0 : 1.0F);
        const float gamma = compressed(clear ? q1 : 1.0F);
        const float beta = compressed(clear ? q2 : 1.0F);
        const EstimatedChromaticity seen = estimatedChromaticity(rho, gamma, beta);
        achromatic[i] = seen.achromatic;
        magnitude[i] = chromaticFactor * seen.eccentricRadius / seen.divisor;
    }
    const float whiteLogarithm = constants.whiteLogarithm;
    const float halfExponent = constants.halfExponent;
    const float brightnessFactor = constants.brightnessFactor;
    const float chromaFactor = constants.chromaFactor;
    const float colorfulnessFactor = constants.colorfulnessFactor;
    const float saturationFactor = constants.saturationFactor;
    const float absoluteError = constants.chromaticError;
    for (std::size_t i = 0; i < count; ++i) {
        const float t = magnitude[i];
        bool certain = (sound[i] != 0) & (t > 16.0F * absoluteError);
        const float safe = certain ? t : 1.0F;
        const float root = exp2Of(halfExponent * (log2Of(achromatic[i]) - whiteLogarithm));
        const float halfPower = exp2Of(0.45F * log2Of(safe));
        const float Q = brightnessFactor * root;
        const float J = 100.0F * root * root;
        const float C = chromaFactor * halfPower * halfPower * root;
        const float M = colorfulnessFactor * C;
        const float s = saturationFactor * halfPower;
        const float chromaError = magnitudeError + absoluteError / safe + rootError;
        out.brightness[i] = binOf(Q, Q * (rootError + 1e-6F) + rounding, certain);
        out.lightness[i] = binOf(J, J * 2 * rootError + rounding, certain);
        out.chroma[i] = binOf(C, C * chromaError + rounding, certain);
        out.colorfulness[i] = binOf(M, M * chromaError + rounding, certain);
        out.saturation[i] = binOf(s, s * chromaError + rounding, certain);
        out.certain[i] = certain ? 1 : 0;
    }
}

#ifdef LIKENESS_HAVE_AVX2_ESTIMATES

template <typename Element>
__attribute__((target("avx2,fma"))) void binsByAvx2(const PublishedEstimate::Constants& constants, const Element* bgr,
                                                    std::size_t count, PublishedEstimate::Bins& out) {
    binsOf(constants, bgr, count, out);
}

#endif

PublishedEstimate::Row rowOf(const cv::Matx33d& matrix, int row, bool withSigns) {
    const auto element = [&](int column) {
        const double value = matrix(row, column);
        return static_cast<float>(withSigns ? value : std::abs(value));
    };
    return {element(0), element(1), element(2)};
}

}  // namespace

PublishedEstimate::PublishedEstimate(const PublishedModel& model, const cv::Matx33d& xyzFromLinear,
                                     const double (&linear)[256], Vectors vectors)
    : serves_(model.compression_.scale > 0), useAvx2_(vectors == Vectors::best && haveAvx2()) {
    Constants& k = constants_;
    std::transform(std::begin(linear), std::end(linear), k.linear, [](double v) { return static_cast<float>(v); });
    const cv::Matx33d cones = model.conesFromXyz_ * xyzFromLinear;
    for (int row = 0; row < 3; ++row) {
        k.cones[row] = rowOf(cones, row, true);
        k.magnitude[row] = rowOf(cones, row, false);
    }
    const PublishedModel::Compression& compression = model.compression_;
    constexpr float never = std::numeric_limits<float>::infinity();
    k.scale = static_cast<float>(compression.scale);
    k.lowKnee = compression.lines ? static_cast<float>(PublishedModel::lowKnee) : -never;
    k.lowSlope = static_cast<float>(compression.lowSlope);
    k.highKnee = compression.lines ? static_cast<float>(PublishedModel::highKnee) : never;
    k.highResponse = static_cast<float>(compression.highResponse);
    k.highSlope = static_cast<float>(compression.highSlope);
    const double c = model.conditions_.surround.impact;
    const double level = model.levelRoot_;
    const double white = model.factors_.whiteResponse + 4;
    k.whiteLogarithm = static_cast<float>(std::log2(model.whiteResponse_));
    k.halfExponent = static_cast<float>(c * model.factors_.baseExponent / 2);
    k.brightnessFactor = static_cast<float>(4 / c * white * level);
    k.chromaticFactor = static_cast<float>(0.25 * model.magnitudeScale_);
    // Of r: that of a and b, 1.5 times the responses' and their roundings; 4.8 / 4 of it is in e r.
    k.chromaticError = static_cast<float>(1.2 * 1.5 * double{responseError} * model.magnitudeScale_);
    k.chromaFactor = static_cast<float>(model.backgroundShare_);
    k.colorfulnessFactor = static_cast<float>(level);
    k.saturationFactor = static_cast<float>(50 * std::sqrt(model.backgroundShare_ * c / white));
}

template <typename Element>
void PublishedEstimate::binsOfElements(const Element* bgr, std::size_t count, Bins& out) const {
#ifdef LIKENESS_HAVE_AVX2_ESTIMATES
    if (useAvx2_) {
        binsByAvx2(constants_, bgr, count, out);
        return;
    }
#endif
    binsOf(constants_, bgr, count, out);
}

void PublishedEstimate::bins(const uchar* bgr, std::size_t count, Bins& out) const {
    binsOfElements(bgr, count, out);
}

void PublishedEstimate::bins(const float* linearBgr, std::size_t count, Bins& out) const {
    binsOfElements(linearBgr, count, out);
}

}  // namespace likeness

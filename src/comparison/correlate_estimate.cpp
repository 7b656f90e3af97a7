#include "comparison/correlate_estimate.hpp"

#include <likeness/adaptation/d65_adaptation.hpp>
#include <likeness/appearance/appearance_correlates.hpp>
#include <likeness/appearance/cone_responses.hpp>
#include <likeness/appearance/viewing_conditions.hpp>
#include <likeness/color/bgr_xyz.hpp>
#include <likeness/color/sharpened_rgb.hpp>
#include <likeness/color/srgb_companding.hpp>

#include <cmath>

namespace likeness {
namespace {

constexpr std::size_t blockSize = CorrelateEstimate::blockSize;

LIKENESS_ALWAYS_INLINE void responsesOf(const CorrelateEstimate::Constants& k, const uchar* bgr, std::size_t count,
                                        CorrelateEstimate::Responses& out) {
    float red[blockSize];
    float green[blockSize];
    float blue[blockSize];
    for (std::size_t i = 0; i < count; ++i) {
        blue[i] = k.linear[bgr[3 * i]];
        green[i] = k.linear[bgr[3 * i + 1]];
        red[i] = k.linear[bgr[3 * i + 2]];
    }
    // Copies: no store of the loop can change them, which a compiler does not know of the constants themselves.
    const auto [toRed, toGreen, toBlue] = k.sharpenedFromLinear;
    const auto [toRho, toGamma, toBeta] = k.responseFromSharpened;
    const auto [adaptedRed, adaptedGreen, adaptedBlue] = k.adapted;
    const float unadapted = k.unadapted;
    const float guard = k.guard;
    const float achromaticFactor = k.achromaticFactor;
    const float chromaticFactor = k.chromaticFactor;
    const auto adapt = [unadapted, guard](float v, float adapted) { return v * (unadapted + adapted / (v + guard)); };
    for (std::size_t i = 0; i < count; ++i) {
        const float R = adapt(times(toRed, red[i], green[i], blue[i]), adaptedRed);
        const float G = adapt(times(toGreen, red[i], green[i], blue[i]), adaptedGreen);
        const float B = adapt(times(toBlue, red[i], green[i], blue[i]), adaptedBlue);
        const float rho = compressedCone(times(toRho, R, G, B));
        const float gamma = compressedCone(times(toGamma, R, G, B));
        const float beta = compressedCone(times(toBeta, R, G, B));
        const EstimatedChromaticity seen = estimatedChromaticity(rho, gamma, beta);
        out.achromatic[i] = achromaticFactor * seen.achromatic;
        out.chromatic[i] = chromaticFactor * seen.eccentricRadius / seen.divisor;
    }
}

LIKENESS_ALWAYS_INLINE std::int32_t binOf(float value, float error, bool& certain) {
    return estimatedBin(value, error, CorrelateEstimate::binLimit, certain);
}

LIKENESS_ALWAYS_INLINE void binsOf(const CorrelateEstimate::Constants& k, const CorrelateEstimate::Responses& in,
                                   std::size_t count, float whiteResponse, CorrelateEstimate::Bins& out) {
    const float halfExponent = 0.5F * k.lightnessExponent;
    const float chromaFactor = k.chromaFactor;
    const float colorfulnessFactor = k.colorfulnessFactor;
    const float whiteLogarithm = std::log2(whiteResponse);
    const float brightnessFactor = k.brightnessFactor * (4.0F + whiteResponse);
    const float saturationFactor = 100.0F * std::sqrt(k.chromaFactor * k.colorfulnessFactor / brightnessFactor);
    for (std::size_t i = 0; i < count; ++i) {
        const float A = in.achromatic[i];
        const float t = in.chromatic[i];
        const float root = exp2Of(halfExponent * (log2Of(A) - whiteLogarithm));  // sqrt(J / 100)
        const float halfPower = exp2Of(0.45F * log2Of(t));
        const float Q = brightnessFactor * root;
        const float J = 100.0F * root * root;
        const float C = halfPower * halfPower * root * chromaFactor;
        const float M = C * colorfulnessFactor;
        const float s = saturationFactor * halfPower;
        // No error is multiplied by an exponent above 1.
        constexpr float rounding = 4e-6F;
        constexpr float lightnessError = 2 * CorrelateEstimate::achromaticError + rounding;
        const float chromaError =
            CorrelateEstimate::chromaticError + CorrelateEstimate::chromaticAbsoluteError / t + lightnessError;
        bool certain = (A > 1e-3F * whiteResponse) & (t > 1e-3F);
        out.brightness[i] = binOf(Q, Q * lightnessError + rounding, certain);
        out.lightness[i] = binOf(J, J * lightnessError + rounding, certain);
        out.chroma[i] = binOf(C, C * chromaError + rounding, certain);
        out.colorfulness[i] = binOf(M, M * chromaError + rounding, certain);
        out.saturation[i] = binOf(s, s * chromaError + rounding, certain);
        out.certain[i] = certain ? 1 : 0;
    }
}

#ifdef LIKENESS_HAVE_AVX2_ESTIMATES

__attribute__((target("avx2,fma"))) void responsesByAvx2(const CorrelateEstimate::Constants& k, const uchar* bgr,
                                                         std::size_t count, CorrelateEstimate::Responses& out) {
    responsesOf(k, bgr, count, out);
}

__attribute__((target("avx2,fma"))) void binsByAvx2(const CorrelateEstimate::Constants& k,
                                                    const CorrelateEstimate::Responses& in, std::size_t count,
                                                    float whiteResponse, CorrelateEstimate::Bins& out) {
    binsOf(k, in, count, whiteResponse, out);
}

#endif

/// The sharpened R, G, B of the three primaries as the columns of a matrix.
void fillSharpenedFromLinear(CorrelateEstimate::Row (&rows)[3]) {
    cv::Mat primaries(1, 3, CV_32FC3, cv::Scalar::all(0));
    for (int p = 0; p < 3; ++p) {
        primaries.at<cv::Vec3f>(0, p)[2 - p] = 1;
    }
    convertBGRToXYZDirect(primaries, primaries);
    convertXYZtoSharpenedBGR(primaries, primaries);
    for (int row = 0; row < 3; ++row) {
        const auto component = [&](int p) { return primaries.at<cv::Vec3f>(0, p)[2 - row]; };
        rows[row] = {component(0), component(1), component(2)};
    }
}

}  // namespace

CorrelateEstimate::CorrelateEstimate(float backgroundLuminance, Vectors vectors)
    : useAvx2_(vectors == Vectors::best && haveAvx2()) {
    Constants& k = constants_;
    for (int level = 0; level < 256; ++level) {
        k.linear[level] = sRGBInverseCompanding(static_cast<float>(level / 255.0));
    }
    fillSharpenedFromLinear(k.sharpenedFromLinear);

    const D65Adaptation d65 = d65Adaptation();
    k.unadapted = 1.0F - d65.degree;
    k.guard = static_cast<float>(d65.guard);
    for (int row = 0; row < 3; ++row) {
        k.adapted[row] = d65.degreeTimesWhite[2 - row];
    }

    const float FL = computeFl(adaptingLuminance);
    const cv::Mat hpe = hpeFromSharpenedRgb();
    for (int row = 0; row < 3; ++row) {
        k.responseFromSharpened[row] = {FL * hpe.at<float>(row, 0), FL * hpe.at<float>(row, 1),
                                        FL * hpe.at<float>(row, 2)};
    }

    const float n = computeN(backgroundLuminance, whiteLuminance);
    const float Ncb = computeNcb(backgroundLuminance, whiteLuminance);
    k.achromaticFactor = Ncb;
    k.chromaticFactor = static_cast<float>(0.25 * darkSurroundInduction * chromaScale * Ncb);
    k.lightnessExponent = computeZ(backgroundLuminance, whiteLuminance) * darkSurroundImpact;
    k.colorfulnessFactor = static_cast<float>(luminanceLevelRoot(FL));
    k.brightnessFactor = 4.0F * k.colorfulnessFactor / darkSurroundImpact;
    k.chromaFactor = static_cast<float>(chromaOfBackground(n));
}

void CorrelateEstimate::responses(const uchar* bgr, std::size_t count, Responses& out) const {
#ifdef LIKENESS_HAVE_AVX2_ESTIMATES
    if (useAvx2_) {
        responsesByAvx2(constants_, bgr, count, out);
        return;
    }
#endif
    responsesOf(constants_, bgr, count, out);
}

void CorrelateEstimate::bins(const Responses& responses, std::size_t count, float whiteResponse, Bins& out) const {
#ifdef LIKENESS_HAVE_AVX2_ESTIMATES
    if (useAvx2_) {
        binsByAvx2(constants_, responses, count, whiteResponse, out);
        return;
    }
#endif
    binsOf(constants_, responses, count, whiteResponse, out);
}

}  // namespace likeness

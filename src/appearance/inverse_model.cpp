#include <likeness/appearance/inverse_model.hpp>

#include <likeness/appearance/appearance_correlates.hpp>
#include <likeness/appearance/cone_responses.hpp>
#include <likeness/appearance/viewing_conditions.hpp>
#include <likeness/color/pixel_matrix.hpp>
#include "appearance/background_chroma.hpp"
#include "appearance/correlate_kernels.hpp"
#include "appearance/last_value_cache.hpp"
#include "diagnostics/message_lines.hpp"
#include "diagnostics/number_text.hpp"
#include "numerics/argument_check.hpp"
#include "numerics/parallel.hpp"
#include "numerics/transcendental_blocks.hpp"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdint>
#include <string>

namespace likeness {
namespace {

using kernels::pi;
using numerics::blockSize;
using numerics::forEachBlock;
using numerics::roundedOr;

constexpr double chromaExponent = 1.1111111111111112;    // 1 / 0.9
constexpr double expansionExponent = 2.380952380952381;  // 1 / 0.42
constexpr double smallestBrightness = 1e-6;

double squareRoot(float level) {
    return std::pow(static_cast<double>(level), 0.5);
}

double lightnessExponent(float z) {
    return 1.0 / static_cast<double>(z * darkSurroundImpact);
}

double magnitudeOfBackground(float n) {
    return backgroundChroma(static_cast<double>(n), 0.8111111111111111);  // 0.73 / 0.9
}

double radians(float degrees) {
    return static_cast<double>(degrees) * pi / 180.0;
}

/// Whether the hue lies left of the yellow-blue axis. Up to half a turn the angle itself tells: a quarter turn in
/// double lies just below pi / 2, the next float above it; and the sine is 0 at 0 only.
bool pointsToGreen(float degrees) {
    if (std::abs(degrees) <= 180.0F) {
        return std::abs(degrees) > 90.0F;
    }
    const double angle = radians(degrees);
    return std::cos(angle) < 0 && std::sin(angle) != 0;
}

/// Where compressed responses can be inverted: above what 0 gives and below the asymptote.
float clampedResponse(float response) {
    if (response <= 0.1) {
        response = 0.1F;
    }
    // Never true, a float does not equal the double 0.1 (departure 24).
    if (response == 0.1) {
        response = static_cast<float>(response + 0.1);
    }
    return response > 400.1 ? 400.0F : response;
}

float expansionBase(float response) {
    return static_cast<float>((response * 27.13 - 2.713) / (static_cast<double>(400.0F - response) + 0.1));
}

float lightnessRatioPower(float J, float exponentMap, float Aw) {
    return static_cast<float>(Aw * std::pow(J / 100.0, lightnessExponent(exponentMap)));
}

void achromaticResponseOfBlock(const float* J, const float* z, float* A, float Aw, std::size_t count) {
    if (!std::all_of(z, z + count, [z](float value) { return value == *z; })) {
        for (std::size_t i = 0; i < count; ++i) {
            A[i] = lightnessRatioPower(J[i], z[i], Aw);
        }
        return;
    }
    double power[blockSize] = {};
    for (std::size_t i = 0; i < count; ++i) {
        power[i] = J[i] / 100.0;
    }
    numerics::powBlock(power, lightnessExponent(*z), power, count);
    for (std::size_t i = 0; i < count; ++i) {
        A[i] = roundedOr(Aw * power[i], [&] { return lightnessRatioPower(J[i], z[i], Aw); });
    }
}

}  // namespace

void brightness2Lightness(cv::Mat& Q, cv::Mat& FL, cv::Mat& J, float Aw) {
    requireType("brightness2Lightness", CV_32F, {{"J", J}});
    requireRoom("brightness2Lightness", J.size(), CV_32F, {{"Q", Q}, {"FL", FL}});
    const double c = darkSurroundImpact;
    const double whiteTerm = 4 + Aw;
    const ImageWalk walk = walkOver(J, Q, FL);
    numerics::forEachPiece(walk, numerics::pixelsInPiece, [&](int i, std::size_t first, std::size_t count) {
        LastValueCache levelFactor(squareRoot);
        float* const brightness = Q.ptr<float>(i) + first;
        const float* const level = FL.ptr<float>(i) + first;
        float* const lightness = J.ptr<float>(i) + first;
        for (std::size_t j = 0; j < count; ++j) {
            float q = brightness[j];
            if (q < smallestBrightness) {
                q = static_cast<float>(q + smallestBrightness);
                brightness[j] = q;
            }
            const double squared = q * q;
            lightness[j] =
                static_cast<float>(25.0 * squared * c * c / (whiteTerm * (4.0 * levelFactor(level[j])) * whiteTerm));
        }
    });
    // Lightness above 100 is not limited (departure 22). (Comparing the greatest J with 100 and
    // writing J back to itself would have no effect that could be observed, so neither is done.)
}

void lightness2A(cv::Mat& J, cv::Mat& z, cv::Mat& A, float Aw, const Diagnostics& diagnostics) {
    requireType("lightness2A", CV_32F, {{"J", J}});
    requireRoom("lightness2A", J.size(), CV_32F, {{"z", z}, {"A", A}});
    const ImageWalk walk = walkOver(J, z, A);
    numerics::forEachPiece(walk, blockSize, [&](int i, std::size_t first, std::size_t count) {
        achromaticResponseOfBlock(J.ptr<float>(i) + first, z.ptr<float>(i) + first, A.ptr<float>(i) + first, Aw, count);
    });
    if (diagnostics.wantsMessages()) {
        float sum = 0;
        for (int i = 0; i < walk.rows; ++i) {
            const float* const achromatic = A.ptr<float>(i);
            for (int j = 0; j < walk.cols; ++j) {
                sum += achromatic[j];
            }
        }
        const float mean = sum / static_cast<float>(static_cast<std::int64_t>(J.rows) * J.cols);
        diagnostics.print("mean A " + numberText(mean) + '\n');
    }
}

void chromaAndLightness2t(cv::Mat& C, cv::Mat& J, cv::Mat& n, cv::Mat& t, const Diagnostics& diagnostics) {
    requireType("chromaAndLightness2t", CV_32F, {{"C", C}});
    requireRoom("chromaAndLightness2t", C.size(), CV_32F, {{"J", J}, {"n", n}, {"t", t}});
    const ImageWalk walk = walkOver(C, J, n, t);
    numerics::forEachPiece(walk, blockSize, [&](int i, std::size_t first, std::size_t count) {
        LastValueCache backgroundFactor(magnitudeOfBackground);
        double chromaPower[blockSize] = {};
        double rootPower[blockSize] = {};
        const float* const chroma = C.ptr<float>(i) + first;
        const float* const lightness = J.ptr<float>(i) + first;
        const float* const background = n.ptr<float>(i) + first;
        float* const magnitude = t.ptr<float>(i) + first;
        for (std::size_t j = 0; j < count; ++j) {
            chromaPower[j] = chroma[j];
            rootPower[j] = std::sqrt(lightness[j] / 100.0);
        }
        numerics::powBlock(chromaPower, chromaExponent, chromaPower, count);
        numerics::powBlock(rootPower, chromaExponent, rootPower, count);
        for (std::size_t j = 0; j < count; ++j) {
            const double factor = backgroundFactor(background[j]);
            magnitude[j] = roundedOr(chromaPower[j] / (factor * rootPower[j]), [&] {
                return std::pow(static_cast<double>(chroma[j]), chromaExponent) /
                       (factor * std::pow(std::sqrt(lightness[j] / 100.0), chromaExponent));
            });
        }
    });
    diagnostics.writeImage("t_after.jpg", t);
}

void hue2AB(cv::Mat& A, cv::Mat& hue, cv::Mat& t, cv::Mat& eccentricity, cv::Mat& Nbb, cv::Mat& a, cv::Mat& b,
            float Nc) {
    requireType("hue2AB", CV_32F, {{"A", A}});
    requireRoom("hue2AB", A.size(), CV_32F,
                {{"hue", hue}, {"t", t}, {"eccentricity", eccentricity}, {"Nbb", Nbb}, {"a", a}, {"b", b}});
    const double k = Nc * chromaScale;
    const ImageWalk walk = walkOver(A, hue, t, eccentricity, Nbb, a, b);
    numerics::forEachPiece(walk, blockSize, [&](int i, std::size_t first, std::size_t count) {
        double tangent[blockSize] = {};
        const float* const achromatic = A.ptr<float>(i) + first;
        const float* const degrees = hue.ptr<float>(i) + first;
        const float* const magnitude = t.ptr<float>(i) + first;
        const float* const eccentric = eccentricity.ptr<float>(i) + first;
        const float* const induction = Nbb.ptr<float>(i) + first;
        float* const redGreen = a.ptr<float>(i) + first;
        float* const yellowBlue = b.ptr<float>(i) + first;
        for (std::size_t j = 0; j < count; ++j) {
            tangent[j] = radians(degrees[j]);
        }
        numerics::tanBlock(tangent, tangent, count);
        for (std::size_t j = 0; j < count; ++j) {
            const float T = roundedOr(tangent[j], [&] { return std::tan(radians(degrees[j])); });
            const float m = 108 * T + 11;
            const float r = std::sqrt(T * T + 1);
            const double P = static_cast<double>(magnitude[j] * m) / 23.0;
            const double rE = r * (eccentric[j] * (induction[j] * k));
            const auto D = static_cast<float>(pointsToGreen(degrees[j]) ? P - rE : P + rE);
            const float scaled = achromatic[j] * magnitude[j] / induction[j];
            redGreen[j] = static_cast<float>((magnitude[j] * 0.305 + scaled) / D);
            yellowBlue[j] = redGreen[j] * T;
        }
    });
}

void AB2NonLinearities(cv::Mat& a, cv::Mat& b, cv::Mat& A, cv::Mat& nl, cv::Mat& Nbb) {
    requireType("AB2NonLinearities", CV_32F, {{"a", a}});
    requireRoom("AB2NonLinearities", a.size(), CV_32F, {{"b", b}, {"A", A}, {"Nbb", Nbb}});
    requireRoom("AB2NonLinearities", a.size(), CV_32FC3, {{"nl", nl}});
    const ImageWalk walk = walkOver(a, b, A, nl, Nbb);
    numerics::forEachPiece(walk, numerics::pixelsInPiece, [&](int i, std::size_t first, std::size_t count) {
        const float* const redGreen = a.ptr<float>(i) + first;
        const float* const yellowBlue = b.ptr<float>(i) + first;
        const float* const achromatic = A.ptr<float>(i) + first;
        const float* const induction = Nbb.ptr<float>(i) + first;
        float* response = nl.ptr<float>(i) + 3 * first;
        for (std::size_t j = 0; j < count; ++j, response += 3) {
            const float x = redGreen[j];
            const float y = yellowBlue[j];
            const auto rho = static_cast<float>(
                (static_cast<double>(451 * x + 288 * y) / 23.0 + achromatic[j] * 20.0 / induction[j] + 6.1) / 61.0);
            response[0] = rho;
            response[1] = static_cast<float>(rho - static_cast<double>(22 * x + 9 * y) / 23.0);
            response[2] = static_cast<float>(rho - static_cast<double>(11 * x + 108 * y) / 23.0);
        }
    });
}

void inverseNonLinearities(cv::Mat& nl, cv::Mat& hpe, cv::Mat& FL, const Diagnostics& diagnostics) {
    requireType("inverseNonLinearities", CV_32FC3, {{"hpe", hpe}});
    requireRoom("inverseNonLinearities", hpe.size(), CV_32FC3, {{"nl", nl}});
    requireRoom("inverseNonLinearities", hpe.size(), CV_32F, {{"FL", FL}});
    std::atomic<std::size_t> missing{0};
    const ImageWalk walk = walkOver(hpe, nl, FL);
    numerics::forEachPiece(walk, numerics::pixelsInBlock, [&](int i, std::size_t first, std::size_t count) {
        float base[blockSize] = {};
        double power[blockSize] = {};
        float* const compressed = nl.ptr<float>(i) + 3 * first;
        const float* const level = FL.ptr<float>(i) + first;
        float* const response = hpe.ptr<float>(i) + 3 * first;
        for (std::size_t e = 0; e < 3 * count; ++e) {
            compressed[e] = clampedResponse(compressed[e]);
            base[e] = expansionBase(compressed[e]);
            power[e] = base[e];
        }
        numerics::powBlock(power, expansionExponent, power, 3 * count);
        for (std::size_t p = 0; p < count; ++p) {
            for (std::size_t e = 3 * p; e < 3 * p + 3; ++e) {
                response[e] = roundedOr(power[e] * 100.0 / level[p], [&] {
                    return std::pow(static_cast<double>(base[e]), expansionExponent) * 100.0 / level[p];
                });
                if (std::isnan(response[e])) {
                    missing.fetch_add(1, std::memory_order_relaxed);
                }
            }
        }
    });
    MessageLines messages(diagnostics);
    for (std::size_t k = 0; k < missing; ++k) {
        messages.add("Error in the inverse non-linearities! Some of the obtained values are nan.");
    }
}

void convertHPEtoSharpenedRGB(cv::Mat& hpe, cv::Mat& sharpenedBGR) {
    requireType("convertHPEtoSharpenedRGB", CV_32FC3, {{"hpe", hpe}});
    requireRoom("convertHPEtoSharpenedRGB", hpe.size(), CV_32FC3, {{"sharpenedBGR", sharpenedBGR}});
    cv::Mat M = hpeFromSharpenedRgb().inv();
    multiplyImageByMatrixBackward(hpe, sharpenedBGR, M);
}

void performGammaCorrectionByStyle(cv::Mat& src, cv::Mat& dst, float low, float high, const Diagnostics& diagnostics) {
    requireType("performGammaCorrectionByStyle", CV_32F, {{"src", src}});
    requireRoom("performGammaCorrectionByStyle", src.size(), CV_32F, {{"dst", dst}});
    const auto gamma = static_cast<float>(std::log10(static_cast<double>(high / low)) + 1.0);
    MessageLines messages(diagnostics);
    if (diagnostics.wantsMessages()) {
        messages.add("Gamma: " + numberText(gamma));
    }
    const ImageWalk walk = walkOver(src, dst);
    for (int i = 0; i < walk.rows; ++i) {
        const float* const in = src.ptr<float>(i);
        float* const out = dst.ptr<float>(i);
        for (int j = 0; j < walk.cols; ++j) {
            out[j] = std::pow(in[j], gamma);
            if (in[j] < 0) {
                out[j] = 0;
                messages.add(in[j]);
            }
            if (std::isnan(out[j])) {
                messages.add("Nan values in the gamma correction!");
            }
        }
    }
}

}  // namespace likeness

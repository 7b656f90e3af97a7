#include <likeness/appearance/appearance_correlates.hpp>

#include <likeness/appearance/viewing_conditions.hpp>
#include "appearance/background_chroma.hpp"
#include "appearance/correlate_kernels.hpp"
#include "appearance/last_value_cache.hpp"
#include "numerics/argument_check.hpp"
#include "numerics/parallel.hpp"
#include "numerics/transcendental_blocks.hpp"

#include <cmath>

namespace likeness {
namespace {

using numerics::blockSize;
using numerics::roundBlock;

using kernels::pi;

void hueOfBlock(const float* a, const float* b, float* hue, float* eccentricity, std::size_t count) {
    double y[blockSize] = {};
    double x[blockSize] = {};
    for (std::size_t i = 0; i < count; ++i) {
        y[i] = b[i];
        x[i] = a[i];
    }
    numerics::atan2Block(y, x, y, count);
    for (std::size_t i = 0; i < count; ++i) {
        y[i] = y[i] * 180.0 / pi;
    }
    roundBlock(y, hue, count, [&](std::size_t i) { return kernels::hueDegrees(b[i], a[i]); });
    for (std::size_t i = 0; i < count; ++i) {
        x[i] = static_cast<double>(hue[i]) * pi / 180.0 + 2.0;
    }
    numerics::cosBlock(x, x, count);
    for (std::size_t i = 0; i < count; ++i) {
        x[i] = (x[i] + 3.8) / 4.0;
    }
    roundBlock(x, eccentricity, count, [hue](std::size_t i) { return kernels::eccentricity(hue[i]); });
}

}  // namespace

double luminanceLevelRoot(float FL) {
    return std::pow(static_cast<double>(FL), 0.25);
}

double chromaOfBackground(float n) {
    return backgroundChroma(static_cast<double>(n));
}

void computeAB(cv::Mat& nl, cv::Mat& a, cv::Mat& b) {
    requireType("computeAB", CV_32FC3, {{"nl", nl}});
    requireRoom("computeAB", nl.size(), CV_32F, {{"a", a}, {"b", b}});
    const ImageWalk walk = walkOver(nl, a, b);
    numerics::forEachPiece(walk, numerics::pixelsInPiece, [&](int i, std::size_t first, std::size_t count) {
        const float* response = nl.ptr<float>(i) + 3 * first;
        float* const redGreen = a.ptr<float>(i) + first;
        float* const yellowBlue = b.ptr<float>(i) + first;
        for (std::size_t j = 0; j < count; ++j, response += 3) {
            const float rho = response[0];
            const float gamma = response[1];
            const float beta = response[2];
            redGreen[j] = kernels::redGreen(rho, gamma, beta);
            yellowBlue[j] = kernels::yellowBlue(rho, gamma, beta);
        }
    });
}

void computeHue(cv::Mat& a, cv::Mat& b, cv::Mat& hue, cv::Mat& eccentricity) {
    requireType("computeHue", CV_32F, {{"a", a}});
    requireRoom("computeHue", a.size(), CV_32F, {{"b", b}, {"hue", hue}, {"eccentricity", eccentricity}});
    const ImageWalk walk = walkOver(a, b, hue, eccentricity);
    numerics::forEachPiece(walk, blockSize, [&](int i, std::size_t first, std::size_t count) {
        hueOfBlock(a.ptr<float>(i) + first, b.ptr<float>(i) + first, hue.ptr<float>(i) + first,
                   eccentricity.ptr<float>(i) + first, count);
    });
}

float computeLightness(cv::Mat& nl, cv::Mat& Nbb, cv::Mat& z, cv::Mat& J, cv::Mat& A, const Diagnostics& diagnostics) {
    requireType("computeLightness", CV_32FC3, {{"nl", nl}});
    requireRoom("computeLightness", nl.size(), CV_32F, {{"Nbb", Nbb}, {"z", z}, {"J", J}, {"A", A}});
    numerics::SharedMaximum greatest(0);
    ImageWalk walk = walkOver(nl, Nbb, A);
    numerics::forEachPiece(walk, numerics::pixelsInPiece, [&](int i, std::size_t first, std::size_t count) {
        const float* response = nl.ptr<float>(i) + 3 * first;
        const float* const induction = Nbb.ptr<float>(i) + first;
        float* const achromatic = A.ptr<float>(i) + first;
        float ofPiece = 0;
        for (std::size_t j = 0; j < count; ++j, response += 3) {
            achromatic[j] = kernels::achromatic(response[0], response[1], response[2], induction[j]);
            ofPiece = achromatic[j] > ofPiece ? achromatic[j] : ofPiece;
        }
        greatest.offer(ofPiece);
    });
    const float Aw = greatest.value();
    diagnostics.writeImage("A_before.jpg", A);
    // The image's own maximum stands for the white's achromatic response (departure 2).
    walk = walkOver(nl, z, A, J);
    numerics::forEachPiece(walk, numerics::pixelsInPiece, [&](int i, std::size_t first, std::size_t count) {
        const float* const achromatic = A.ptr<float>(i) + first;
        const float* const exponent = z.ptr<float>(i) + first;
        float* const lightness = J.ptr<float>(i) + first;
        for (std::size_t j = 0; j < count; ++j) {
            lightness[j] = kernels::lightness(achromatic[j], Aw, exponent[j]);
        }
    });
    return Aw;
}

float computeBrightness(cv::Mat& J, cv::Mat& FL, cv::Mat& /*z*/, cv::Mat& Q, float Aw, const Diagnostics& diagnostics) {
    requireType("computeBrightness", CV_32F, {{"J", J}});
    requireRoom("computeBrightness", J.size(), CV_32F, {{"FL", FL}, {"Q", Q}});
    numerics::SharedMaximum greatest(0);
    const ImageWalk walk = walkOver(J, FL, Q);
    numerics::forEachPiece(walk, numerics::pixelsInPiece, [&](int i, std::size_t first, std::size_t count) {
        LastValueCache levelFactor(luminanceLevelRoot);
        const float* const lightness = J.ptr<float>(i) + first;
        const float* const level = FL.ptr<float>(i) + first;
        float* const brightness = Q.ptr<float>(i) + first;
        float ofPiece = 0;
        for (std::size_t j = 0; j < count; ++j) {
            brightness[j] = kernels::brightness(lightness[j], Aw, levelFactor(level[j]));
            ofPiece = brightness[j] > ofPiece ? brightness[j] : ofPiece;
        }
        greatest.offer(ofPiece);
    });
    writeIntoFile(Q, "10_in.txt", Q.rows, Q.cols, diagnostics);
    if (diagnostics.wantsFiles() && !Q.empty()) {
        // Not `Q >= 20`, which is false for NaN: only a brightness that is known to be low is masked out.
        diagnostics.writeImage("mask.jpg", ~(Q < 20.0));
    }
    return greatest.value();
}

void computeChroma(cv::Mat& nl, cv::Mat& a, cv::Mat& b, cv::Mat& J, cv::Mat& eccentricity, cv::Mat& Ncb, cv::Mat& n,
                   cv::Mat& C, float Nc, const Diagnostics& diagnostics) {
    requireType("computeChroma", CV_32F, {{"a", a}});
    requireRoom("computeChroma", a.size(), CV_32FC3, {{"nl", nl}});
    requireRoom("computeChroma", a.size(), CV_32F,
                {{"b", b}, {"J", J}, {"eccentricity", eccentricity}, {"Ncb", Ncb}, {"n", n}, {"C", C}});
    cv::Mat t(nl.size(), CV_32F);
    const ImageWalk walk = walkOver(a, nl, b, J, eccentricity, Ncb, n, C, t);
    numerics::forEachPiece(walk, blockSize, [&](int i, std::size_t first, std::size_t count) {
        LastValueCache backgroundFactor(chromaOfBackground);
        double power[blockSize] = {};
        double root[blockSize] = {};
        const float* const response = nl.ptr<float>(i) + 3 * first;
        const float* const redGreen = a.ptr<float>(i) + first;
        const float* const yellowBlue = b.ptr<float>(i) + first;
        const float* const lightness = J.ptr<float>(i) + first;
        const float* const eccentric = eccentricity.ptr<float>(i) + first;
        const float* const induction = Ncb.ptr<float>(i) + first;
        const float* const background = n.ptr<float>(i) + first;
        float* const chroma = C.ptr<float>(i) + first;
        float* const magnitude = t.ptr<float>(i) + first;
        for (std::size_t j = 0; j < count; ++j) {
            magnitude[j] = kernels::magnitude(response[3 * j], response[3 * j + 1], response[3 * j + 2], redGreen[j],
                                              yellowBlue[j], eccentric[j], induction[j], Nc);
            power[j] = magnitude[j];
        }
        numerics::powBlock(power, kernels::magnitudeExponent, power, count);
        for (std::size_t j = 0; j < count; ++j) {
            root[j] = kernels::rootOfLightness(lightness[j]);
            power[j] = kernels::chroma(power[j], root[j], backgroundFactor(background[j]));
        }
        roundBlock(power, chroma, count, [&](std::size_t j) {
            const double exact = std::pow(static_cast<double>(magnitude[j]), kernels::magnitudeExponent);
            return kernels::chroma(exact, root[j], chromaOfBackground(background[j]));
        });
    });
    diagnostics.writeImage("t_before.jpg", t);
}

void computeColorfulness(cv::Mat& C, cv::Mat& FL, cv::Mat& M) {
    requireType("computeColorfulness", CV_32F, {{"C", C}});
    requireRoom("computeColorfulness", C.size(), CV_32F, {{"FL", FL}, {"M", M}});
    const ImageWalk walk = walkOver(C, FL, M);
    numerics::forEachPiece(walk, numerics::pixelsInPiece, [&](int i, std::size_t first, std::size_t count) {
        LastValueCache levelFactor(luminanceLevelRoot);
        const float* const chroma = C.ptr<float>(i) + first;
        const float* const level = FL.ptr<float>(i) + first;
        float* const colorfulness = M.ptr<float>(i) + first;
        for (std::size_t j = 0; j < count; ++j) {
            colorfulness[j] = kernels::colorfulness(chroma[j], levelFactor(level[j]));
        }
    });
}

void computeSaturation(cv::Mat& M, cv::Mat& Q, cv::Mat& s) {
    requireType("computeSaturation", CV_32F, {{"M", M}});
    requireRoom("computeSaturation", M.size(), CV_32F, {{"Q", Q}, {"s", s}});
    const ImageWalk walk = walkOver(M, Q, s);
    numerics::forEachPiece(walk, numerics::pixelsInPiece, [&](int i, std::size_t first, std::size_t count) {
        const float* const colorfulness = M.ptr<float>(i) + first;
        const float* const brightness = Q.ptr<float>(i) + first;
        float* const saturation = s.ptr<float>(i) + first;
        for (std::size_t j = 0; j < count; ++j) {
            saturation[j] = kernels::saturation(colorfulness[j], brightness[j]);
        }
    });
}

void writeIntoFile(cv::Mat& map, const char* fileName, int rows, int cols, const Diagnostics& diagnostics) {
    requireMatrix("writeIntoFile", rows, cols, {{"map", map}});
    requireThere("writeIntoFile", {{"fileName", fileName}});
    if (diagnostics.wantsFiles()) {
        diagnostics.writeMap(fileName, map, rows, cols);
    }
}

}  // namespace likeness

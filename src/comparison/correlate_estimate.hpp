// Estimates of the appearance correlates of 8-bit colours, for histograms.
//
// A histogram needs the bin of a value, its nearest integer, and not the value. A short chain in float, one vector
// instruction for several colours, gives each correlate to some six digits, which settles the bin of almost every
// colour; where the margin of error reaches into another bin, and where the short chain does not hold (black), the
// model itself must be asked. So bins stay those of the model, to the last pixel.
//
// The short chain is the model of appearance/ in one piece: the offset 0.1 of the responses, which cancels in the
// differences, is left out there; the eccentricity needs no angle, since with r = sqrt(a^2 + b^2)
// r cos(h + 2) = a cos 2 - b sin 2; and saturation does not depend on lightness, which cancels in M / Q.
#pragma once

#include "comparison/estimated_bins.hpp"

#include <opencv2/core.hpp>

#include <cstddef>
#include <cstdint>

namespace likeness {

/// Fast approximation under one background, in two passes over blocks of colours: `responses` needs no white, `bins`
/// needs the greatest achromatic response of the image.
class CorrelateEstimate {
public:
    /// Colours that are estimated at once.
    static constexpr std::size_t blockSize = 256;

    /// The part of a colour's appearance that is independent of the image's white.
    struct Responses {
        float achromatic[blockSize];  ///< A
        float chromatic[blockSize];   ///< t, from which chroma is made
    };

    struct Bins {
        std::int32_t brightness[blockSize];
        std::int32_t lightness[blockSize];
        std::int32_t chroma[blockSize];
        std::int32_t colorfulness[blockSize];
        std::int32_t saturation[blockSize];
        std::int32_t certain[blockSize];  ///< 1 where all five are those of the model, otherwise 0: anything
    };

    /// Relative error of `achromatic` and relative and absolute error of `chromatic`, at most.
    static constexpr float achromaticError = 4e-6F;
    static constexpr float chromaticError = 4e-6F;
    static constexpr float chromaticAbsoluteError = 2e-3F;

    /// Every bin that is called certain is below this one.
    static constexpr int binLimit = 1000;

    /// Baseline instruction set of the platform, or the best that this processor has.
    enum class Vectors { baseline, best };

    /// @param backgroundLuminance  of the photograph, `backgroundLuminanceOf` (comparison/perceptual_metrics.hpp)
    explicit CorrelateEstimate(float backgroundLuminance, Vectors vectors = Vectors::best);

    /// @param bgr    B, G, R of `count` colours
    /// @param count  at most `blockSize`
    void responses(const uchar* bgr, std::size_t count, Responses& out) const;

    /// @param whiteResponse  greatest achromatic response of the image, estimated
    void bins(const Responses& responses, std::size_t count, float whiteResponse, Bins& out) const;

    using Row = EstimateRow;

    /// What the short chain is made of.
    struct Constants {
        float linear[256];             ///< linear value of each 8-bit level
        Row sharpenedFromLinear[3];    ///< sharpened R, G, B
        float unadapted;               ///< 1 - degree of adaptation
        float adapted[3];              ///< degree of adaptation times D65 white: R, G, B
        float guard;                   ///< added to a white
        Row responseFromSharpened[3];  ///< rho, gamma, beta before the compression, with F_L
        float achromaticFactor;        ///< N_bb
        float chromaticFactor;
        float lightnessExponent;   ///< c z
        float brightnessFactor;    ///< Q = this (4 + A_w) sqrt(J / 100)
        float chromaFactor;        ///< (1.64 - 0.29^n)^0.73
        float colorfulnessFactor;  ///< F_L^0.25
    };

private:
    Constants constants_;
    bool useAvx2_;
};

}  // namespace likeness

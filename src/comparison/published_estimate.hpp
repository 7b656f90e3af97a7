// Estimates of the correlates of colours under a published model, for histograms.
//
// As in comparison/correlate_estimate.hpp a short chain in float, one vector instruction for several colours, settles
// the bin of almost every colour. Where the margin of error reaches into another bin, and where the chain does not hold
// (black, cones whose response is small beside its parts), the model itself must be asked.
#pragma once

#include <likeness/appearance/published_model.hpp>
#include "comparison/estimated_bins.hpp"

#include <opencv2/core.hpp>

#include <cstddef>
#include <cstdint>

namespace likeness {

/// The short chain of one model under one set of conditions.
class PublishedEstimate {
public:
    /// Colours that are estimated at once.
    static constexpr std::size_t blockSize = 256;

    /// Every bin that is called certain is below this one.
    static constexpr int binLimit = 1000;

    struct Bins {
        std::int32_t brightness[blockSize];
        std::int32_t lightness[blockSize];
        std::int32_t chroma[blockSize];
        std::int32_t colorfulness[blockSize];
        std::int32_t saturation[blockSize];
        std::int32_t certain[blockSize];  ///< 1 where all five are those of the model, otherwise 0: anything
    };

    /// Baseline instruction set of the platform, or the best that this processor has.
    enum class Vectors { baseline, best };

    /// @param xyzFromLinear  X, Y, Z, on the scale 100, of linear R, G, B
    /// @param linear         linear value of each 8-bit level
    PublishedEstimate(const PublishedModel& model, const cv::Matx33d& xyzFromLinear, const double (&linear)[256],
                      Vectors vectors = Vectors::best);

    /// Whether the chain serves for these conditions at all: an adapting luminance of 0 has other limits.
    bool serves() const noexcept { return serves_; }

    /// @param bgr    B, G, R of `count` colours
    /// @param count  at most `blockSize`
    void bins(const uchar* bgr, std::size_t count, Bins& out) const;

    /// @param linearBgr  linear B, G, R of `count` colours, rounded to float; any values
    /// @param count      at most `blockSize`
    void bins(const float* linearBgr, std::size_t count, Bins& out) const;

    using Row = EstimateRow;

    /// What the short chain is made of.
    struct Constants {
        float linear[256];
        Row cones[3];      ///< adapted cone responses of linear R, G, B
        Row magnitude[3];  ///< the same without signs
        float scale;       ///< F_L / 100
        float lowKnee, lowSlope;
        float highKnee, highResponse, highSlope;
        float whiteLogarithm;  ///< of A_w / N_bb, binary
        float halfExponent;    ///< c z / 2
        float brightnessFactor;
        float chromaticFactor;
        float chromaticError;  ///< absolute one of the magnitude t
        float chromaFactor;
        float colorfulnessFactor;
        float saturationFactor;
    };

private:
    template <typename Element>
    void binsOfElements(const Element* bgr, std::size_t count, Bins& out) const;

    Constants constants_;
    bool serves_;
    bool useAvx2_;
};

}  // namespace likeness

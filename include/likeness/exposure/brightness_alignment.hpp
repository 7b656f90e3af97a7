/// @file
/// Matching the lightness of one photograph to another's, and the statistics for it. NaN values of a plane do not count.
#pragma once

#include <likeness/color/clipped_values.hpp>
#include <likeness/color/pixel_weights.hpp>
#include <likeness/diagnostics/diagnostics.hpp>
#include <likeness/diagnostics/watch.hpp>
#include <likeness/export.hpp>

#include <opencv2/core.hpp>

#include <stdexcept>
#include <string>

namespace likeness {

/// Gives a photograph the mean and the standard deviation of another one's CIE L*; a* and b* stay.
///
/// L* becomes (L* - mean) deviation' / deviation + mean', in float from the left. A photograph of one lightness, whose
/// deviation is 0 or by rounding NaN, gives L* that are infinite or NaN.
///
/// @param nonFlash  CV_32FC3, B, G, R, gamma-encoded, in [0, 1]: the photograph that is matched; read
/// @param target    CV_32FC3, likewise: the photograph whose lightness is wanted; read
/// @param result    CV_32FC3 of nonFlash's size, allocated here where need be; may be `nonFlash`, not `target`. What
///                  becomes of colours outside [0, 1] is left to the image library's conversions to L*a*b* and back.
/// @param diagnostics  two lines as from `computeMean`, for `nonFlash` and for `target`
/// @note            The remapping runs over the rows and columns of `target`: of a larger `nonFlash`, the pixels beyond
///                  them keep their L*; of a smaller one, all are remapped.
LIKENESS_API void alterNonFlashBrightness(cv::Mat& nonFlash, cv::Mat& target, cv::Mat& result,
                                          const Diagnostics& diagnostics = workingDirectory());

/// Mean of the values of a CV_32F plane that are not NaN, summed in float row by row; 0 where there are none. Prints
/// the sum, a space and the count.
LIKENESS_API float computeMean(cv::Mat& plane, const Diagnostics& diagnostics = workingDirectory());

/// Standard deviation of a CV_32F plane about `mean`, which is read: the root of the mean of v^2 - mean^2 over the
/// values that are not NaN, summed in float row by row. NaN where there are none, or where rounding makes the sum
/// negative.
LIKENESS_API float computeStdDev(const cv::Mat& plane, float& mean);

/// Mean and standard deviation of a photograph's CIE L*, as `computeMean` and `computeStdDev` find them.
struct LightnessStatistics {
    float mean;       ///< of L*, 0..100
    float deviation;  ///< of L*
};

/// Statistics of a photograph's L*, as the image library's `COLOR_BGR2Lab` gives it.
/// @param bgr  CV_32FC3, B, G, R, gamma-encoded, in [0, 1]; not modified
LIKENESS_API LightnessStatistics lightnessStatistics(const cv::Mat& bgr,
                                                     const Diagnostics& diagnostics = workingDirectory());

/// Mean and standard deviation of a photograph's CIE L*: `lightnessStatistics`, the same bits.
/// @param photograph  any depth that `toUnit` takes, B, G, R; not modified
/// @throws std::invalid_argument  for an empty photograph, another type, and values that are no numbers or beyond 10^6
LIKENESS_API LightnessStatistics lightnessStatisticsOf(const cv::Mat& photograph);

/// The same of the part that counts. Where weights are 0 and 1, of the L* of the pixels that count, row after row, to
/// the bit; where there are others, the sums are weighted and run in double, row by row.
/// @throws std::invalid_argument  also for weights of another size
/// @throws NothingCounts          if every weight is 0
LIKENESS_API LightnessStatistics lightnessStatisticsOf(const PhotographPart& part);

/// A photograph with the lightness of another.
struct LightnessMatch {
    cv::Mat image;  ///< CV_32FC3, B, G, R on the scale 0..1; its conversion from L*a*b* is the image library's
    LightnessStatistics own{};      ///< of the photograph as it was
    LightnessStatistics wanted{};   ///< of the reference
    LightnessStatistics reached{};  ///< of `image`: not `wanted` where colours lie outside sRGB
    ClippedValues clipped;  ///< what `image` cannot hold of the colours with their new L* (`clippedValuesOfLab`)
};

/// Thrown where a photograph has one lightness throughout: there is no spread to match.
class LIKENESS_API OneLightness : public std::invalid_argument {
public:
    /// @param argument  "photograph" or "reference"
    explicit OneLightness(const std::string& argument)
        : std::invalid_argument(argument + ": it has one lightness throughout: there is no spread to match"),
          ofReference_(argument == "reference") {}

    /// Whether it is the reference; else the photograph.
    bool ofReference() const noexcept { return ofReference_; }

private:
    bool ofReference_;
};

/// Gives a photograph the mean and the standard deviation of the reference's CIE L*, as `alterNonFlashBrightness` does;
/// but every pixel is remapped, whatever the sizes.
///
/// @param photograph, reference  any depth that `toUnit` takes, B, G, R; of any two sizes; not modified
/// @param watch   is told of the two statistics, of the image and of what it reached; its receiver gets the lines of
///                `alterNonFlashBrightness`
/// @return        the same bits as `alterNonFlashBrightness` with a reference that is no smaller; an empty image of an
///                empty photograph
/// @throws std::invalid_argument  for another type, an empty reference, NaN and values outside -1e6..1e6
/// @throws OneLightness  where one of the two has one lightness throughout
/// @throws Cancelled  when the caller ends it
LIKENESS_API LightnessMatch matchLightness(const cv::Mat& photograph, const cv::Mat& reference,
                                           const Watch& watch = {});

/// The same with statistics of the parts that count (`lightnessStatisticsOf`); all of the photograph is remapped, and
/// `own`, `wanted` and `reached` are those of the parts.
/// @throws NothingCounts  also where every weight of one is 0
LIKENESS_API LightnessMatch matchLightness(const PhotographPart& photograph, const PhotographPart& reference,
                                           const Watch& watch = {});

}  // namespace likeness

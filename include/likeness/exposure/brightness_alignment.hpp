// Matching the lightness of one photograph to another's, and the statistics for it. NaN values do not count in them.
#pragma once

#include <likeness/diagnostics/diagnostics.hpp>

#include <opencv2/core.hpp>

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
void alterNonFlashBrightness(cv::Mat& nonFlash, cv::Mat& target, cv::Mat& result,
                             const Diagnostics& diagnostics = workingDirectory());

struct LightnessStatistics;

/// The remapping of `alterNonFlashBrightness`: L* from the one mean and standard deviation to the other, in place.
///
/// @param lab  CV_32FC3, L*, a*, b*
void matchLightness(cv::Mat& lab, const LightnessStatistics& own, const LightnessStatistics& wanted);

/// Mean of the values of a CV_32F plane that are not NaN, summed in float row by row; 0 where there are none. Prints
/// the sum, a space and the count.
float computeMean(cv::Mat& plane, const Diagnostics& diagnostics = workingDirectory());

/// Standard deviation of a CV_32F plane about `mean`, which is read: the root of the mean of v^2 - mean^2 over the
/// values that are not NaN, summed in float row by row. NaN where there are none, or where rounding makes the sum
/// negative.
float computeStdDev(const cv::Mat& plane, float& mean);

/// Mean and standard deviation of a photograph's CIE L*, as `computeMean` and `computeStdDev` find them.
struct LightnessStatistics {
    float mean;
    float deviation;
};

/// @param bgr  CV_32FC3, B, G, R, gamma-encoded, in [0, 1]; not modified
LightnessStatistics lightnessStatistics(const cv::Mat& bgr, const Diagnostics& diagnostics = workingDirectory());

}  // namespace likeness

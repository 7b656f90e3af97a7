/// @file
/// The temperature in kelvin of the black body whose colour is nearest to a chromaticity x, y of the CIE 1931 observer, and
/// the distance from it.
#pragma once

#include <likeness/export.hpp>

#include <opencv2/core.hpp>

namespace likeness {

/// Where a chromaticity lies beside the Planckian locus, the chromaticities of black bodies, in the u, v plane of CIE
/// 1960.
struct PlanckianNeighbor {
    double kelvin;  ///< correlated colour temperature: that of the nearest black body
    double duv;     ///< D_uv: distance to it in u, v; positive above the locus (greenish), negative below (pinkish)
};

/// Correlated colour temperature of a chromaticity x, y of the CIE 1931 observer.
///
/// Robertson's method: the chromaticity lies between two of 31 published isotemperature lines, and the reciprocal
/// temperature is interpolated by its distances from them. For 1667 K and more; the paper bounds the error by 0.1
/// mired, which is 4 K at 6500 K.
///
/// @return  NaN twice outside the lines (below 1667 K, or bluer than a black body of any temperature), or for a
///          chromaticity that is not finite; the temperature alone is NaN farther than 0.05 from the locus, where a
///          correlated colour temperature has no meaning (CIE 015:2018, 9.5)
/// @see     Robertson, "Computation of correlated color temperature and distribution temperature", JOSA 58(11), 1968
LIKENESS_API PlanckianNeighbor correlatedColorTemperature(const cv::Vec2d& xy);

}  // namespace likeness

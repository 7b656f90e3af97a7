/// @file
/// Statistics of image planes for colour transfer.
///
/// A plane is CV_32F, an image CV_32FC3 in the channel order of any colour space; for chroma, channel 0 is lightness and
/// channels 1 and 2 are the two chroma components. NaN marks a masked-out pixel: every statistic skips it. Sums run in
/// float, row by row, and lose digits on large images as float sums do. Outputs are allocated by the caller. An
/// argument of another type, or too small, raises std::invalid_argument before anything is changed.
///
/// `dims` selects the channels that take part: 2 the chroma channels 1 and 2, 1 or 3 the channels from 0 on. Other
/// numbers raise a cv::Exception.
///
/// Messages are lines in the default float format of a stream: the line of a plane is the sum of its values, a blank and
/// their number.
#pragma once

#include <likeness/diagnostics/diagnostics.hpp>
#include <likeness/export.hpp>

#include <opencv2/core.hpp>

namespace likeness {

/// Mean of a plane, 0 where every value is NaN. Prints the line of the plane.
LIKENESS_API float computeMean(const cv::Mat& plane, const Diagnostics& diagnostics = workingDirectory());

/// Mean of a plane in which a value has as much weight as its nearest integer (halves away from zero) is frequent:
/// common values prevail over rare ones. NaN where every value is NaN. Frequencies stop at 2^24.
LIKENESS_API float computeWeightedMean(const cv::Mat& plane);

/// Means of the channels: weighted means where `dims` is 2; otherwise plain means, which print their lines.
/// @param means  `dims` floats, filled
LIKENESS_API void computeWeightedMeanVector(const cv::Mat& img, float*& means, int dims,
                                            const Diagnostics& diagnostics = workingDirectory());

/// Mean of value^2 - mean^2, squares in double; NaN where every value is NaN. `mean` is read.
LIKENESS_API float computeVariance(const cv::Mat& plane, float& mean);

/// Parameter alpha of a beta distribution with the mean and the variance v of a plane of values in (0, 1). Departure
/// 13: v takes the place of a standard deviation, so that the method of moments has v^2 where v is expected. Prints
/// the line of the plane.
LIKENESS_API float computeAlphaFromBetaDistr(cv::Mat& plane, const Diagnostics& diagnostics = workingDirectory());

/// Parameter beta that belongs to `alpha` and the mean of a plane. Prints the line of the plane.
LIKENESS_API float computeBetaFromBetaDistr(cv::Mat& plane, float alpha,
                                            const Diagnostics& diagnostics = workingDirectory());

/// Reserved for the density of a beta distribution; returns 0.
LIKENESS_API float computeBetaDistribution(float x, float alpha, float beta);

/// Unbiased sample covariance of two planes of equal size over the pixels that are not NaN in `a`; `b` is not asked, so
/// a NaN of its own there makes the result NaN. 0 where fewer than two pixels count. Prints the line of `a`, the line
/// of `b`, and one with the two means.
LIKENESS_API float computeCovarianceElement(const cv::Mat& a, const cv::Mat& b,
                                            const Diagnostics& diagnostics = workingDirectory());

/// Covariance matrix of the channels, dims x dims CV_32F: cov(i, j) is `computeCovarianceElement` of channels i and j,
/// with its three lines for every element, row by row.
LIKENESS_API void computeCovariance(const cv::Mat& img, cv::Mat& cov, int dims,
                                    const Diagnostics& diagnostics = workingDirectory());

/// Fills every element of the dims x dims matrix `cov` with the covariance of channel 0 and `other`, whatever the
/// element (departure 27); any `dims`. Prints the three lines of `computeCovarianceElement` for every element.
LIKENESS_API void computeChannelCov(const cv::Mat& img, cv::Mat& other, cv::Mat& cov, int dims,
                                    const Diagnostics& diagnostics = workingDirectory());

/// Hue angle of two channels around their neutral value 128, in degrees, 0 to 360 (360 only by rounding); 0 for
/// neutral.
/// @param src            CV_32FC3
/// @param hue            CV_32F of its size, filled; computed in double, NaN where a channel is NaN
/// @param first, second  the channels of the abscissa and of the ordinate
LIKENESS_API void computeHue(const cv::Mat& src, cv::Mat& hue, int first, int second);

}  // namespace likeness

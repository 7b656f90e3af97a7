/// @file
/// Colour transfer between photographs: the colours of each are taken as a Gaussian distribution, and the closed-form
/// optimal transport map of `transport/closed_form_map.hpp` carries the input's distribution onto the target's,
/// x -> T (x - mean of the input) + mean of the target.
///
/// `dims` is 2 for a transfer of chroma alone, channels 1 and 2 of images whose channel 0 is lightness, or 3 for all
/// channels; other numbers raise a cv::Exception. `t` places the result on the shortest path between the two
/// distributions: 0 keeps the input's, 1 is the whole transfer.
///
/// Images are CV_32FC3 in one colour space, in which a variance of 7.5 is small: CIE L*a*b*, or 0..255. Images in [0, 1]
/// have all of their variances below the floor of the map. Input and target may differ in size. NaN marks a masked-out
/// pixel: the statistics skip it, and it stays NaN; a pixel should be NaN in all channels or in none, as a covariance
/// over a NaN that only one channel has is NaN, and so is then the map. Outputs are allocated by the caller and filled.
/// An argument that is used and of another type, or too small, raises std::invalid_argument before anything is changed.
/// `result` must not share pixels with the input.
///
/// Messages are those of `transport/image_statistics.hpp`.
#pragma once

#include <likeness/diagnostics/diagnostics.hpp>
#include <likeness/export.hpp>

#include <opencv2/core.hpp>

namespace likeness {

/// Transfers the target's colours onto the input.
///
/// @param inputImg     image whose colours are moved
/// @param targetImg    image whose distribution they take
/// @param result       size of the input, CV_32FC2 (the chroma channels) where `dims` is 2, else CV_32FC3
/// @param inpCovInv    not touched
/// @param inpMeanRow   1 x dims CV_32F: weighted means of the input's channels 1, 2. Departure 14: also with three
///                     dimensions the row begins at channel 1, and its third element is then not touched
/// @param tarCov2      not touched
/// @param tarMeanRow   the same of the target
/// @param transportMat dims x dims CV_32F: the map of the whole transfer, whatever `t`
/// @param t            position on the path; NaN gives NaN throughout
/// @param diagnostics  receives the lines of `computeCovariance` for the input and the target, and with three
///                     dimensions those of `computeWeightedMeanVector`
LIKENESS_API void applyOptimalTransport(const cv::Mat& inputImg, const cv::Mat& targetImg, cv::Mat& result,
                                        cv::Mat& inpCovInv, cv::Mat& inpMeanRow, cv::Mat& tarCov2, cv::Mat& tarMeanRow,
                                        cv::Mat& transportMat, float t, int dims,
                                        const Diagnostics& diagnostics = workingDirectory());

/// The same transfer, with the statistics that a user of `computeMapping2DBonneel` needs.
///
/// @param inpCovInv    3 x 3 CV_32F: inverse of the input's covariance over all channels, 0 throughout where that is
///                     singular
/// @param inpMeanRow   1 x 3 CV_32F: weighted means of the input's channels 0, 1, 2
/// @param tarCov2      2 x 2 CV_32F: the target's chroma covariance
/// @param tarMeanRow   1 x 2 CV_32F: weighted means of the target's channels 1, 2
/// @param diagnostics  receives the lines of `computeCovariance` for the input and the target; the two matrices, each
///                     followed by " inpCovs" or " tarCovs"; the lines of `computeCovariance` for `inpCovInv` and for
///                     `tarCov2`; and with three dimensions those of `computeWeightedMeanVector`
/// The other arguments are those of `applyOptimalTransport`.
LIKENESS_API void applyOptimalTransportBonneel(const cv::Mat& inputImg, const cv::Mat& targetImg, cv::Mat& result,
                                               cv::Mat& inpCovInv, cv::Mat& inpMeanRow, cv::Mat& tarCov2,
                                               cv::Mat& tarMeanRow, cv::Mat& transportMat, float t, int dims,
                                               const Diagnostics& diagnostics = workingDirectory());

/// Moves the target's statistics to the point t of the path from the input's, and makes T the map to them.
/// @param inpMeans  `dims` floats, read
/// @param tarMeans  `dims` floats, become tarMeans t + inpMeans (1 - t)
/// @param inpCov    dims x dims CV_32F, read
/// @param tarCov    becomes M inpCov M with M = t T + (1 - t) identity
/// @param T         the whole map at entry; becomes the map from `inpCov` to the new `tarCov`. Variances of `inpCov`
///                  below the map's floor make it shrink those channels, at t = 0 too
LIKENESS_API void computeGeodesicPath(float* inpMeans, float* tarMeans, cv::Mat& inpCov, cv::Mat& tarCov, cv::Mat& T,
                                      float t, int dims);

/// Maps the chroma of every pixel: result[k] = T(k, 0) (x1 - inpMeans[0]) + T(k, 1) (x2 - inpMeans[1]) + tarMeans[k]
/// with x1, x2 the channels 1 and 2, k = 0, 1. NaN where channel k (not channel k + 1, departure 15) is NaN, besides
/// what NaN in the chroma gives. `targetImg` is not read; the means are 2 floats each; `result` is CV_32FC2.
LIKENESS_API void computeMapping2D(const cv::Mat& inputImg, const cv::Mat& targetImg, float*& inpMeans,
                                   float*& tarMeans, const cv::Mat& T, cv::Mat& result);

/// Maps all channels of every pixel: T (x - inpMeans) + tarMeans; NaN in result k where channel k is NaN. `targetImg`
/// is not read; the means are 3 floats each; `result` is CV_32FC3.
LIKENESS_API void computeMapping3D(const cv::Mat& inputImg, const cv::Mat& targetImg, float*& inpMeans,
                                   float*& tarMeans, const cv::Mat& T, cv::Mat& result);

/// As `computeMapping2D`, but the input's mean is subtracted after the map, not carried through it:
/// result[k] = T(k, 0) x1 + T(k, 1) x2 - inpMeans[k] + tarMeans[k].
LIKENESS_API void computeMapping2DBonneel(const cv::Mat& inputImg, const cv::Mat& targetImg, float*& inpMeans,
                                          float*& tarMeans, const cv::Mat& T, cv::Mat& result);

/// Maps the chroma of one pixel, without a look at NaN:
/// value(0, k) = tarMean(0, k) + (x1 - inpMean(0, 0)) T(k, 0) + (x2 - inpMean(0, 1)) T(k, 1).
/// @param value            1 x 2 CV_32F, filled
/// @param inpMean, tarMean 1 x 2 CV_32F
LIKENESS_API void computeNewValue2D(cv::Mat& img, cv::Mat& value, cv::Mat& inpMean, cv::Mat& tarMean, cv::Mat& T,
                                    int row, int col);

/// The same with the input's mean subtracted after the map:
/// value(0, k) = tarMean(0, k) + (x1 T(k, 0) + x2 T(k, 1) - inpMean(0, k)).
LIKENESS_API void computeNewValue2DBonneel(cv::Mat& img, cv::Mat& value, cv::Mat& inpMean, cv::Mat& tarMean, cv::Mat& T,
                                           int row, int col);

}  // namespace likeness

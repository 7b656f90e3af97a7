/// @file
/// The comparison of two photographs as a library call.
#pragma once

#include <likeness/comparison/histogram_similarity.hpp>
#include <likeness/comparison/per_correlate.hpp>
#include <likeness/comparison/perceptual_metrics.hpp>
#include <likeness/diagnostics/diagnostics.hpp>
#include <likeness/diagnostics/watch.hpp>
#include <likeness/export.hpp>

#include <opencv2/core.hpp>

#include <optional>
#include <utility>

namespace likeness {

/// One Bhattacharyya coefficient per appearance correlate: 0 where the distributions of two photographs do not overlap,
/// 1 where they are equal (up to float rounding). Where things are in the picture does not matter.
using LikenessCoefficients = PerCorrelate<float>;

/// One number per appearance correlate.
using CorrelateShares = PerCorrelate<double>;

/// Distributions of the five appearance correlates over the pixels of one photograph.
struct AppearanceDistributions : PerCorrelate<BinProbabilities> {
    CorrelateShares nanShares;  ///< share of the pixels, 0..1, whose correlate is NaN and in no bin; 0 of no pixels
    /// Of the hue, where it was asked for: by whole degrees 0 to 359, the nearest, 359.5 and more being 0. Pixels
    /// without chroma (below `leastChromaOfHue`, or NaN) have none and are not counted; a photograph of such pixels
    /// alone has no bins.
    std::optional<BinProbabilities> hue = {};
    /// Share of the pixels, 0..1, that a published model takes for black although they are not (`countsAsBlack`); 0 of
    /// the comparison's own model.
    double blackShare = 0;
};

/// Analyses one photograph, for comparison with one or many others.
///
/// The chain of normalisation, adaptation to D65 and the forward appearance model runs once per distinct colour, and,
/// where no dumps are wanted, only for the colours whose bins an estimate leaves open. The
/// result is the same bits as that of the chain run on every pixel. On a float photograph it is run on every pixel: the
/// distributions are those of the maps that `appearanceMaps` makes of it.
///
/// @param photograph   CV_8UC3, or CV_32FC3 in [0, 1] (values outside are taken as they are; a pixel with a NaN or an
///                     infinite value has no bin and counts in `nanShares`), gamma-encoded, in B, G, R order, fewer
///                     than 2^31 pixels; an empty one has empty distributions and leaves an empty text dump, but no
///                     image. Not modified
/// @param diagnostics  the dumps of `perceptualMetrics`, at the photograph's size
/// @throws std::invalid_argument  if the photograph is of another type
/// @note  Takes about 40 bytes per distinct colour; where dumps are wanted, 130 and 4 per pixel. Of a float photograph
///        it takes about 130 bytes per pixel.
LIKENESS_API AppearanceDistributions appearanceDistributions(const cv::Mat& photograph,
                                                             const Diagnostics& diagnostics = dropAll());

/// The correlates of an image, each pixel's: normalisation, adaptation to D65, forward appearance model and hue, as the
/// comparison sees a photograph.
///
/// @param image        any depth that `toUnit` takes, in B, G, R order; an empty one has empty maps. Floats outside [0, 1]
///                     are taken as they are. Not modified
/// @param diagnostics  the dumps of `perceptualMetrics`
/// @throws std::invalid_argument  if the image is of another type
/// @note  An 8-bit image is taken once per distinct colour, with the same bits as a result.
LIKENESS_API AppearanceMaps appearanceMaps(const cv::Mat& image, const Diagnostics& diagnostics = dropAll());

/// The same for who wants to see how far it is, or to end it.
/// @param watch  its receiver gets the dumps; four steps: the colours counted and adapted, their correlates made, and the
///               end
/// @throws Cancelled  when the caller ends it
LIKENESS_API AppearanceMaps appearanceMaps(const cv::Mat& image, const Watch& watch);

/// The five coefficients of two analysed photographs, over all bins: those of very bright floats lie beyond the bins 0
/// to 999, which hold every 8-bit photograph's.
LIKENESS_API LikenessCoefficients compareDistributions(const AppearanceDistributions& first,
                                                       const AppearanceDistributions& second);

/// The Bhattacharyya coefficient of the distributions of hue, 0 to 1: 1 too where no pixel of either photograph has a
/// hue. Without a value where one of the photographs has no distribution of it, or no pixels.
LIKENESS_API std::optional<float> hueCoefficient(const AppearanceDistributions& first,
                                                 const AppearanceDistributions& second);

/// What `comparePhotographs` does with two photographs before it compares their distributions.
LIKENESS_API std::pair<AppearanceDistributions, AppearanceDistributions> analyzePhotographs(
    const cv::Mat& first, const cv::Mat& second, const Diagnostics& diagnostics = dropAll());

/// Compares two photographs, each CV_8UC3 or CV_32FC3 as above, which may differ in size and depth. Without dumps the
/// two are analysed at the same time on two threads, unless one is very small; of the dumps those of the second
/// replace those of the first, which are made only where something of them would be left.
///
/// @throws std::invalid_argument  if a photograph is of another type
LIKENESS_API LikenessCoefficients comparePhotographs(const cv::Mat& first, const cv::Mat& second,
                                                     const Diagnostics& diagnostics = dropAll());

}  // namespace likeness

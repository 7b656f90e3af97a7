/// @file
/// Distances between the distributions of two photographs, beside the coefficients. A coefficient says how much two
/// distributions overlap; a distance says how far one is from the other, also where they do not overlap at all.
#pragma once

#include <likeness/comparison/per_correlate.hpp>
#include <likeness/comparison/perceptual_metrics.hpp>
#include <likeness/comparison/photograph_comparison.hpp>
#include <likeness/export.hpp>

#include <cstdint>

namespace likeness {

/// How far two distributions by unit bins are from each other. NaN where either has no bins; 0 between equal ones.
struct BinDistances {
    /// First Wasserstein distance, in units of the correlate: how far, on average, one distribution has to be moved to
    /// become the other. At least 0.
    double wasserstein = 0;
    /// Mean of the second less that of the first, in units of the correlate: at most the Wasserstein distance up or down.
    double meanShift = 0;
    /// Kolmogorov-Smirnov: the greatest difference of the cumulative distributions, 0 to 1.
    double kolmogorovSmirnov = 0;
    /// Jensen-Shannon divergence in bits, 0 to 1, where they do not overlap 1.
    double jensenShannon = 0;
};

/// The distances of two distributions.
/// @see Vaserstein, "Markov processes over denumerable products of spaces", Problemy Peredachi Informatsii 5, 1969; Lin,
///      "Divergence measures based on the Shannon entropy", IEEE Transactions on Information Theory 37, 1991
LIKENESS_API BinDistances binDistances(const BinProbabilities& first, const BinProbabilities& second);

/// Those of the five correlates: from distributions alone, whatever the model. Pixels without the correlate do not count.
LIKENESS_API PerCorrelate<BinDistances> distancesOf(const AppearanceDistributions& first,
                                                    const AppearanceDistributions& second);

/// Distances in units of a uniform colour space (CAM02-UCS, CAM16-UCS).
struct UniformDistances {
    double lightness = 0;     ///< Wasserstein distance of J'
    double colorfulness = 0;  ///< Wasserstein distance of M'
    /// Circular Wasserstein distance of the hue by degrees weighted by M', in radians, times the smaller mean M'; 0 where
    /// a photograph has no colour.
    double hue = 0;
    double total = 0;  ///< root of the sum of the squares of these three
};

/// The distances of two photographs as a published model sees them: they see changes of colour, light and contrast in one
/// number, but not where in the picture they are.
/// @param first, second  of `analyze` under a published model with maps, any two sizes; pixels that are NaN do not count
/// @return  NaN where a photograph has no pixels that count. J' and M' are kept to 0.01: `lightness` and `colorfulness`
///          are exact to 0.01
/// @throws std::invalid_argument  if a map of lightness, colourfulness or hue is not CV_32F or has another size
LIKENESS_API UniformDistances uniformDistances(const AppearanceMaps& first, const AppearanceMaps& second);

/// How far the colours of two photographs are from each other in a uniform space, all three coordinates at once: the mean
/// of the first Wasserstein distances of what they are along directions of the space.
/// @param first, second  as `uniformDistances` takes them
/// @param seed           of the directions, which are spread evenly over the sphere and then turned at random
/// @return  in units of the space, from 0; exact to 0.01 for these directions. NaN where a photograph has no pixels that
///          count
/// @throws std::invalid_argument  as `uniformDistances`; or `directions` is not 1 to 100000
/// @see     Bonneel, Rabin, Peyre, Pfister, "Sliced and Radon Wasserstein barycenters of measures", Journal of
///          Mathematical Imaging and Vision 51, 2015
LIKENESS_API double slicedWasserstein(const AppearanceMaps& first, const AppearanceMaps& second, std::uint64_t seed = 1,
                                      int directions = 64);

}  // namespace likeness

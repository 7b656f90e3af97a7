// What is said of a comparison beside its numbers.
#pragma once

#include <likeness/comparison/comparison_model.hpp>
#include <likeness/comparison/photograph_comparison.hpp>

#include <opencv2/core.hpp>

#include <cstdint>
#include <string>

namespace likeness {

/// Relative difference of two backgrounds from which on it is told. On the example photographs, a background that is
/// off by so much moves the brightness coefficient of a photograph against itself by 0.002 at most; one that is off by
/// half as much, by 0.0001.
inline constexpr double tellingBackgroundDifference = 0.001;

/// The two backgrounds that the model assumes for photographs of so many pixels, where the sizes make them differ by
/// more than `tellingBackgroundDifference`: "the backgrounds that the model assumes differ with the sizes, 20 and
/// 19.4589". Empty where they do not.
std::string backgroundRemark(std::int64_t first, std::int64_t second);

/// How many of a photograph's pixels are in no histogram, because they hold values that are no numbers, infinite or
/// negative; empty where all are.
std::string uncountedRemark(const AppearanceDistributions& distributions);

/// How many of a photograph's pixels a published model takes for black although they are not; empty where none.
std::string blackRemark(const AppearanceDistributions& distributions);

/// What follows the path of a photograph that a model cannot see: ": the white of the picture lies outside ...; choose
/// --picture-white encoding".
std::string pictureProblem(const std::string& problem, const ComparisonModel& model);

/// What follows "cannot read 'PATH'" where no pixel has an appearance; empty where one has.
std::string appearanceProblem(const AppearanceDistributions& distributions);

}  // namespace likeness

// Distances of two photographs as columns of files: "brightness_wasserstein", ... of the five correlates.
#pragma once

#include <likeness/comparison/distances.hpp>
#include "batch/result_record.hpp"

#include <string>
#include <vector>

namespace likeness {

using PairDistances = PerCorrelate<BinDistances>;

/// The names, in the order in which files have them.
const std::vector<std::string>& distanceColumns();

/// The values in that order; NaN where there is none.
std::vector<double> distanceValues(const PairDistances& distances);

/// Nine significant digits, nothing of NaN.
std::string distanceText(double value);

/// Puts an outcome's distances behind the carried values; absent ones where it has none.
/// @param kind  of the values
void carryDistances(ResultRecord& record, CarriedValue::Kind kind);

/// Takes distances out of the end of the carried values, where there are any.
void takeDistances(ResultRecord& record);

/// Whether the last of the carried values are distances.
bool carriesDistances(const ResultRecord& record);

}  // namespace likeness

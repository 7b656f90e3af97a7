#pragma once

#include <likeness/comparison/analysis.hpp>
#include "photofile/managed_colors.hpp"

#include <string>

namespace likeness {

/// A model and its conditions as one line: "model=ciecam16;white=95.047,100,108.883;...". Numbers read back exactly.
std::string modelParameters(const ComparisonModel& model, const std::optional<HueWeights>& hue);

/// All that changes the numbers of a comparison besides the photographs and the program's version, as one line.
std::string comparisonParameters(const AnalysisOptions& options = {}, const ProfileChoice& profiles = {});

/// The luminance in cd/m2 that such a line says absolute luminances are taken under; 0 where it says none.
double absoluteWhiteIn(const std::string& parameters);

/// 16 hexadecimal digits that stand for that line; behind a space follows the model, where it is not the default.
std::string parameterFingerprint(const AnalysisOptions& options = {}, const ProfileChoice& profiles = {});

}  // namespace likeness

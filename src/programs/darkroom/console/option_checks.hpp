// Checks of option values for the parser, and the texts of options.
#pragma once

#include "console/option_parser.hpp"
#include "files/number_format.hpp"

#include <opencv2/core.hpp>

#include <cstdint>
#include <string>
#include <vector>

namespace likeness::darkroom {

/// A finite number, read as a whole, from `low` to `high`.
OptionCheck numberBetween(double low, double high);

/// A finite number, read as a whole, greater than `low`.
OptionCheck numberAbove(double low);

/// A finite number, read as a whole.
OptionCheck finiteNumber();

/// A whole number in decimal digits, from `low` to `high`, both at most 2^53 from 0. A few stand in the help as {A,B}.
OptionCheck integerBetween(std::int64_t low, std::int64_t high);

/// One of several words; the refusal of another names the one that was likely meant. They stand in the help as {A,B},
/// from where the completions take them.
OptionCheck oneOf(const std::vector<std::string>& choices);

/// Three finite numbers with commas between them, such as "0.9,1,0.8", each above 0 and up to `high`.
OptionCheck positiveTriple(double high);

/// What `positiveTriple` accepts, or a chromaticity "x,y" such as "0.3127,0.329": both above 0, with a sum up to 1.
OptionCheck tripleOrChromaticity(double high);

/// The numbers of a chromaticity that `tripleOrChromaticity` accepts.
cv::Vec2d chromaticityIn(const std::string& text);

/// The numbers of a text that `positiveTriple` accepts.
cv::Vec3d tripleIn(const std::string& text);

/// The text of an option in --help: what it does, with unit and range, and how it is given.
/// @param example  the option as a user types it, such as "--quality 90"
std::string optionText(const std::string& what, const std::string& example);

}  // namespace likeness::darkroom

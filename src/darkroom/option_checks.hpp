// Checks of option values for the parser, and the texts of options.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace likeness::darkroom {

/// A finite number, read as a whole, from `low` to `high`.
CLI::Validator numberBetween(double low, double high);

/// A finite number, read as a whole, greater than `low`.
CLI::Validator numberAbove(double low);

/// A finite number, read as a whole.
CLI::Validator finiteNumber();

/// A whole number from `low` to `high`.
CLI::Validator integerBetween(int low, int high);

/// The finite number that `text` is as a whole, without spaces around it; NaN if it is none.
double numberIn(const std::string& text);

/// The text of an option in --help: what it does, with unit and range, and how it is given.
/// @param example  the option as a user types it, such as "--quality 90"
std::string optionText(const std::string& what, const std::string& example);

}  // namespace likeness::darkroom

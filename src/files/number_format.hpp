#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace likeness {

/// The number with 9 significant digits, enough for a float to read back exactly, in general notation: "0.987654321",
/// "1", "1.5e-07". Infinities are "inf" and "-inf", NaN is "nan".
std::string nineDigits(double value);

/// `value` rounded to 9 significant digits, so that a writer of shortest numbers, such as the JSON library's, writes
/// no more than these.
double roundedToNineDigits(double value);

/// The finite number that `text` is as a whole, without spaces around it; NaN if it is none.
double parseNumber(const std::string& text);

/// The parts of a text between its commas: one more than there are commas, and some may be empty.
std::vector<std::string> partsOf(const std::string& text);

/// "1 pair", "0 pairs", "2 pairs".
/// @param plural  where it is not the singular with an s
std::string numberOf(std::uint64_t count, std::string_view singular, std::string_view plural = {});

}  // namespace likeness

#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace likeness {

/// The number with 9 significant digits, enough for a float to read back exactly, in general notation: "0.987654321",
/// "1", "1.5e-07". Infinities are "inf" and "-inf", NaN is "nan".
std::string nineDigits(double value);

/// `value` rounded to 9 significant digits, so that a writer of shortest numbers, such as the JSON library's, writes
/// no more than these.
double roundedToNineDigits(double value);

/// "1 pair", "0 pairs", "2 pairs".
/// @param plural  where it is not the singular with an s
std::string numberOf(std::uint64_t count, std::string_view singular, std::string_view plural = {});

}  // namespace likeness

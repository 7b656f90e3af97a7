// Single colours from the command line and from tables on standard input.
#pragma once

#include <likeness/appearance/published_model.hpp>
#include <likeness/color/cie_lab.hpp>

#include <istream>
#include <string>
#include <variant>
#include <vector>

namespace likeness::darkroom {

/// Gamma-encoded sRGB, 0 to 1.
struct SrgbColor {
    cv::Vec3d rgb;
};

/// A colour as the user gives it.
struct GivenColor {
    std::string label;  ///< as it was typed, or the id of the table
    std::variant<Xyz, SrgbColor, CieLab, CorrelateTriple> value;
};

/// The correlates of a list such as "J,C,h", in any order: one of J and Q, one of C, M and s, one of h and H, by letter
/// or by name ("lightness").
struct CorrelateOrder {
    CorrelateKinds kinds;
    std::size_t level = 0;  ///< place in the list
    std::size_t chroma = 1;
    std::size_t hue = 2;
};

/// @throws Refusal  naming --from
CorrelateOrder correlateOrderIn(const std::string& list);

/// "#aabbcc", "#abc", "R,G,B" on 0..255 or "R%,G%,B%".
/// @throws Refusal  that begins with `where`
SrgbColor srgbIn(const std::string& where, const std::string& text);

/// Three numbers with commas between them.
/// @throws Refusal  that begins with `where`
cv::Vec3d numbersOf(const std::string& where, const std::string& text);

/// @param text  the three values in the order of the list
CorrelateTriple tripleOf(const CorrelateOrder& order, const std::string& where, const std::string& text);

/// The colours of a table (CSV, RFC 4180). Its header names the columns: X, Y, Z; or R, G, B; or srgb; or L, a, b; or
/// three correlates; further columns are left aside, but for "id", which names the colours. Without a header a row is
/// three numbers, X, Y, Z or the correlates of `from`, or one field of sRGB.
/// @param from  the list of --from; empty where there is none
/// @param remarks  receives what is to be warned of: several descriptions of a colour, of which one is taken
/// @throws Refusal  naming the line; if a column stands twice
std::vector<GivenColor> colorsIn(std::istream& table, const std::string& from, std::vector<std::string>& remarks);

}  // namespace likeness::darkroom

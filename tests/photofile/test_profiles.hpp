// Colour profiles for tests, made with Little CMS.
#pragma once

#include <string>
#include <vector>

namespace likeness::testing {

/// Of grey values with a pure power as their curve.
std::vector<unsigned char> greyProfile(double gamma);

/// A table of Display P3 (ICC version 2, 16 bits, to L*a*b*) in place of its matrix and curves.
std::vector<unsigned char> lutProfile(unsigned gridPoints = 17);

/// Of four inks.
std::vector<unsigned char> cmykProfile();

/// From one device to another, without a connection space.
std::vector<unsigned char> linkProfile();

/// The profile without a tag, whose entry gets another name.
std::vector<unsigned char> lacking(std::vector<unsigned char> icc, const std::string& tag);

}  // namespace likeness::testing

// What a file of numbers that are no colours of red, green and blue says of itself.
#pragma once

#include <string>
#include <vector>

namespace likeness {

/// Puts a mark into a PNG (a chunk tEXt of the keyword "darkroom:space") or a TIFF (its first ImageDescription is
/// "darkroom:space " and the mark); others are left as they are.
/// @param file  of an encoder
/// @param mark  printable ASCII, such as "lab 1,1,1"
void addSpaceMark(std::vector<unsigned char>& file, const std::string& mark);

/// The mark of a file; empty where it has none, is of another format, or cannot be read.
std::string spaceMarkOf(const std::string& path);

}  // namespace likeness

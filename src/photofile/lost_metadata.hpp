// Metadata that the library for them does not read, and that would be lost without a word.
#pragma once

#include "photofile/image_header.hpp"

#include <string>

namespace likeness {

/// @return  a sentence about them, such as "its Exif data stand in several segments"; empty if there are none
std::string lostMetadata(const ByteSource& source, const ImageHeader& header);

}  // namespace likeness

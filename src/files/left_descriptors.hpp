// Descriptors that a library has left open.
#pragma once

#include <string>

namespace likeness {

/// Closes the descriptors of this process that are of a regular file, but for the three standard ones. The image library
/// leaves one open for each damaged Radiance file, until none is left. For processes that hold no descriptor of such a
/// file between two pieces of work.
void closeDescriptorsOf(const std::string& path);

}  // namespace likeness

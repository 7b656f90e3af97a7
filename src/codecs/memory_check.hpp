#pragma once

#include <new>

namespace likeness {

/// What the machine lacks is not the file's fault, and no reason to try a road that takes more.
///
/// @param codec   a reader or a writer that has given up, or not
/// @throws std::bad_alloc  if the codec found no memory
template <typename Codec>
void requireMemory(const Codec& codec) {
    if (codec.isOutOfMemory()) {
        throw std::bad_alloc();
    }
}

}  // namespace likeness

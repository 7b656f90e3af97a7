#pragma once

#include <opencv2/core.hpp>

#include <exception>
#include <new>

namespace likeness {

/// Whether an exception tells that there was too little memory. The image library has one of its own for that.
inline bool isMemoryShortage(const std::exception& error) noexcept {
    const auto* const ofImageLibrary = dynamic_cast<const cv::Exception*>(&error);
    return ofImageLibrary != nullptr ? ofImageLibrary->code == cv::Error::StsNoMem
                                     : dynamic_cast<const std::bad_alloc*>(&error) != nullptr;
}

/// What programs say where memory runs out between files.
inline constexpr const char* memoryShortageText = "out of memory; photographs of fewer pixels take less";

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

#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace likeness::fuzz {

/// Changes bytes in place, as `LLVMFuzzerMutate`: their number, and how many there may be; gives the new number.
using ByteMutation = std::function<std::size_t(std::uint8_t* bytes, std::size_t size, std::size_t most)>;

/// A JPEG or PNG with one part changed, doubled, left out or exchanged for another; lengths and checksums hold. Other bytes,
/// and one image of eight, are changed without a look at them.
/// @param most  bytes of the result
std::string mutatedImage(std::string_view image, std::size_t most, unsigned seed, const ByteMutation& bytes);

}  // namespace likeness::fuzz

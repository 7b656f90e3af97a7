// Has libFuzzer change images by their parts.
#include "image_mutation.hpp"

#include <cstring>

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t most);

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t most, unsigned seed);

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t most, unsigned seed) {
    const std::string image =
        likeness::fuzz::mutatedImage({reinterpret_cast<const char*>(data), size}, most, seed, LLVMFuzzerMutate);
    std::memcpy(data, image.data(), image.size());
    return image.size();
}

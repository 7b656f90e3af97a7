// HEIC and AVIF files, by the module `heif`.
#include "harness.hpp"
#include "image_file.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    likeness::fuzz::readAsPhotograph(data, size, ".avif");
    return 0;
}

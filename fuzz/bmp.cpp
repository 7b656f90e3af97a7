// BMP files.
#include "harness.hpp"
#include "image_file.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    likeness::fuzz::readAsPhotograph(data, size, ".bmp");
    return 0;
}

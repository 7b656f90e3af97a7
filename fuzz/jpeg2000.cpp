// JPEG 2000 files.
#include "harness.hpp"
#include "image_file.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    likeness::fuzz::readAsPhotograph(data, size, ".jp2");
    return 0;
}

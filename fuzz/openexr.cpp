// OpenEXR files, by the module `openexr`.
#include "harness.hpp"
#include "image_file.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    likeness::fuzz::readAsPhotograph(data, size, ".exr");
    return 0;
}

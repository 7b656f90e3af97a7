// GIF files, by the module `gif`.
#include "harness.hpp"
#include "image_file.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    likeness::fuzz::readAsPhotograph(data, size, ".gif");
    return 0;
}

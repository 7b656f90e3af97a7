// Exif, XMP and IPTC data: the first byte chooses which; the others become a segment of a JPEG, which is described as
// `darkroom info` does, and whose metadata are carried into another JPEG as results get them.
#include "harness.hpp"
#include "image_file.hpp"

#include <string>

using namespace likeness::fuzz;

namespace {

/// A photograph of one grey pixel.
constexpr unsigned char restOfJpeg[] = {
    0xFF, 0xDB, 0x00, 0x43, 0x00, 1,    1,    1,    1,    1,    1,    1,    1,    1,    1,    1,    1,    1,
    1,    1,    1,    1,    1,    1,    1,    1,    1,    1,    1,    1,    1,    1,    1,    1,    1,    1,
    1,    1,    1,    1,    1,    1,    1,    1,    1,    1,    1,    1,    1,    1,    1,    1,    1,    1,
    1,    1,    1,    1,    1,    1,    1,    1,    1,    1,    1,    1,    1,    1,    1,    0xFF, 0xC0, 0x00,
    0x0B, 0x08, 0x00, 0x01, 0x00, 0x01, 0x01, 0x01, 0x11, 0x00, 0xFF, 0xC4, 0x00, 0x14, 0x00, 0x01, 0x00, 0x00,
    0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x03, 0xFF, 0xC4, 0x00, 0x14,
    0x10, 0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
    0xFF, 0xDA, 0x00, 0x08, 0x01, 0x01, 0x00, 0x00, 0x3F, 0x00, 0x37, 0xFF, 0xD9};

std::string segment(unsigned marker, const std::string& payload) {
    const std::size_t length = payload.size() + 2;
    std::string bytes = {static_cast<char>(0xFF), static_cast<char>(marker), static_cast<char>(length >> 8U),
                         static_cast<char>(length)};
    return bytes + payload;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Choices choices(data, size);
    const std::uint8_t which = choices.byte() % 3;
    std::string payload = choices.rest().substr(0, 65000);
    payload = which == 0   ? std::string("Exif\0\0", 6) + payload
              : which == 1 ? std::string("http://ns.adobe.com/xap/1.0/\0", 29) + payload
                           : std::string("Photoshop 3.0\0", 14) + payload;
    const std::string path = scratchPath("photograph.jpg");
    writeFile(path, std::string("\xFF\xD8", 2) + segment(which == 2 ? 0xEDU : 0xE1U, payload) +
                        textOf(restOfJpeg, sizeof restOfJpeg));
    describe(path);
    return 0;
}

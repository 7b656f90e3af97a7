// Headers of image files, what they say of their colours, and whether their end is missing.
#include "photofile/image_header.hpp"
#include "harness.hpp"
#include "photofile/color_statement.hpp"
#include "photofile/cut_off.hpp"

#include <algorithm>

using namespace likeness;
using namespace likeness::fuzz;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::uint64_t readings = 0;
    const ByteSource source = [&](std::uint64_t offset, unsigned char* bytes, std::size_t count) {
        ++readings;
        if (offset >= size) {
            return std::size_t{0};
        }
        count = std::min<std::size_t>(count, size - offset);
        std::copy_n(data + offset, count, bytes);
        return count;
    };
    const ImageHeader header = readImageHeader(source);
    const ImageHeader again = readImageHeader(source);
    require(header.format == again.format && header.width == again.width && header.height == again.height &&
                header.bits == again.bits && header.pages == again.pages,
            "a header that is read twice is the same");
    require(header.bits >= 0 && header.channels >= 0 && header.pages >= 1, "counts are counts");
    const ColorStatement statement = readColorStatement(source, header.format);
    require(statement.icc.size() <= mostProfileBytes, "a profile has a bounded size");
    require(
        (statement.icc.empty() ? 0 : 1) + (statement.colorimetry ? 1 : 0) + (statement.problem.empty() ? 0 : 1) <= 1,
        "one statement holds");
    isCutOff(source, header, size);
    // 64 directories of a TIFF of 4096 entries, a few times.
    require(readings < 4'000'000, "a bounded number of readings");
    return 0;
}

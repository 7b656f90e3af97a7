#include "photofile/lost_metadata.hpp"

#include <gtest/gtest.h>

namespace likeness::testing {
namespace {

std::string lostIn(const std::string& bytes) {
    const ByteSource source = [&bytes](std::uint64_t offset, unsigned char* to, std::size_t count) {
        const std::size_t there = offset >= bytes.size() ? 0 : std::min(count, bytes.size() - std::size_t{offset});
        std::copy_n(bytes.data() + (there == 0 ? 0 : offset), there, to);
        return there;
    };
    return lostMetadata(source, readImageHeader(source));
}

std::string bigNumber(std::size_t value, int count) {
    std::string bytes;
    for (int k = count - 1; k >= 0; --k) {
        bytes.push_back(static_cast<char>(value >> 8 * k));
    }
    return bytes;
}

std::string segmentOf(const std::string& content) {
    return "\xFF\xE1" + bigNumber(content.size() + 2, 2) + content;
}

std::string boxOf(const std::string& type, const std::string& content) {
    return bigNumber(8 + content.size(), 4) + type + content;
}

TEST(LostMetadata, OfJpegStandInSeveralSegments) {
    const std::string begin = "\xFF\xD8";
    const std::string scan = "\xFF\xDA";
    const std::string exif = segmentOf(std::string("Exif\0\0II", 8));
    const std::string xmp = segmentOf(std::string("http://ns.adobe.com/xap/1.0/\0", 29));
    const std::string more = segmentOf(std::string("http://ns.adobe.com/xmp/extension/\0", 35));
    EXPECT_EQ(lostIn(begin + exif + xmp + scan), "");
    EXPECT_EQ(lostIn(begin + exif + exif + scan), "its Exif data stand in several segments");
    EXPECT_EQ(lostIn(begin + exif + xmp + more + scan), "its XMP data stand in several segments");
    EXPECT_EQ(lostIn(begin + scan + exif + exif), "") << "behind the beginning of the scan";
}

TEST(LostMetadata, OfJpegXlAreCompressed) {
    const std::string begin = std::string("\0\0\0\x0CJXL \r\n\x87\n", 12) + boxOf("ftyp", "jxl ");
    EXPECT_EQ(lostIn(begin + boxOf("Exif", "data") + boxOf("jxlc", "data")), "");
    EXPECT_EQ(lostIn(begin + boxOf("jxlc", "data") + boxOf("brob", "Exif data")),
              "its Exif or XMP data are compressed");
    EXPECT_EQ(lostIn(begin + boxOf("brob", "xml  data")), "its Exif or XMP data are compressed");
    EXPECT_EQ(lostIn(begin + boxOf("brob", "jumbdata")), "");
    const std::string large = bigNumber(1, 4) + "jxlp" + bigNumber(16 + 4, 8) + "data";
    EXPECT_EQ(lostIn(begin + large + boxOf("brob", "Exif data")), "its Exif or XMP data are compressed");
    EXPECT_EQ(lostIn(begin + bigNumber(0, 4) + "jxlc" + boxOf("brob", "Exif data")), "") << "a box up to the end";
    EXPECT_EQ(lostIn("\xFF\x0A" + boxOf("brob", "Exif data")), "") << "no boxes";
}

TEST(LostMetadata, OfOtherFormatsAreNone) {
    EXPECT_EQ(lostIn("P6\n1 1\n255\nabc"), "");
    EXPECT_EQ(lostIn(""), "");
}

}  // namespace
}  // namespace likeness::testing

// JPEG and PNG files of every kind, made in code.
#pragma once

#include <opencv2/core.hpp>

#include <cstdint>
#include <string>
#include <vector>

namespace likeness::testing {

struct NamedFile {
    std::string name;
    std::string bytes;
};

/// How a JPEG file is made.
struct JpegKind {
    int colorSpace = 3;                  ///< of the file, J_COLOR_SPACE: 1 grey, 2 RGB, 3 YCbCr, 4 CMYK, 5 YCCK
    std::vector<int> sampling = {2, 2};  ///< horizontal and vertical factor of the first channel
    bool progressive = false;
    bool arithmetic = false;
    bool optimized = false;
    int restartInterval = 0;
    bool adobe = true;  ///< whether the Adobe marker that belongs to the colour space is written
};

std::string jpegFile(const JpegKind& kind, cv::Size size = {61, 47});

/// The same file with segments behind its first marker.
std::string withSegment(const std::string& jpeg, unsigned char marker, const std::string& content);

/// A segment's content with an Exif directory of one orientation behind the entries `before`.
/// @param before  whole entries of 12 bytes
std::string exifWithOrientation(int orientation, bool littleEndian = true, const std::string& before = "",
                                int type = 3);

/// How a PNG file is made.
struct PngKind {
    int colorType = 2;  ///< PNG_COLOR_TYPE
    int bits = 8;
    bool interlaced = false;
    bool transparency = false;  ///< chunk tRNS
    bool gamma = false;         ///< chunk gAMA
};

std::string pngFile(const PngKind& kind, cv::Size size = {37, 29});

/// The same file with a chunk before its first IDAT, or before IEND.
std::string withChunk(const std::string& png, const std::string& type, const std::string& content, bool atEnd = false);

std::vector<NamedFile> plainJpegFiles();
std::vector<NamedFile> plainPngFiles();

/// Files that are damaged or of rare kinds.
std::vector<NamedFile> oddJpegFiles();
std::vector<NamedFile> oddPngFiles();

}  // namespace likeness::testing

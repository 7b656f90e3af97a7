#include "photofile/photoshop_reader.hpp"

#include "photofile/header_bytes.hpp"

#include <algorithm>
#include <cstring>
#include <numeric>

namespace likeness {
namespace {

constexpr const char* cutOff = "its merged picture is cut off or damaged";

/// Image resources: blocks of a number, a name and data.
void readResources(HeaderBytes& file, std::uint64_t begin, std::uint64_t length, PhotographContent& content) {
    constexpr std::uint64_t iccProfile = 1039;
    constexpr std::uint64_t mostBytes = std::uint64_t{1} << 24;
    std::uint64_t at = begin;
    for (int block = 0; block < 4096 && at + 12 <= begin + length && file.holds(at, "8BIM"); ++block) {
        const std::uint64_t number = file.big(at + 4, 2);
        const std::uint64_t name = file.big(at + 6, 1) + 1;
        const std::uint64_t size = file.big(at + 6 + name + name % 2, 4);
        const std::uint64_t data = at + 6 + name + name % 2 + 4;
        if (!file.good() || size > mostBytes) {
            return;
        }
        if (number == iccProfile) {
            content.icc = file.bytes(data, static_cast<std::size_t>(size));
        }
        at = data + size + size % 2;
    }
}

/// PackBits, TIFF 6.0, section 9.
bool unpack(const std::vector<unsigned char>& packed, std::vector<unsigned char>& row) {
    std::size_t in = 0;
    std::size_t out = 0;
    while (out < row.size() && in < packed.size()) {
        const unsigned code = packed[in++];
        if (code == 128) {
            continue;
        }
        const std::size_t count = code < 128 ? code + 1 : 257 - code;
        if (out + count > row.size() || in + (code < 128 ? count : 1) > packed.size()) {
            return false;
        }
        if (code < 128) {
            std::copy_n(packed.begin() + static_cast<std::ptrdiff_t>(in), count,
                        row.begin() + static_cast<std::ptrdiff_t>(out));
            in += count;
        } else {
            std::fill_n(row.begin() + static_cast<std::ptrdiff_t>(out), count, packed[in++]);
        }
        out += count;
    }
    return out == row.size();
}

void putRow(const std::vector<unsigned char>& row, int y, int channel, cv::Mat& image) {
    const int channels = image.channels();
    const int place = channels == 3 ? 2 - channel : channel;
    for (int x = 0; x < image.cols; ++x) {
        const auto at = static_cast<std::size_t>(x);
        switch (image.depth()) {
            case CV_8U:
                image.ptr<uchar>(y)[x * channels + place] = row[at];
                break;
            case CV_16U:
                image.ptr<ushort>(y)[x * channels + place] = static_cast<ushort>(row[2 * at] << 8 | row[2 * at + 1]);
                break;
            default: {
                std::uint32_t bits = 0;
                for (std::size_t k = 0; k < 4; ++k) {
                    bits = bits << 8 | row[4 * at + k];
                }
                float value = 0;
                std::memcpy(&value, &bits, sizeof value);
                image.ptr<float>(y)[x * channels + place] = value;
            }
        }
    }
}

void readPixels(HeaderBytes& file, std::uint64_t begin, bool large, PhotographContent& content) {
    const std::uint64_t compression = file.big(begin, 2);
    constexpr std::uint64_t packedRows = 1;
    if (!file.good() || compression > packedRows) {
        content.problem = file.good() ? "its merged picture is packed in a way that is not read" : cutOff;
        return;
    }
    const int channels = content.channels >= 3 ? 3 : 1;
    const int depth = content.bits == 8 ? CV_8U : content.bits == 16 ? CV_16U : CV_32F;
    cv::Mat image(static_cast<int>(content.height), static_cast<int>(content.width), CV_MAKETYPE(depth, channels));
    const std::size_t rowBytes = content.width * static_cast<std::size_t>(content.bits / 8);
    std::vector<unsigned char> row(rowBytes);
    // The lengths of all rows of all channels stand before the first row.
    const std::size_t lengthSize = large ? 4 : 2;
    const std::uint64_t rows = content.height * static_cast<std::uint64_t>(content.channels);
    std::uint64_t at = begin + 2 + (compression == packedRows ? rows * lengthSize : 0);
    for (int channel = 0; channel < channels; ++channel) {
        for (int y = 0; y < image.rows; ++y) {
            std::size_t length = rowBytes;
            if (compression == packedRows) {
                const std::uint64_t index =
                    static_cast<std::uint64_t>(channel) * content.height + static_cast<std::uint64_t>(y);
                length = static_cast<std::size_t>(file.big(begin + 2 + index * lengthSize, lengthSize));
            }
            if (length > 2 * rowBytes + 1024) {
                content.problem = cutOff;
                return;
            }
            const std::vector<unsigned char> stored = file.bytes(at, length);
            if (stored.size() != length || !(compression == packedRows ? unpack(stored, row) : true)) {
                content.problem = cutOff;
                return;
            }
            putRow(compression == packedRows ? row : stored, y, channel, image);
            at += length;
        }
    }
    content.pixels = image;
}

}  // namespace

PhotographContent readPhotoshop(const ByteSource& source, const PhotographRequest& request) {
    HeaderBytes file(source);
    PhotographContent content;
    const bool large = file.holds(0, std::string_view("8BPS\0\2", 6));
    content.channels = static_cast<int>(file.big(12, 2));
    content.height = file.big(14, 4);
    content.width = file.big(18, 4);
    content.bits = static_cast<int>(file.big(22, 2));
    const std::uint64_t mode = file.big(24, 2);
    constexpr std::uint64_t greyMode = 1;
    constexpr std::uint64_t rgbMode = 3;
    content.codec = "merged picture";
    content.floats = content.bits == 32;
    content.linear = content.floats;
    content.alpha = content.channels > (mode == rgbMode ? 3 : 1);
    constexpr std::uint64_t greatestSide = 300'000;
    if (!file.good() || content.width == 0 || content.height == 0 || content.width > greatestSide ||
        content.height > greatestSide) {
        content.problem = "its header is cut off or damaged";
    } else if (mode != greyMode && mode != rgbMode) {
        content.problem = "it is neither R, G, B nor grey, and other Photoshop documents are not read; convert it";
    } else if ((mode == rgbMode && content.channels < 3) || content.channels < 1 || content.channels > 56 ||
               (content.bits != 8 && content.bits != 16 && content.bits != 32)) {
        content.problem = "its channels or bits are of a kind that is not read";
    } else if (exceeds(content.width, content.height, request.mostPixels)) {
        content.problem = tooManyPixels(content.width, content.height, request.mostPixels);
    }
    if (!content.problem.empty()) {
        return content;
    }
    const std::uint64_t colorLength = file.big(26, 4);
    const std::uint64_t resources = 26 + 4 + colorLength;
    const std::uint64_t resourceLength = file.big(resources, 4);
    const std::uint64_t layers = resources + 4 + resourceLength;
    const std::uint64_t layerLength = file.big(layers, large ? 8 : 4);
    if (!file.good()) {
        content.problem = cutOff;
        return content;
    }
    readResources(file, resources + 4, resourceLength, content);
    content.linear = content.linear && content.icc.empty();  // a profile tells the curve
    content.remarks.emplace_back("the merged picture of a Photoshop document is taken");
    if (!request.headerOnly) {
        readPixels(file, layers + (large ? 8 : 4) + layerLength, large, content);
    }
    if (mode == greyMode && !content.pixels.empty() && content.pixels.channels() == 3) {
        cv::extractChannel(content.pixels, content.pixels, 2);
    }
    return content;
}

}  // namespace likeness

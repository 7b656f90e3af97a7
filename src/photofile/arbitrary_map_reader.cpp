#include "photofile/arbitrary_map_reader.hpp"

#include "photofile/header_bytes.hpp"

#include <string>
#include <string_view>

namespace likeness {
namespace {

struct MapHeader {
    std::uint64_t width = 0;
    std::uint64_t height = 0;
    std::uint64_t depth = 0;
    std::uint64_t greatest = 0;
    std::string kind;  ///< empty where the header does not tell
    std::uint64_t raster = 0;
};

/// @return  `raster` is 0 of a header without an end
MapHeader mapHeaderOf(HeaderBytes& file) {
    MapHeader header;
    HeaderText text(file, 2);
    for (std::string word = text.word(); !word.empty(); word = text.word()) {
        if (word == "ENDHDR") {
            header.raster = text.place() + 1;  // behind the end of its line
            break;
        }
        if (word == "TUPLTYPE") {
            header.kind += (header.kind.empty() ? "" : " ") + text.word();
            continue;
        }
        const std::uint64_t number = text.number();
        if (word == "WIDTH") {
            header.width = number;
        } else if (word == "HEIGHT") {
            header.height = number;
        } else if (word == "DEPTH") {
            header.depth = number;
        } else if (word == "MAXVAL") {
            header.greatest = number;
        }
    }
    return header;
}

/// Channels of colour; 0 of what is no picture.
int colorsOf(const MapHeader& header) {
    const std::string& kind = header.kind;
    const bool grey = kind.empty() ? header.depth == 1
                                   : kind == "GRAYSCALE" || kind == "GRAYSCALE_ALPHA" || kind == "BLACKANDWHITE" ||
                                         kind == "BLACKANDWHITE_ALPHA";
    const bool rgb = kind.empty() ? header.depth == 3 : kind == "RGB" || kind == "RGB_ALPHA";
    return grey ? 1 : rgb ? 3 : 0;
}

/// @param bytes  of a sample
std::uint64_t sampleOf(const std::vector<unsigned char>& row, std::size_t index, std::size_t bytes) {
    const unsigned char* const in = &row[index * bytes];
    return bytes == 2 ? std::uint64_t{in[0]} << 8 | in[1] : in[0];
}

/// Three channels are put as B, G, R.
/// @param first  channel of the pixel that the image begins with
template <typename Value>
void putRow(const std::vector<unsigned char>& row, const MapHeader& header, int first, cv::Mat& image, int y) {
    const std::size_t bytes = header.greatest > 255 ? 2 : 1;
    const auto channels = static_cast<std::size_t>(image.channels());
    constexpr std::uint64_t whole = std::numeric_limits<Value>::max();
    auto* const out = image.ptr<Value>(y);
    for (std::size_t j = 0; j < header.width; ++j) {
        for (std::size_t c = 0; c < channels; ++c) {
            const std::uint64_t stored = sampleOf(row, j * header.depth + static_cast<std::size_t>(first) + c, bytes);
            const std::uint64_t value = std::min(stored, header.greatest);
            out[channels * j + channels - 1 - c] =
                static_cast<Value>((2 * value * whole + header.greatest) / (2 * header.greatest));
        }
    }
}

/// Whether all samples of the last channel are the greatest.
bool isOpaque(const std::vector<unsigned char>& row, const MapHeader& header) {
    const std::size_t bytes = header.greatest > 255 ? 2 : 1;
    for (std::size_t j = 1; j <= header.width; ++j) {
        if (sampleOf(row, j * header.depth - 1, bytes) < header.greatest) {
            return false;
        }
    }
    return true;
}

}  // namespace

PhotographContent readArbitraryMap(const ByteSource& source, const PhotographRequest& request) {
    HeaderBytes file(source);
    const MapHeader header = mapHeaderOf(file);
    const int colors = colorsOf(header);
    PhotographContent content;
    content.width = header.width;
    content.height = header.height;
    content.bits = header.greatest > 255 ? 16 : 8;
    content.channels = static_cast<int>(std::min<std::uint64_t>(header.depth, 1 << 16));
    constexpr std::string_view ending = "_ALPHA";
    content.alpha = header.kind.size() > ending.size() &&
                    header.kind.compare(header.kind.size() - ending.size(), ending.size(), ending) == 0;
    constexpr std::uint64_t greatestSide = std::uint64_t{1} << 30;
    if (header.raster == 0 || header.width == 0 || header.height == 0 || header.width > greatestSide ||
        header.height > greatestSide || header.greatest == 0 || header.greatest > 65535) {
        content.problem = "its header is cut off or damaged";
    } else if (colors == 0 || header.depth != static_cast<std::uint64_t>(colors) + (content.alpha ? 1 : 0)) {
        content.problem = header.kind.empty()
                              ? "it does not tell what its " + std::to_string(header.depth) + " channels are"
                              : "its tuples (" + header.kind + ") are none that are read";
    } else if (exceeds(header.width, header.height, request.mostPixels)) {
        content.problem = tooManyPixels(header.width, header.height, request.mostPixels);
    }
    if (!content.problem.empty() || request.headerOnly || (request.alpha && !content.alpha)) {
        return content;
    }
    const std::size_t rowBytes =
        static_cast<std::size_t>(header.width) * header.depth * (header.greatest > 255 ? 2 : 1);
    const auto cutOff = [&] {
        content.problem = "its content is cut off";
        return content;
    };
    // Before there is room for what is not there.
    if (file.bytes(header.raster + (header.height - 1) * rowBytes, rowBytes).size() != rowBytes) {
        return cutOff();
    }
    const int channels = request.alpha ? 1 : colors;
    const int first = request.alpha ? colors : 0;
    cv::Mat image(static_cast<int>(header.height), static_cast<int>(header.width),
                  CV_MAKETYPE(header.greatest > 255 ? CV_16U : CV_8U, channels));
    content.opaque = content.alpha;
    for (int y = 0; y < image.rows; ++y) {
        const std::vector<unsigned char> row =
            file.bytes(header.raster + static_cast<std::uint64_t>(y) * rowBytes, rowBytes);
        if (row.size() != rowBytes) {
            return cutOff();
        }
        content.opaque = content.opaque && isOpaque(row, header);
        header.greatest > 255 ? putRow<ushort>(row, header, first, image, y)
                              : putRow<uchar>(row, header, first, image, y);
    }
    if (request.alpha) {
        takeAlpha(image, false, content);
    } else {
        content.pixels = image;
    }
    return content;
}

}  // namespace likeness

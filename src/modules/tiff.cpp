// The module `tiff`: pages, tiles and depths of TIFF files, with libtiff.
#include "modules/module_entry.hpp"
#include "modules/photograph_decoder.hpp"

#include <tiffio.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>

namespace {

using likeness::PhotographContent;
using likeness::PhotographRequest;

struct CloseTiff {
    void operator()(::TIFF* file) const noexcept { ::TIFFClose(file); }
};

/// What a page says of its values.
struct Layout {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::uint16_t bits = 1;
    std::uint16_t samples = 1;
    std::uint16_t format = SAMPLEFORMAT_UINT;
    std::uint16_t planes = PLANARCONFIG_CONTIG;
    std::uint16_t photometric = 0;
    std::uint16_t compression = COMPRESSION_NONE;
    std::uint16_t orientation = ORIENTATION_TOPLEFT;

    bool separate() const noexcept { return planes == PLANARCONFIG_SEPARATE && samples > 1; }
};

template <typename Value>
void get(::TIFF* file, std::uint32_t tag, Value& value) {
    ::TIFFGetFieldDefaulted(file, tag, &value);
}

Layout layoutOf(::TIFF* file) {
    Layout layout;
    get(file, TIFFTAG_IMAGEWIDTH, layout.width);
    get(file, TIFFTAG_IMAGELENGTH, layout.height);
    get(file, TIFFTAG_BITSPERSAMPLE, layout.bits);
    get(file, TIFFTAG_SAMPLESPERPIXEL, layout.samples);
    get(file, TIFFTAG_SAMPLEFORMAT, layout.format);
    get(file, TIFFTAG_PLANARCONFIG, layout.planes);
    get(file, TIFFTAG_PHOTOMETRIC, layout.photometric);
    get(file, TIFFTAG_COMPRESSION, layout.compression);
    get(file, TIFFTAG_ORIENTATION, layout.orientation);
    return layout;
}

/// IEEE 754 binary16.
float fromHalf(std::uint16_t half) {
    const int exponent = half >> 10 & 31;
    const auto fraction = static_cast<float>(half & 1023);
    const float magnitude = exponent == 31  ? (fraction == 0 ? std::numeric_limits<float>::infinity()
                                                             : std::numeric_limits<float>::quiet_NaN())
                            : exponent == 0 ? std::ldexp(fraction, -24)
                                            : std::ldexp(fraction + 1024, exponent - 25);
    return half >> 15 != 0 ? -magnitude : magnitude;
}

/// The depth that values are kept in; -1 if they are not read.
int depthOf(const Layout& layout) {
    if (layout.format == SAMPLEFORMAT_IEEEFP) {
        return layout.bits == 16 || layout.bits == 32 || layout.bits == 64 ? CV_32F : -1;
    }
    if (layout.format != SAMPLEFORMAT_UINT && layout.format != SAMPLEFORMAT_VOID) {
        return -1;
    }
    if (layout.bits == 32 || layout.bits == 64) {
        return CV_32F;
    }
    return layout.bits == 0 || layout.bits > 16 ? -1 : layout.bits > 8 ? CV_16U : CV_8U;
}

/// Value `index` of a row: on the whole range of its depth.
double valueAt(const unsigned char* row, std::size_t index, const Layout& layout) {
    const auto load = [&](auto zero) {
        std::memcpy(&zero, row + index * sizeof zero, sizeof zero);
        return zero;
    };
    if (layout.format == SAMPLEFORMAT_IEEEFP) {
        return layout.bits == 16   ? static_cast<double>(fromHalf(load(std::uint16_t{})))
               : layout.bits == 32 ? static_cast<double>(load(float{}))
                                   : load(double{});
    }
    switch (layout.bits) {
        case 8:
            return row[index];
        case 16:
            return load(std::uint16_t{});
        case 32:
            return load(std::uint32_t{}) / 4294967295.0;
        case 64:
            return static_cast<double>(load(std::uint64_t{})) / 18446744073709551615.0;
        default: {
            std::uint32_t value = 0;
            for (std::size_t bit = index * layout.bits; bit < (index + 1) * layout.bits; ++bit) {
                value = value << 1 | (row[bit / 8] >> (7 - bit % 8) & 1U);
            }
            const double greatest = (1 << layout.bits) - 1;
            return std::floor(value * (layout.bits > 8 ? 65535.0 : 255.0) / greatest + 0.5);
        }
    }
}

/// Puts values into pixels: B, G, R, or grey; or those of an alpha channel.
class Pixels {
public:
    /// @param first  the sample that the image begins with
    Pixels(::TIFF* file, const Layout& layout, cv::Mat& image, int first = 0)
        : layout_(layout), image_(image), first_(static_cast<std::uint16_t>(first)) {
        if (layout.photometric == PHOTOMETRIC_PALETTE) {
            ::TIFFGetField(file, TIFFTAG_COLORMAP, &palette_[2], &palette_[1], &palette_[0]);
        }
    }

    bool good() const { return layout_.photometric != PHOTOMETRIC_PALETTE || palette_[0] != nullptr; }

    /// Planes that are wanted, and the one behind them; a file may say that it has thousands.
    std::uint16_t firstPlane() const { return layout_.separate() ? first_ : std::uint16_t{0}; }
    std::uint16_t planes() const {
        const int wanted = palette_[0] != nullptr ? 1 : first_ + image_.channels();
        return layout_.separate() ? static_cast<std::uint16_t>(std::min<int>(layout_.samples, wanted)) : 1;
    }

    /// @param row      samples of one row; all of a pixel, or those of one plane
    /// @param sample   the plane; 0 where all samples stand together
    void putRow(const unsigned char* row, std::uint32_t x, std::uint32_t y, std::uint32_t count, std::uint16_t sample) {
        if (palette_[0] != nullptr && sample > 0) {
            return;  // the other planes are no indices
        }
        const std::size_t step = layout_.separate() ? 1 : layout_.samples;
        for (std::uint32_t j = 0; j < count && x + j < layout_.width && y < layout_.height; ++j) {
            if (palette_[0] != nullptr) {
                putIndex(x + j, y, rawIndex(row, j * step));
            } else if (layout_.separate()) {
                put(x + j, y, sample - first_, valueAt(row, j, layout_));
            } else {
                lookAtAlpha(row, j * step);
                for (int s = 0; s < image_.channels(); ++s) {
                    put(x + j, y, s, valueAt(row, j * step + first_ + static_cast<std::size_t>(s), layout_));
                }
            }
        }
    }

    /// Whether the sample behind the colours is that of an opaque pixel everywhere.
    bool opaque() const { return opaque_ && !layout_.separate() && palette_[0] == nullptr; }

private:
    void lookAtAlpha(const unsigned char* row, std::size_t pixel) {
        const auto colors = static_cast<std::size_t>(image_.channels());
        if (opaque_ && layout_.samples > colors) {
            const double whole = image_.depth() == CV_8U ? 255 : image_.depth() == CV_16U ? 65535 : 1;
            opaque_ = valueAt(row, pixel + colors, layout_) >= whole;
        }
    }

    std::uint32_t rawIndex(const unsigned char* row, std::size_t index) const {
        const double greatest = (1 << layout_.bits) - 1;
        const double whole = layout_.bits > 8 ? 65535.0 : 255.0;
        return static_cast<std::uint32_t>(std::lround(valueAt(row, index, layout_) * greatest / whole));
    }

    void putIndex(std::uint32_t x, std::uint32_t y, std::uint32_t index) {
        auto& pixel = image_.at<cv::Vec3w>(static_cast<int>(y), static_cast<int>(x));
        for (int c = 0; c < 3; ++c) {
            pixel[c] = palette_[c][index];
        }
    }

    void put(std::uint32_t x, std::uint32_t y, int sample, double value) {
        const int channels = image_.channels();
        if (sample >= channels) {
            return;
        }
        const int place = static_cast<int>(x) * channels + (channels == 3 ? 2 - sample : 0);
        const bool inverse = layout_.photometric == PHOTOMETRIC_MINISWHITE && first_ == 0;
        switch (image_.depth()) {
            case CV_8U:
                image_.ptr<uchar>(static_cast<int>(y))[place] = static_cast<uchar>(inverse ? 255 - value : value);
                break;
            case CV_16U:
                image_.ptr<ushort>(static_cast<int>(y))[place] = static_cast<ushort>(inverse ? 65535 - value : value);
                break;
            default:
                image_.ptr<float>(static_cast<int>(y))[place] = static_cast<float>(inverse ? 1 - value : value);
        }
    }

    const Layout& layout_;
    cv::Mat& image_;
    std::uint16_t first_;
    bool opaque_ = true;
    std::uint16_t* palette_[3] = {nullptr, nullptr, nullptr};
};

/// Of a row or a tile; more is damage.
constexpr ::tmsize_t mostOfPiece = ::tmsize_t{1} << 30;

bool readTiles(::TIFF* file, const Layout& layout, Pixels& pixels) {
    std::uint32_t tileWidth = 0;
    std::uint32_t tileHeight = 0;
    get(file, TIFFTAG_TILEWIDTH, tileWidth);
    get(file, TIFFTAG_TILELENGTH, tileHeight);
    const ::tmsize_t size = ::TIFFTileSize(file);
    if (tileWidth == 0 || tileHeight == 0 || size <= 0 || size > mostOfPiece) {
        return false;
    }
    std::vector<unsigned char> tile(static_cast<std::size_t>(size));
    const auto rowBytes = static_cast<std::size_t>(::TIFFTileRowSize(file));
    for (std::uint16_t plane = pixels.firstPlane(); plane < pixels.planes(); ++plane) {
        for (std::uint64_t y = 0; y < layout.height; y += tileHeight) {
            for (std::uint64_t x = 0; x < layout.width; x += tileWidth) {
                const auto left = static_cast<std::uint32_t>(x);
                const auto top = static_cast<std::uint32_t>(y);
                if (::TIFFReadTile(file, tile.data(), left, top, 0, plane) < 0) {
                    return false;
                }
                for (std::uint32_t i = 0; i < tileHeight; ++i) {
                    pixels.putRow(tile.data() + i * rowBytes, left, top + i, tileWidth, plane);
                }
            }
        }
    }
    return true;
}

bool readStrips(::TIFF* file, const Layout& layout, Pixels& pixels) {
    const ::tmsize_t size = ::TIFFScanlineSize(file);
    if (size <= 0 || size > mostOfPiece) {
        return false;
    }
    std::vector<unsigned char> row(static_cast<std::size_t>(size));
    for (std::uint16_t plane = pixels.firstPlane(); plane < pixels.planes(); ++plane) {
        for (std::uint32_t y = 0; y < layout.height; ++y) {
            if (::TIFFReadScanline(file, row.data(), y, plane) < 0) {
                return false;
            }
            pixels.putRow(row.data(), 0, y, layout.width, plane);
        }
    }
    return true;
}

bool readPieces(::TIFF* file, const Layout& layout, Pixels& pixels) {
    return ::TIFFIsTiled(file) != 0 ? readTiles(file, layout, pixels) : readStrips(file, layout, pixels);
}

/// By the library's own conversion, to 8 bits.
bool readConverted(::TIFF* file, const Layout& layout, cv::Mat& image) {
    std::vector<std::uint32_t> raster(std::size_t{layout.width} * layout.height);
    // In the file's own orientation, so that nothing is flipped on the way.
    if (::TIFFReadRGBAImageOriented(file, layout.width, layout.height, raster.data(), layout.orientation, 1) == 0) {
        return false;
    }
    image.create(static_cast<int>(layout.height), static_cast<int>(layout.width), CV_8UC3);
    const std::uint32_t* in = raster.data();
    for (int i = 0; i < image.rows; ++i) {
        for (int j = 0; j < image.cols; ++j, ++in) {
            image.at<cv::Vec3b>(i, j) = {static_cast<uchar>(TIFFGetB(*in)), static_cast<uchar>(TIFFGetG(*in)),
                                         static_cast<uchar>(TIFFGetR(*in))};
        }
    }
    return true;
}

void makeUpright(int orientation, cv::Mat& image) {
    const auto turned = [&image](int turn, bool mirror) {
        cv::Mat result = image;
        if (turn == 90 || turn == 270) {
            cv::transpose(result, result);
        }
        const int flip = turn == 90 ? 1 : turn == 270 ? 0 : turn == 180 ? -1 : 2;
        if (flip != 2) {
            cv::Mat flipped;
            cv::flip(result, flipped, flip);
            result = flipped;
        }
        if (mirror) {
            cv::Mat flipped;
            cv::flip(result, flipped, 1);
            result = flipped;
        }
        image = result;
    };
    switch (orientation) {
        case ORIENTATION_TOPRIGHT:
            return turned(0, true);
        case ORIENTATION_BOTRIGHT:
            return turned(180, false);
        case ORIENTATION_BOTLEFT:
            return turned(180, true);
        case ORIENTATION_LEFTTOP:
            return turned(90, true);
        case ORIENTATION_RIGHTTOP:
            return turned(90, false);
        case ORIENTATION_RIGHTBOT:
            return turned(270, true);
        case ORIENTATION_LEFTBOT:
            return turned(270, false);
        default:
            return;
    }
}

const char* nameOfCompression(int compression) {
    switch (compression) {
        case COMPRESSION_NONE:
            return "not compressed";
        case COMPRESSION_LZW:
            return "LZW";
        case COMPRESSION_JPEG:
        case COMPRESSION_OJPEG:
            return "JPEG";
        case COMPRESSION_ADOBE_DEFLATE:
        case COMPRESSION_DEFLATE:
            return "deflate";
        case COMPRESSION_PACKBITS:
            return "PackBits";
        case COMPRESSION_LZMA:
            return "LZMA";
        case COMPRESSION_ZSTD:
            return "Zstandard";
        case COMPRESSION_WEBP:
            return "WebP";
        default:
            return "compressed";
    }
}

int pagesOf(::TIFF* file) {
    constexpr int most = 65535;
    int pages = 1;
    while (pages < most && ::TIFFReadDirectory(file) != 0) {
        ++pages;
    }
    ::TIFFSetDirectory(file, 0);
    return pages;
}

void silent(const char* /*module*/, const char* /*format*/, va_list /*arguments*/) {}

void describe(::TIFF* file, const Layout& layout, PhotographContent& content) {
    const bool turned = layout.orientation >= ORIENTATION_LEFTTOP;
    content.width = turned ? layout.height : layout.width;
    content.height = turned ? layout.width : layout.height;
    content.bits = layout.bits;
    content.floats = layout.format == SAMPLEFORMAT_IEEEFP;
    content.channels = layout.samples;
    content.orientation = layout.orientation;
    content.codec = nameOfCompression(layout.compression);
    std::uint16_t extra = 0;
    std::uint16_t* kinds = nullptr;
    ::TIFFGetFieldDefaulted(file, TIFFTAG_EXTRASAMPLES, &extra, &kinds);
    content.alpha = extra > 0 && kinds[0] != EXTRASAMPLE_UNSPECIFIED;
    content.multiplied = content.alpha && kinds[0] == EXTRASAMPLE_ASSOCALPHA;
    std::uint32_t size = 0;
    void* profile = nullptr;
    constexpr std::uint32_t mostBytes = std::uint32_t{1} << 24;
    if (::TIFFGetField(file, TIFFTAG_ICCPROFILE, &size, &profile) != 0 && profile != nullptr && size <= mostBytes) {
        const auto* const bytes = static_cast<const unsigned char*>(profile);
        content.icc.assign(bytes, bytes + size);
    }
}

bool isGrey(const Layout& layout) {
    return layout.photometric == PHOTOMETRIC_MINISBLACK || layout.photometric == PHOTOMETRIC_MINISWHITE;
}

/// Whether the values are read here, and not converted by the library.
bool isReadHere(const Layout& layout) {
    const bool byColor = layout.photometric == PHOTOMETRIC_RGB || layout.photometric == PHOTOMETRIC_PALETTE;
    const bool palette = layout.photometric == PHOTOMETRIC_PALETTE;
    const int depth = depthOf(layout);
    return depth >= 0 && (byColor || isGrey(layout)) && !(palette && (layout.bits > 16 || depth == CV_32F)) &&
           !(layout.photometric == PHOTOMETRIC_RGB && layout.samples < 3);
}

/// What stands against reading the values; empty if nothing does.
std::string problemOfKind(const Layout& layout) {
    if (isReadHere(layout)) {
        return "";
    }
    if (layout.format == SAMPLEFORMAT_INT) {
        return "its values are signed integers, which are not read";
    }
    const bool isInteger = layout.format == SAMPLEFORMAT_UINT || layout.format == SAMPLEFORMAT_VOID;
    if (layout.photometric == PHOTOMETRIC_SEPARATED && layout.bits > 8) {
        return "it holds inks (CMYK) of " + std::to_string(layout.bits) + " bits, which are not read";
    }
    return layout.bits > 8 || !isInteger ? "its values are of a kind that is not read" : "";
}

bool decode(::TIFF* file, const Layout& layout, PhotographContent& content) {
    const bool grey = isGrey(layout);
    const int depth = depthOf(layout);
    const bool palette = layout.photometric == PHOTOMETRIC_PALETTE;
    if (!isReadHere(layout)) {
        if (!readConverted(file, layout, content.pixels)) {
            return false;
        }
        makeUpright(layout.orientation, content.pixels);
        return true;
    }
    // Not filled: all of it is read, and of what a damaged directory says no page is touched before there is a row.
    cv::Mat image(static_cast<int>(layout.height), static_cast<int>(layout.width),
                  palette ? CV_16UC3 : CV_MAKETYPE(depth, grey ? 1 : 3));
    Pixels pixels(file, layout, image);
    if (!pixels.good() || !readPieces(file, layout, pixels)) {
        return false;
    }
    makeUpright(layout.orientation, image);
    content.pixels = image;
    content.opaque = pixels.opaque();
    return true;
}

/// The sample behind the colours.
bool decodeAlpha(::TIFF* file, const Layout& layout, PhotographContent& content) {
    const bool rgb = layout.photometric == PHOTOMETRIC_RGB;
    const bool grey = isGrey(layout);
    const int depth = depthOf(layout);
    const int colors = rgb ? 3 : 1;
    if (depth < 0 || !(rgb || grey) || layout.samples <= colors) {
        content.problem = "its alpha channel is of a kind that is not read";
        return false;
    }
    cv::Mat alpha(static_cast<int>(layout.height), static_cast<int>(layout.width), CV_MAKETYPE(depth, 1));
    Pixels pixels(file, layout, alpha, colors);
    if (!readPieces(file, layout, pixels)) {
        return false;
    }
    makeUpright(layout.orientation, alpha);
    likeness::takeAlpha(alpha, content.multiplied, content);
    return true;
}

}  // namespace

LIKENESS_MODULE_ENTRY void likeness_read_photograph(const PhotographRequest& request, PhotographContent& content) {
    ::TIFFSetWarningHandler(silent);
    ::TIFFSetErrorHandler(silent);
    const std::unique_ptr<::TIFF, CloseTiff> file(::TIFFOpen(request.path.c_str(), "rm"));
    if (file == nullptr) {
        content.problem = "its first directory is cut off or damaged";
        return;
    }
    content.pages = pagesOf(file.get());
    if (request.page > content.pages) {
        content.problem = "it has " + std::to_string(content.pages) + (content.pages == 1 ? " page" : " pages") +
                          ", and --page asks for number " + std::to_string(request.page);
        return;
    }
    if (::TIFFSetDirectory(file.get(), static_cast<std::uint16_t>(request.page - 1)) == 0) {
        content.problem = "its directory is cut off or damaged";
        return;
    }
    const Layout layout = layoutOf(file.get());
    describe(file.get(), layout, content);
    if (layout.photometric == PHOTOMETRIC_CIELAB || layout.photometric == PHOTOMETRIC_ICCLAB ||
        layout.photometric == PHOTOMETRIC_ITULAB) {
        content.problem = "its values are CIE L*a*b*, which is not read";
        return;
    }
    if (likeness::exceeds(layout.width, layout.height, request.mostPixels)) {
        content.problem = likeness::tooManyPixels(layout.width, layout.height, request.mostPixels);
        return;
    }
    constexpr std::uint32_t greatestSide = std::uint32_t{1} << 30;
    if (layout.width == 0 || layout.height == 0 || layout.width > greatestSide || layout.height > greatestSide) {
        content.problem = "it has no pixels";
        return;
    }
    content.problem = problemOfKind(layout);
    if (!content.problem.empty() || request.headerOnly || (request.alpha && !content.alpha)) {
        return;
    }
    if (!(request.alpha ? decodeAlpha(file.get(), layout, content) : decode(file.get(), layout, content))) {
        content.pixels.release();
        content.problem = content.problem.empty() ? "its content is cut off or damaged" : content.problem;
    }
}

#include "codecs/image_corpus.hpp"

#include <png.h>
#include <zlib.h>

#include <cstdio>
#include <cstdlib>

#include <jpeglib.h>

namespace likeness::testing {
namespace {

/// Smooth with noise: every frequency and both ends of the range.
int sample(int row, int col, int channel) {
    const auto noise = static_cast<std::uint32_t>(row * 7919 + col * 104729 + channel * 1299709) * 2654435761U;
    return (row * (3 + channel) + col * (5 - channel) + static_cast<int>(noise >> 27U)) % 256;
}

std::string be16(unsigned value) {
    return {static_cast<char>(value >> 8U), static_cast<char>(value & 255U)};
}

std::string be32(std::uint32_t value) {
    return be16(value >> 16U) + be16(value & 0xFFFFU);
}

/// So many spaces, which take next to nothing.
std::string deflatedSpaces(std::size_t count) {
    const std::string text(count, ' ');
    ::uLong length = ::compressBound(static_cast<::uLong>(count));
    std::string bytes(length, '\0');
    if (::compress(reinterpret_cast<unsigned char*>(bytes.data()), &length,
                   reinterpret_cast<const unsigned char*>(text.data()), static_cast<::uLong>(count)) != Z_OK) {
        std::abort();
    }
    bytes.resize(length);
    return bytes;
}

}  // namespace

std::string jpegFile(const JpegKind& kind, cv::Size size) {
    jpeg_error_mgr error{};
    jpeg_compress_struct codec{};
    codec.err = jpeg_std_error(&error);
    jpeg_create_compress(&codec);
    unsigned char* bytes = nullptr;
    unsigned long count = 0;
    jpeg_mem_dest(&codec, &bytes, &count);
    codec.image_width = static_cast<JDIMENSION>(size.width);
    codec.image_height = static_cast<JDIMENSION>(size.height);
    const bool four = kind.colorSpace >= JCS_CMYK;
    codec.input_components = kind.colorSpace == JCS_GRAYSCALE ? 1 : four ? 4 : 3;
    codec.in_color_space = kind.colorSpace == JCS_GRAYSCALE ? JCS_GRAYSCALE : four ? JCS_CMYK : JCS_RGB;
    jpeg_set_defaults(&codec);
    jpeg_set_colorspace(&codec, static_cast<J_COLOR_SPACE>(kind.colorSpace));
    jpeg_set_quality(&codec, 85, TRUE);
    if (kind.colorSpace == JCS_YCbCr || kind.colorSpace == JCS_YCCK) {
        codec.comp_info[0].h_samp_factor = kind.sampling[0];
        codec.comp_info[0].v_samp_factor = kind.sampling[1];
    }
    if (kind.colorSpace == JCS_YCCK) {
        codec.comp_info[3].h_samp_factor = kind.sampling[0];
        codec.comp_info[3].v_samp_factor = kind.sampling[1];
    }
    if (!kind.adobe) {
        codec.write_Adobe_marker = FALSE;
    }
    codec.arith_code = kind.arithmetic ? TRUE : FALSE;
    codec.optimize_coding = kind.optimized ? TRUE : FALSE;
    codec.restart_interval = static_cast<unsigned>(kind.restartInterval);
    if (kind.progressive) {
        jpeg_simple_progression(&codec);
    }
    jpeg_start_compress(&codec, TRUE);
    std::vector<JSAMPLE> row(static_cast<std::size_t>(size.width) * static_cast<std::size_t>(codec.input_components));
    for (int i = 0; i < size.height; ++i) {
        for (std::size_t e = 0; e < row.size(); ++e) {
            const auto channels = static_cast<std::size_t>(codec.input_components);
            row[e] = static_cast<JSAMPLE>(sample(i, static_cast<int>(e / channels), static_cast<int>(e % channels)));
        }
        JSAMPROW line = row.data();
        jpeg_write_scanlines(&codec, &line, 1);
    }
    jpeg_finish_compress(&codec);
    std::string file(reinterpret_cast<const char*>(bytes), count);
    jpeg_destroy_compress(&codec);
    std::free(bytes);
    return file;
}

std::string withSegment(const std::string& jpeg, unsigned char marker, const std::string& content) {
    return jpeg.substr(0, 2) + '\xFF' + static_cast<char>(marker) + be16(static_cast<unsigned>(content.size()) + 2) +
           content + jpeg.substr(2);
}

std::string exifWithOrientation(int orientation, bool littleEndian, const std::string& before, int type) {
    const auto word = [littleEndian](unsigned value) {
        const std::string big = be16(value);
        return littleEndian ? std::string{big[1], big[0]} : big;
    };
    const std::string header = (littleEndian ? "II" : "MM") + word(42);
    const std::string offset = littleEndian ? word(8) + word(0) : word(0) + word(8);
    const std::string one = littleEndian ? word(1) + word(0) : word(0) + word(1);
    return std::string("Exif\0\0", 6) + header + offset + word(static_cast<unsigned>(before.size() / 12 + 1)) + before +
           word(0x0112) + word(static_cast<unsigned>(type)) + one + word(static_cast<unsigned>(orientation)) + word(0) +
           word(0) + word(0);
}

std::string pngFile(const PngKind& kind, cv::Size size) {
    std::string file;
    png_structp codec = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(codec);
    png_set_write_fn(
        codec, &file,
        [](png_structp writer, png_bytep data, png_size_t count) {
            static_cast<std::string*>(png_get_io_ptr(writer))->append(reinterpret_cast<const char*>(data), count);
        },
        [](png_structp) {});
    png_set_IHDR(codec, info, static_cast<png_uint_32>(size.width), static_cast<png_uint_32>(size.height), kind.bits,
                 kind.colorType, kind.interlaced ? PNG_INTERLACE_ADAM7 : PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    std::vector<png_color> palette(std::size_t{1} << static_cast<unsigned>(std::min(kind.bits, 8)));
    for (std::size_t k = 0; k < palette.size(); ++k) {
        const int step = static_cast<int>(k);
        palette[k] = {static_cast<png_byte>(sample(step, 3, 0)), static_cast<png_byte>(sample(step, 5, 1)),
                      static_cast<png_byte>(sample(step, 7, 2))};
    }
    if (kind.colorType == PNG_COLOR_TYPE_PALETTE) {
        png_set_PLTE(codec, info, palette.data(), static_cast<int>(palette.size()));
    }
    std::vector<png_byte> alphas(palette.size() / 2 + 1);
    for (std::size_t k = 0; k < alphas.size(); ++k) {
        alphas[k] = static_cast<png_byte>(k * 37 % 256);
    }
    png_color_16 transparent{1, 1, 1, 1, 1};
    if (kind.transparency) {
        const bool palettes = kind.colorType == PNG_COLOR_TYPE_PALETTE;
        png_set_tRNS(codec, info, palettes ? alphas.data() : nullptr, palettes ? static_cast<int>(alphas.size()) : 0,
                     palettes ? nullptr : &transparent);
    }
    if (kind.gamma) {
        png_set_gAMA(codec, info, 0.55);
    }
    png_write_info(codec, info);
    const std::size_t rowBytes = png_get_rowbytes(codec, info);
    std::vector<std::vector<png_byte>> rows(static_cast<std::size_t>(size.height), std::vector<png_byte>(rowBytes));
    std::vector<png_bytep> lines;
    for (int i = 0; i < size.height; ++i) {
        auto& row = rows[static_cast<std::size_t>(i)];
        for (std::size_t e = 0; e < rowBytes; ++e) {
            row[e] = static_cast<png_byte>(sample(i, static_cast<int>(e), 1));
        }
        lines.push_back(row.data());
    }
    png_write_image(codec, lines.data());
    png_write_end(codec, info);
    png_destroy_write_struct(&codec, &info);
    return file;
}

std::string withChunk(const std::string& png, const std::string& type, const std::string& content, bool atEnd) {
    const std::string body = type + content;
    const auto sum = static_cast<std::uint32_t>(
        ::crc32(0, reinterpret_cast<const unsigned char*>(body.data()), static_cast<unsigned>(body.size())));
    const std::size_t place = png.find(atEnd ? "IEND" : "IDAT") - 4;
    return png.substr(0, place) + be32(static_cast<std::uint32_t>(content.size())) + body + be32(sum) +
           png.substr(place);
}

std::vector<NamedFile> plainJpegFiles() {
    std::vector<NamedFile> files;
    const std::vector<std::pair<std::string, std::vector<int>>> samplings = {{"4:4:4", {1, 1}}, {"4:2:2", {2, 1}},
                                                                             {"4:2:0", {2, 2}}, {"4:1:1", {4, 1}},
                                                                             {"4:4:0", {1, 2}}, {"4:1:0", {4, 2}}};
    for (const auto& [name, sampling] : samplings) {
        for (const bool progressive : {false, true}) {
            for (const int restart : {0, 3}) {
                for (const bool arithmetic : {false, true}) {
                    JpegKind kind;
                    kind.sampling = sampling;
                    kind.progressive = progressive;
                    kind.arithmetic = arithmetic;
                    kind.restartInterval = restart;
                    files.push_back({name + (progressive ? " progressive" : "") + (arithmetic ? " arithmetic" : "") +
                                         (restart > 0 ? " restarts" : ""),
                                     jpegFile(kind)});
                }
            }
        }
    }
    JpegKind kind;
    kind.optimized = true;
    files.push_back({"optimized", jpegFile(kind)});
    for (const cv::Size size : {cv::Size(1, 1), cv::Size(1, 40), cv::Size(40, 1), cv::Size(8, 8), cv::Size(16, 17)}) {
        files.push_back({"size", jpegFile({}, size)});
    }
    for (const bool progressive : {false, true}) {
        kind = {};
        kind.colorSpace = JCS_GRAYSCALE;
        kind.progressive = progressive;
        files.push_back({"grey", jpegFile(kind)});
        kind.colorSpace = JCS_RGB;
        files.push_back({"RGB", jpegFile(kind)});
    }
    const std::string plain = jpegFile({}, {19, 13});
    for (int orientation = 1; orientation <= 8; ++orientation) {
        for (const bool littleEndian : {false, true}) {
            files.push_back({"orientation " + std::to_string(orientation),
                             withSegment(plain, 0xE1, exifWithOrientation(orientation, littleEndian))});
        }
    }
    const std::string xmp = std::string("http://ns.adobe.com/xap/1.0/\0<x/>", 33);
    const std::string oriented = exifWithOrientation(6);
    files.push_back({"Exif, then XMP", withSegment(withSegment(plain, 0xE1, xmp), 0xE1, oriented)});
    files.push_back({"XMP, then Exif", withSegment(withSegment(plain, 0xE1, oriented), 0xE1, xmp)});
    files.push_back({"two Exif", withSegment(withSegment(plain, 0xE1, exifWithOrientation(3)), 0xE1, oriented)});
    files.push_back({"comment", withSegment(plain, 0xFE, "a comment")});
    files.push_back({"other segment", withSegment(plain, 0xE2, oriented)});
    // ImageDescription within its entry; XResolution, whose value is the header's bytes.
    const std::string description("\x0E\x01\x02\0\x03\0\0\0ab\0\0", 12);
    files.push_back({"entries before", withSegment(plain, 0xE1, exifWithOrientation(8, true, description))});
    const std::string make("\x0F\x01\x02\0\x06\0\0\0\x04\0\0\0", 12);
    files.push_back({"text before", withSegment(plain, 0xE1, exifWithOrientation(7, true, description + make))});
    for (const std::size_t length : {1U, 64U, 5000U}) {
        files.push_back({"garbage behind", plain + std::string(length, '\x5A')});
    }
    files.push_back({"another image behind", plain + jpegFile({}, {8, 8})});
    return files;
}

std::vector<NamedFile> oddJpegFiles() {
    std::vector<NamedFile> files;
    for (const int colorSpace : {JCS_CMYK, JCS_YCCK}) {
        for (const bool adobe : {true, false}) {
            for (const bool progressive : {false, true}) {
                JpegKind kind;
                kind.colorSpace = colorSpace;
                kind.adobe = adobe;
                kind.progressive = progressive;
                files.push_back({colorSpace == JCS_CMYK ? "CMYK" : "YCCK", jpegFile(kind)});
            }
        }
    }
    const std::string plain = jpegFile({});
    std::string deep = plain;
    deep[deep.find("\xFF\xC0") + 4] = 12;
    files.push_back({"12 bits", deep});
    std::string lossless = plain;
    lossless[lossless.find("\xFF\xC0") + 1] = '\xC3';
    files.push_back({"lossless", lossless});
    JpegKind small;
    small.progressive = true;
    JpegKind restarts;
    restarts.restartInterval = 2;
    for (const std::string& whole : {jpegFile({}, {40, 30}), jpegFile(small, {40, 30}), jpegFile(restarts, {40, 30})}) {
        for (std::size_t length = 0; length < whole.size(); length += 64) {
            files.push_back({"truncated", whole.substr(0, length)});
        }
        files.push_back({"without its end", whole.substr(0, whole.size() - 2)});
        for (std::size_t place = 2; place < whole.size(); place += 31) {
            std::string damaged = whole;
            damaged[place] = static_cast<char>(damaged[place] ^ '\x55');
            files.push_back({"damaged at " + std::to_string(place), damaged});
        }
    }
    const std::string tiny = jpegFile({}, {19, 13});
    files.push_back({"garbage before a marker", tiny.substr(0, 2) + "xyz" + tiny.substr(2)});
    files.push_back({"orientation 0", withSegment(tiny, 0xE1, exifWithOrientation(0))});
    files.push_back({"orientation 9", withSegment(tiny, 0xE1, exifWithOrientation(9))});
    files.push_back({"orientation of another type", withSegment(tiny, 0xE1, exifWithOrientation(6, true, "", 4))});
    const std::string whole = exifWithOrientation(6);
    for (std::size_t length = 0; length < whole.size(); ++length) {
        files.push_back({"Exif cut off", withSegment(tiny, 0xE1, whole.substr(0, length))});
    }
    const std::string farText("\x0F\x01\x02\0\x06\0\0\0\xFF\xFF\0\0", 12);
    const std::string farResolution("\x1A\x01\x05\0\x01\0\0\0\xFF\xFF\0\0", 12);
    const std::string strangeType("\x1A\x01\x77\0\x01\0\0\0\x01\0\0\0", 12);
    const std::string wordResolution("\x1A\x01\x03\0\x01\0\0\0\xFF\xFF\0\0", 12);
    for (const std::string& before : {farText, farResolution, strangeType, wordResolution}) {
        files.push_back({"Exif entry in doubt", withSegment(tiny, 0xE1, exifWithOrientation(6, true, before))});
    }
    std::string mixed = whole;
    mixed[7] = 'M';
    files.push_back({"Exif of no byte order", withSegment(tiny, 0xE1, mixed)});
    // A frame of a motion JPEG, without Huffman tables.
    std::string tables = tiny;
    for (std::size_t place = tables.find("\xFF\xC4"); place != std::string::npos; place = tables.find("\xFF\xC4")) {
        const auto length = static_cast<std::size_t>(static_cast<unsigned char>(tables[place + 2]) * 256 +
                                                     static_cast<unsigned char>(tables[place + 3]));
        tables.erase(place, length + 2);
    }
    files.push_back({"without tables", tables});
    return files;
}

std::vector<NamedFile> plainPngFiles() {
    std::vector<NamedFile> files;
    const std::vector<std::pair<int, std::vector<int>>> kinds = {{PNG_COLOR_TYPE_GRAY, {1, 2, 4, 8, 16}},
                                                                 {PNG_COLOR_TYPE_RGB, {8, 16}},
                                                                 {PNG_COLOR_TYPE_PALETTE, {1, 2, 4, 8}},
                                                                 {PNG_COLOR_TYPE_GRAY_ALPHA, {8, 16}},
                                                                 {PNG_COLOR_TYPE_RGB_ALPHA, {8, 16}}};
    for (const auto& [colorType, depths] : kinds) {
        for (const int bits : depths) {
            for (const bool interlaced : {false, true}) {
                for (const bool transparency : {false, true}) {
                    if (transparency && (colorType & PNG_COLOR_MASK_ALPHA) != 0) {
                        continue;
                    }
                    for (const bool gamma : {false, true}) {
                        files.push_back({"type " + std::to_string(colorType) + ", " + std::to_string(bits) + " bits" +
                                             (interlaced ? ", interlaced" : "") + (transparency ? ", tRNS" : "") +
                                             (gamma ? ", gAMA" : ""),
                                         pngFile({colorType, bits, interlaced, transparency, gamma})});
                    }
                }
            }
        }
    }
    for (const cv::Size size : {cv::Size(1, 1), cv::Size(1, 9), cv::Size(9, 1)}) {
        files.push_back({"size", pngFile({}, size)});
    }
    const std::string plain = pngFile({}, {19, 13});
    for (int orientation = 1; orientation <= 8; ++orientation) {
        const std::string exif = exifWithOrientation(orientation, orientation % 2 == 0).substr(6);
        files.push_back({"orientation", withChunk(plain, "eXIf", exif)});
        files.push_back({"orientation behind", withChunk(plain, "eXIf", exif, true)});
    }
    files.push_back({"text", withChunk(plain, "tEXt", std::string("Title\0a title", 13))});
    files.push_back({"sRGB", withChunk(plain, "sRGB", std::string(1, '\0'))});
    files.push_back({"garbage behind", plain + "garbage"});
    return files;
}

std::vector<NamedFile> oddPngFiles() {
    std::vector<NamedFile> files;
    for (const std::string& whole : {pngFile({}, {19, 13}), pngFile({3, 4, true, true}, {40, 30})}) {
        for (std::size_t length = 0; length < whole.size(); length += 64) {
            files.push_back({"truncated", whole.substr(0, length)});
        }
        for (std::size_t place = 0; place < whole.size(); place += 5) {
            std::string damaged = whole;
            damaged[place] = static_cast<char>(damaged[place] ^ '\x10');
            files.push_back({"damaged at " + std::to_string(place), damaged});
        }
        files.push_back({"without its end", whole.substr(0, whole.size() - 12)});
    }
    const std::string plain = pngFile({}, {19, 13});
    files.push_back({"profile that is none", withChunk(plain, "iCCP", std::string("x\0\0abc", 6))});
    files.push_back({"two gAMA", withChunk(withChunk(plain, "gAMA", be32(45455)), "gAMA", be32(55555))});
    files.push_back({"unknown chunk that is needed", withChunk(plain, "ABCD", "abc")});
    files.push_back({"Exif cut off", withChunk(plain, "eXIf", exifWithOrientation(6).substr(6, 20))});
    files.push_back(
        {"text beyond the limit", withChunk(plain, "zTXt", std::string("Title\0\0", 7) + deflatedSpaces(9 << 20))});
    files.push_back(
        {"profile beyond the limit", withChunk(plain, "iCCP", std::string("x\0\0", 3) + deflatedSpaces(9 << 20))});
    files.push_back({"Exif that is none", withChunk(plain, "eXIf", "nonsense of some length")});
    return files;
}

}  // namespace likeness::testing

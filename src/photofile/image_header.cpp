#include "photofile/image_header.hpp"

#include "photofile/header_bytes.hpp"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace likeness {
namespace {

using namespace std::string_view_literals;

void setSize(ImageHeader& header, const HeaderBytes& file, std::uint64_t width, std::uint64_t height) {
    if (file.good()) {
        header.width = width;
        header.height = height;
    }
}

/// By the marker of the frame header, ITU-T T.81, table B.1.
const char* nameOfFrame(unsigned marker) {
    switch (marker) {
        case 0xC0:
            return "baseline";
        case 0xC1:
            return "extended sequential";
        case 0xC2:
            return "progressive";
        case 0xC3:
            return "lossless";
        default:
            return marker >= 0xC9 ? "arithmetic coding" : "differential";
    }
}

/// ITU-T T.81, B.2.2.
void readJpeg(HeaderBytes& file, ImageHeader& header) {
    forEachJpegSegment(file, [&](const JpegSegment& segment) {
        if (!segment.isFrame()) {
            return true;
        }
        const auto bits = static_cast<int>(file.big(segment.content, 1));
        const std::uint64_t height = file.big(segment.content + 1, 2);
        setSize(header, file, file.big(segment.content + 3, 2), height);
        header.bits = file.good() ? bits : 0;
        const auto channels = static_cast<int>(file.big(segment.content + 5, 1));
        header.channels = header.bits == 0 ? 0 : channels;
        header.codec = nameOfFrame(segment.marker);
        return false;
    });
}

/// Whether there is a tRNS chunk before the pixels of a PNG.
bool hasTransparentColor(HeaderBytes& file) {
    std::uint64_t at = 8;
    for (int chunk = 0; chunk < 4096; ++chunk) {
        const std::uint64_t length = file.big(at, 4);
        if (!file.good() || file.holds(at + 4, "IDAT") || file.holds(at + 4, "IEND")) {
            return false;
        }
        if (file.holds(at + 4, "tRNS")) {
            return true;
        }
        at += length + 12;
    }
    return false;
}

/// PNG, third edition, 11.2.1 and 11.3.1.
void readPng(HeaderBytes& file, ImageHeader& header) {
    if (file.holds(12, "IHDR")) {
        const std::uint64_t width = file.big(16, 4);
        setSize(header, file, width, file.big(20, 4));
        header.bits = static_cast<int>(file.big(24, 1));
        const std::uint64_t color = file.big(25, 1);
        header.alpha = (color & 4) != 0;
        header.channels = (color & 1) != 0 ? 3 : ((color & 2) != 0 ? 3 : 1) + (header.alpha ? 1 : 0);
        header.codec = (color & 1) != 0 ? "palette, deflate" : file.big(28, 1) != 0 ? "interlaced, deflate" : "deflate";
        if (!file.good()) {
            header.channels = 0;
            header.codec = "";
        }
        header.alpha = header.alpha || hasTransparentColor(file);
    }
}

/// By tag 259 of a TIFF.
const char* nameOfCompression(std::uint64_t compression) {
    switch (compression) {
        case 1:
            return "not compressed";
        case 5:
            return "LZW";
        case 6:
        case 7:
            return "JPEG";
        case 8:
        case 32946:
            return "deflate";
        case 32773:
            return "PackBits";
        case 34925:
            return "LZMA";
        case 50000:
            return "Zstandard";
        case 50001:
            return "WebP";
        default:
            return "compressed";
    }
}

/// The directories of a TIFF (TIFF 6.0, section 2) or BigTIFF.
class TiffDirectories {
public:
    TiffDirectories(HeaderBytes& file, bool bigEndian, bool wide, ImageHeader& header)
        : file_(file), bigEndian_(bigEndian), wide_(wide), header_(header) {}

    void read(std::uint64_t first) {
        std::uint64_t next = first;
        for (bool isFirst = true; next != 0 && seen_.size() < most; isFirst = false) {
            next = readDirectory(next, isFirst);
        }
        inChain_ = false;
        for (std::size_t i = 0; i < children_.size() && seen_.size() < most; ++i) {
            readDirectory(children_[i], false);
        }
    }

private:
    enum Tag : std::uint64_t {
        newSubfileType = 254,
        imageWidth = 256,
        imageLength = 257,
        bitsPerSample = 258,
        compression = 259,
        photometricInterpretation = 262,
        samplesPerPixel = 277,
        planarConfiguration = 284,
        subDirectories = 330,
        extraSamples = 338,
        sampleFormat = 339,
        dngVersion = 0xC612,
    };

    static constexpr std::size_t most = 64;
    static constexpr std::uint64_t mostEntries = 4096;

    std::uint64_t number(std::uint64_t offset, std::size_t count) { return file_.number(offset, count, bigEndian_); }

    /// @return  place of the next directory; 0 if there is none
    std::uint64_t readDirectory(std::uint64_t at, bool isFirst) {
        if (!seen_.insert(at).second) {
            return 0;
        }
        const std::uint64_t count = number(at, wide_ ? 8 : 2);
        if (!file_.good() || count > mostEntries) {
            return 0;
        }
        const std::uint64_t entrySize = wide_ ? 20 : 12;
        const std::uint64_t begin = at + (wide_ ? 8 : 2);
        bool reduced = false;
        bool hasChildren = false;
        std::uint64_t width = 0;
        std::uint64_t height = 0;
        std::uint64_t samples = 1;
        bool grayOrRgb = false;
        TiffLayout layout;
        for (std::uint64_t i = 0; i < count; ++i) {
            const std::uint64_t entry = begin + i * entrySize;
            const std::uint64_t tag = number(entry, 2);
            if (!file_.good()) {
                break;
            }
            switch (tag) {
                case newSubfileType:
                    reduced = (firstValue(entry) & 1) != 0;
                    break;
                case imageWidth:
                    width = firstValue(entry);
                    break;
                case imageLength:
                    height = firstValue(entry);
                    break;
                case bitsPerSample:
                    if (isFirst) {
                        header_.bits = static_cast<int>(std::min<std::uint64_t>(firstValue(entry), 64));
                    }
                    break;
                case samplesPerPixel:
                    samples = firstValue(entry);
                    if (isFirst) {
                        header_.channels = static_cast<int>(std::min<std::uint64_t>(samples, 65535));
                    }
                    break;
                case compression:
                    if (isFirst) {
                        header_.codec = nameOfCompression(firstValue(entry));
                    }
                    break;
                case photometricInterpretation: {
                    constexpr std::uint64_t colorFilterArray = 32803;
                    constexpr std::uint64_t logLuminance = 32844;
                    constexpr std::uint64_t logLuv = 32845;
                    constexpr std::uint64_t linearRaw = 34892;
                    constexpr std::uint64_t rgb = 2;  // 0 and 1 are grey
                    const std::uint64_t photometric = firstValue(entry);
                    grayOrRgb = photometric <= rgb;
                    layout.photometric = photometric;
                    header_.cameraRaw |= photometric == colorFilterArray || photometric == linearRaw;
                    if (isFirst && (photometric == logLuminance || photometric == logLuv)) {
                        header_.floats = true;
                    }
                    break;
                }
                case planarConfiguration:
                    layout.inPlanes = firstValue(entry) == 2;
                    break;
                case extraSamples:
                    layout.extraSample = firstValue(entry);
                    break;
                case subDirectories:
                    hasChildren = true;
                    addChildren(entry);
                    break;
                case sampleFormat: {
                    constexpr std::uint64_t ieeeFloat = 3;
                    layout.format = firstValue(entry);
                    if (isFirst && layout.format == ieeeFloat) {
                        header_.floats = true;
                    }
                    break;
                }
                case dngVersion:
                    header_.cameraRaw = true;
                    break;
                default:
                    break;
            }
        }
        if (isFirst) {
            header_.width = width;
            header_.height = height;
            header_.alpha =
                grayOrRgb && (samples == 2 || samples == 4);  // writers often leave out what the last one is
            header_.cameraRaw |= reduced && hasChildren;
            header_.misread = isMisread(layout, samples);
            header_.toldOf = isToldOf(layout);
        } else if (inChain_ && width > 0 && !reduced) {
            ++header_.pages;
        }
        if (!file_.good()) {
            return 0;
        }
        const std::uint64_t next = number(begin + count * entrySize, wide_ ? 8 : 4);
        return file_.good() ? next : 0;
    }

    struct TiffLayout {
        std::uint64_t photometric = 2;
        std::uint64_t format = 1;
        std::uint64_t extraSample = 0;
        bool inPlanes = false;
    };

    /// What the image library (4.6) makes black of, turns dark, leaves inverted, cuts to 8 bits or refuses.
    bool isMisread(const TiffLayout& layout, std::uint64_t samples) const {
        constexpr std::uint64_t whiteIsZero = 0;
        constexpr std::uint64_t rgb = 2;
        constexpr std::uint64_t inks = 5;
        constexpr std::uint64_t signedInteger = 2;
        constexpr std::uint64_t unassociatedAlpha = 2;
        const bool deep = header_.bits > 8;
        const bool planes = layout.inPlanes && samples > 1;
        const bool multiplied = layout.photometric == rgb && layout.extraSample == unassociatedAlpha;
        return layout.format == signedInteger || multiplied ||
               (deep && (planes || layout.photometric == whiteIsZero || layout.photometric == inks || samples == 2)) ||
               (header_.floats && samples == 4);
    }

    /// CIE L*a*b* in its three encodings, and associated alpha.
    static bool isToldOf(const TiffLayout& layout) {
        constexpr std::uint64_t cielab = 8;
        constexpr std::uint64_t ituLab = 10;
        constexpr std::uint64_t associatedAlpha = 1;
        return (layout.photometric >= cielab && layout.photometric <= ituLab) || layout.extraSample == associatedAlpha;
    }

    std::size_t sizeOfType(std::uint64_t type) const {
        switch (type) {
            case 1:  // BYTE
                return 1;
            case 3:  // SHORT
                return 2;
            case 4:   // LONG
            case 13:  // IFD
                return 4;
            case 16:  // LONG8
            case 18:  // IFD8
                return 8;
            default:
                return 0;
        }
    }

    /// How many values an entry has, how wide they are (0 if they are no whole numbers), and where they stand.
    struct Values {
        std::uint64_t count;
        std::size_t size;
        std::uint64_t place;
    };

    Values valuesOf(std::uint64_t entry) {
        Values values{number(entry + 4, wide_ ? 8 : 4), sizeOfType(number(entry + 2, 2)), 0};
        const std::uint64_t here = entry + (wide_ ? 12 : 8);
        const std::uint64_t room = wide_ ? 8 : 4;
        const bool inPlace = values.size == 0 || values.count <= room / values.size;
        values.place = inPlace ? here : number(here, wide_ ? 8 : 4);
        return values;
    }

    std::uint64_t firstValue(std::uint64_t entry) {
        const Values values = valuesOf(entry);
        return values.size == 0 || values.count == 0 ? 0 : number(values.place, values.size);
    }

    void addChildren(std::uint64_t entry) {
        const Values values = valuesOf(entry);
        for (std::uint64_t i = 0; values.size > 0 && i < std::min<std::uint64_t>(values.count, most); ++i) {
            const std::uint64_t child = number(values.place + i * values.size, values.size);
            if (!file_.good()) {
                return;
            }
            children_.push_back(child);
        }
    }

    HeaderBytes& file_;
    bool bigEndian_;
    bool wide_;
    ImageHeader& header_;
    bool inChain_ = true;  ///< whether the directories are pictures of their own, not children of one
    std::set<std::uint64_t> seen_;
    std::vector<std::uint64_t> children_;
};

void readTiff(HeaderBytes& file, bool bigEndian, bool wide, ImageHeader& header) {
    const std::uint64_t first = file.number(wide ? 8 : 4, wide ? 8 : 4, bigEndian);
    // Canon's raw files have "CR" between the header and the first directory; elsewhere pixels may stand there.
    header.cameraRaw = !wide && first == 16 && file.holds(8, "CR");
    TiffDirectories(file, bigEndian, wide, header).read(first);
}

void readBmp(HeaderBytes& file, ImageHeader& header) {
    if (file.little(14, 4) == 12) {  // of OS/2
        const std::uint64_t width = file.little(18, 2);
        setSize(header, file, width, file.little(20, 2));
    } else {
        const auto magnitude = [](std::uint64_t value) {  // rows from top to bottom have a negative height
            return value >> 31 == 0 ? value : (std::uint64_t{1} << 32) - value;
        };
        const std::uint64_t width = magnitude(file.little(18, 4));
        setSize(header, file, width, magnitude(file.little(22, 4)));
    }
    header.bits = 8;
    const std::uint64_t headerBytes = file.little(14, 4);
    const std::uint64_t bits = file.little(28, 2);
    const std::uint64_t compression = file.little(30, 4);
    constexpr std::uint64_t bitFields = 3;
    constexpr std::uint64_t bitFieldsWithAlpha = 6;
    const bool withAlpha = headerBytes >= 56 || compression == bitFieldsWithAlpha;
    if (headerBytes < 40 || bits != 32 || (compression != bitFields && compression != bitFieldsWithAlpha)) {
        return;
    }
    // The masks of red, green, blue and alpha stand behind the first 40 bytes, or in a longer header there.
    if (file.little(54, 4) != 0xFF0000 || file.little(58, 4) != 0xFF00 || file.little(62, 4) != 0xFF) {
        header.unread = "the bits of its channels are not in the order that is read";
    }
    header.alpha = withAlpha && file.little(66, 4) != 0;
    header.channels = header.alpha ? 4 : 3;
}

/// RFC 9649, sections 2.5 to 2.7.
void readWebp(HeaderBytes& file, ImageHeader& header) {
    header.bits = 8;
    header.channels = 3;
    header.codec = file.holds(12, "VP8L") ? "lossless" : file.holds(12, "VP8 ") ? "lossy" : "extended";
    if (file.holds(12, "VP8X")) {
        constexpr std::uint64_t alphaFlag = 0x10;
        header.alpha = (file.little(20, 1) & alphaFlag) != 0;
        header.channels += header.alpha ? 1 : 0;
        const std::uint64_t width = file.little(24, 3) + 1;
        setSize(header, file, width, file.little(27, 3) + 1);
        constexpr std::uint64_t animationFlag = 0x02;
        if ((file.little(20, 1) & animationFlag) != 0) {
            header.unread = "it is an animation, which is not read";
        }
        std::uint64_t at = 30;
        for (int chunk = 0; chunk < 16 && file.good(); ++chunk) {
            if (file.holds(at, "VP8L") || file.holds(at, "VP8 ")) {
                header.codec = file.holds(at, "VP8L") ? "lossless" : "lossy";
                break;
            }
            const std::uint64_t size = file.little(at + 4, 4);
            at += 8 + size + size % 2;
        }
    } else if (file.holds(12, "VP8L")) {
        const std::uint64_t sides = file.little(21, 4);
        setSize(header, file, (sides & 0x3FFF) + 1, (sides >> 14 & 0x3FFF) + 1);
        header.alpha = (sides >> 28 & 1) != 0;
    } else if (file.holds(12, "VP8 ")) {
        const std::uint64_t width = file.little(26, 2) & 0x3FFF;
        setSize(header, file, width, file.little(28, 2) & 0x3FFF);
    }
}

/// The codestream's SIZ segment, ITU-T T.800, A.5.1.
void readJpeg2000Codestream(HeaderBytes& file, std::uint64_t at, ImageHeader& header) {
    if (!file.holds(at, "\xFF\x4F\xFF\x51"sv)) {
        return;
    }
    const std::uint64_t right = file.big(at + 8, 4);
    const std::uint64_t bottom = file.big(at + 12, 4);
    const std::uint64_t left = file.big(at + 16, 4);
    const std::uint64_t top = file.big(at + 20, 4);
    if (right > left && bottom > top) {
        setSize(header, file, right - left, bottom - top);
    }
    const std::uint64_t components = file.big(at + 40, 2);
    const std::uint64_t depth = file.big(at + 42, 1);
    header.alpha = file.good() && (components == 2 || components == 4);
    header.bits = file.good() ? static_cast<int>(depth & 0x7F) + 1 : 0;
}

/// The boxes around a codestream, ITU-T T.800, I.4.
void readJpeg2000(HeaderBytes& file, ImageHeader& header) {
    std::uint64_t at = 0;
    for (int box = 0; box < 1024; ++box) {
        std::uint64_t length = file.big(at, 4);
        std::uint64_t content = at + 8;
        if (length == 1) {
            length = file.big(at + 8, 8);
            content = at + 16;
        }
        if (!file.good()) {
            return;
        }
        if (file.holds(at + 4, "jp2c")) {
            readJpeg2000Codestream(file, content, header);
            return;
        }
        if (length < content - at || length > std::numeric_limits<std::uint64_t>::max() / 4) {
            return;
        }
        at += length;
    }
}

int bitsFor(std::uint64_t greatest) {
    return greatest > 255 ? 16 : 8;
}

void readPortable(HeaderBytes& file, char kind, ImageHeader& header) {
    HeaderText text(file, 2);
    if (kind == '7') {
        header.misread = true;
        for (std::string word = text.word(); !word.empty() && word != "ENDHDR"; word = text.word()) {
            if (word == "WIDTH") {
                header.width = text.number();
            } else if (word == "HEIGHT") {
                header.height = text.number();
            } else if (word == "DEPTH") {
                header.channels = static_cast<int>(std::min<std::uint64_t>(text.number(), 1 << 16));
            } else if (word == "MAXVAL") {
                header.greatest = text.number();
                header.bits = bitsFor(header.greatest);
            } else if (word == "TUPLTYPE") {
                constexpr std::string_view ending = "_ALPHA";
                const std::string type = text.word();
                header.alpha = type.size() > ending.size() &&
                               type.compare(type.size() - ending.size(), ending.size(), ending) == 0;
            }
        }
        return;
    }
    header.width = text.number();
    header.height = text.number();
    const bool bitmap = kind == '1' || kind == '4';
    header.greatest = bitmap ? 0 : text.number();
    header.bits = bitmap ? 8 : bitsFor(header.greatest);
    header.channels = kind == '3' || kind == '6' ? 3 : 1;
    if (header.bits == 8 && (kind == '2' || kind == '3')) {
        header.greatest = 255;  // the image library brings numbers in text to it, and no others
    }
}

void readPortableFloat(HeaderBytes& file, ImageHeader& header) {
    HeaderText text(file, 2);
    header.width = text.number();
    header.height = text.number();
    header.bits = 32;
    header.floats = true;
}

/// Whether a channel of an OpenEXR file is called A. Each has its name, ended by a zero, and 16 bytes.
bool hasChannelA(const std::vector<unsigned char>& channels) {
    constexpr std::size_t rest = 16;
    for (auto name = channels.begin(); name != channels.end() && *name != 0;) {
        const auto end = std::find(name, channels.end(), 0);
        if (end - name == 1 && *name == 'A') {
            return true;
        }
        if (static_cast<std::size_t>(channels.end() - end) <= rest) {
            return false;
        }
        name = end + 1 + rest;
    }
    return false;
}

/// Attributes of the first part's header: a name and a type, each ended by a zero, the size of the value, the value.
void readOpenExr(HeaderBytes& file, ImageHeader& header) {
    header.floats = true;
    header.bits = 32;
    std::uint64_t at = 8;
    for (int attribute = 0; attribute < 4096; ++attribute) {
        std::string words[2];
        for (std::string& word : words) {
            constexpr std::size_t longestName = 256;
            const std::vector<unsigned char> found = file.bytes(at, longestName);
            const auto end = std::find(found.begin(), found.end(), 0);
            if (end == found.end() || end == found.begin()) {
                return;
            }
            word.assign(found.begin(), end);
            at += word.size() + 1;
        }
        const std::uint64_t size = file.little(at, 4);
        at += 4;
        if (!file.good()) {
            return;
        }
        if (words[0] == "channels" && words[1] == "chlist") {  // written before the window: by name
            constexpr std::uint64_t longestList = std::uint64_t{1} << 16;
            header.alpha = hasChannelA(file.bytes(at, static_cast<std::size_t>(std::min(size, longestList))));
        }
        if (words[0] == "dataWindow" && words[1] == "box2i" && size == 16) {
            const auto side = [&](std::uint64_t from, std::uint64_t to) {
                const auto low = static_cast<std::int32_t>(file.little(at + from, 4));
                const auto high = static_cast<std::int32_t>(file.little(at + to, 4));
                return high < low ? 0 : static_cast<std::uint64_t>(std::int64_t{high} - low + 1);
            };
            const std::uint64_t width = side(0, 8);
            setSize(header, file, width, side(4, 12));
            return;
        }
        at += size;
    }
}

/// Lines of text up to an empty one, then the sides, each after the sign and the letter of its direction.
void readRadiance(HeaderBytes& file, ImageHeader& header) {
    header.floats = true;
    header.bits = 32;
    HeaderText text(file, 0);
    for (std::string line = text.line(); !line.empty(); line = text.line()) {
        if (line.rfind("FORMAT=32-bit_rle_xyze", 0) == 0) {
            header.unread = "its values are X, Y, Z (FORMAT=32-bit_rle_xyze), and only R, G, B are read";
        }
    }
    std::string directions;
    for (int side = 0; side < 2; ++side) {
        const std::string direction = text.word();
        const std::uint64_t length = text.number();
        const bool isDirection =
            direction.size() == 2 && (direction[0] == '-' || direction[0] == '+') && direction.find_first_of("XY") == 1;
        (isDirection && direction[1] == 'Y' ? header.height : header.width) = length;
        directions += isDirection ? direction : "?";
    }
    if (directions != "-Y+X" && directions.find('?') == std::string::npos && header.unread.empty()) {
        header.unread = "its rows are stored in the order " + directions.substr(0, 2) + " " + directions.substr(2) +
                        ", and only -Y +X is read";
    }
}

/// ISO/IEC 14496-12, 4.3: the brands in the first box of a file.
ImageFileFormat formatOfBrands(HeaderBytes& file) {
    if (!file.holds(4, "ftyp")) {
        return ImageFileFormat::unknown;
    }
    constexpr std::uint64_t mostBytes = 1024;
    const std::uint64_t length = std::min(file.big(0, 4), mostBytes);
    ImageFileFormat found = ImageFileFormat::unknown;
    for (std::uint64_t at = 8; at + 4 <= length; at += at == 8 ? 8 : 4) {
        if (file.holds(at, "avif") || file.holds(at, "avis")) {
            return ImageFileFormat::avif;
        }
        for (const char* const brand : {"heic", "heix", "hevc", "hevx", "heim", "heis", "mif1", "msf1"}) {
            if (file.holds(at, brand)) {
                found = ImageFileFormat::heic;
            }
        }
    }
    return found;
}

/// Adobe, "Photoshop File Formats", file header section.
void readPhotoshop(HeaderBytes& file, ImageHeader& header) {
    const auto channels = static_cast<int>(file.big(12, 2));
    const std::uint64_t height = file.big(14, 4);
    setSize(header, file, file.big(18, 4), height);
    const auto bits = static_cast<int>(file.big(22, 2));
    if (file.good()) {
        header.channels = channels;
        header.bits = bits;
        header.floats = bits == 32;
        header.codec = "merged picture";
    }
}

bool isOtherCameraRaw(HeaderBytes& file) {
    return file.holds(0, "IIRO") || file.holds(0, "IIRS") || file.holds(0, "MMOR") ||       // ORF
           file.holds(0, "IIU\0"sv) ||                                                      // RW2
           file.holds(0, "FUJIFILMCCD-RAW") || (file.holds(4, "ftypcrx ")) ||               // RAF, CR3
           file.holds(6, "HEAPCCDR") || file.holds(0, "\0MRM"sv) || file.holds(0, "FOVb");  // CRW, MRW, X3F
}

}  // namespace

const char* nameOf(ImageFileFormat format) noexcept {
    switch (format) {
        case ImageFileFormat::unknown:
            break;
        case ImageFileFormat::jpeg:
            return "JPEG";
        case ImageFileFormat::png:
            return "PNG";
        case ImageFileFormat::tiff:
            return "TIFF";
        case ImageFileFormat::bmp:
            return "BMP";
        case ImageFileFormat::webp:
            return "WebP";
        case ImageFileFormat::jpeg2000:
            return "JPEG 2000";
        case ImageFileFormat::portable:
            return "portable anymap";
        case ImageFileFormat::portableFloat:
            return "portable float map";
        case ImageFileFormat::openExr:
            return "OpenEXR";
        case ImageFileFormat::radiance:
            return "Radiance";
        case ImageFileFormat::gif:
            return "GIF";
        case ImageFileFormat::sunRaster:
            return "Sun raster";
        case ImageFileFormat::heic:
            return "HEIC";
        case ImageFileFormat::avif:
            return "AVIF";
        case ImageFileFormat::jpegXl:
            return "JPEG XL";
        case ImageFileFormat::photoshop:
            return "Photoshop";
    }
    return "unknown";
}

std::uint64_t ImageHeader::pixels() const noexcept {
    constexpr std::uint64_t most = std::numeric_limits<std::uint64_t>::max();
    return width != 0 && height > most / width ? most : width * height;
}

ImageHeader readImageHeader(const ByteSource& source) {
    HeaderBytes file(source);
    ImageHeader header;
    const auto is = [&header](ImageFileFormat format) { header.format = format; };
    if (file.holds(0, "\xFF\xD8\xFF"sv)) {
        is(ImageFileFormat::jpeg);
        readJpeg(file, header);
    } else if (file.holds(0, "\x89PNG\r\n\x1A\n"sv)) {
        is(ImageFileFormat::png);
        readPng(file, header);
    } else if (file.holds(0, "II*\0"sv) || file.holds(0, "MM\0*"sv)) {
        is(ImageFileFormat::tiff);
        readTiff(file, file.holds(0, "M"), false, header);
    } else if (file.holds(0, "II+\0"sv) || file.holds(0, "MM\0+"sv)) {
        is(ImageFileFormat::tiff);
        readTiff(file, file.holds(0, "M"), true, header);
    } else if (isOtherCameraRaw(file)) {
        header.cameraRaw = true;
    } else if (file.holds(0, "RIFF") && file.holds(8, "WEBP")) {
        is(ImageFileFormat::webp);
        readWebp(file, header);
    } else if (file.holds(0, "\0\0\0\x0CjP  \r\n\x87\n"sv)) {
        is(ImageFileFormat::jpeg2000);
        readJpeg2000(file, header);
    } else if (file.holds(0, "\xFF\x4F\xFF\x51"sv)) {
        is(ImageFileFormat::jpeg2000);
        readJpeg2000Codestream(file, 0, header);
    } else if (file.holds(0, "\xFF\x0A"sv) || file.holds(0, "\0\0\0\x0CJXL \r\n\x87\n"sv)) {
        is(ImageFileFormat::jpegXl);
    } else if (const ImageFileFormat brand = formatOfBrands(file); brand != ImageFileFormat::unknown) {
        is(brand);
    } else if (file.holds(0, "8BPS\0\1"sv) || file.holds(0, "8BPS\0\2"sv)) {
        is(ImageFileFormat::photoshop);
        readPhotoshop(file, header);
    } else if (file.holds(0, "v/1\x01"sv)) {
        is(ImageFileFormat::openExr);
        readOpenExr(file, header);
    } else if (file.holds(0, "#?RGBE") || file.holds(0, "#?RADIANCE")) {
        is(ImageFileFormat::radiance);
        readRadiance(file, header);
    } else if (file.holds(0, "GIF87a") || file.holds(0, "GIF89a")) {
        is(ImageFileFormat::gif);
        const std::uint64_t width = file.little(6, 2);
        setSize(header, file, width, file.little(8, 2));
        header.bits = 8;
    } else if (file.holds(0, "\x59\xA6\x6A\x95"sv)) {
        is(ImageFileFormat::sunRaster);
        const std::uint64_t width = file.big(4, 4);
        setSize(header, file, width, file.big(8, 4));
        header.bits = 8;
    } else if (file.holds(0, "BM")) {
        is(ImageFileFormat::bmp);
        readBmp(file, header);
    } else if (file.holds(0, "PF") || file.holds(0, "Pf")) {
        is(ImageFileFormat::portableFloat);
        readPortableFloat(file, header);
    } else if (const std::vector<unsigned char> magic = file.bytes(0, 2);
               magic.size() == 2 && magic[0] == 'P' && magic[1] >= '1' && magic[1] <= '7') {
        is(ImageFileFormat::portable);
        readPortable(file, static_cast<char>(magic[1]), header);
    }
    return header;
}

}  // namespace likeness

#include "photofile/color_statement.hpp"

#include "photofile/display_light.hpp"
#include "photofile/header_bytes.hpp"

#include <fmt/format.h>
#include <zlib.h>

#include <algorithm>
#include <cmath>
#include <locale>
#include <map>
#include <sstream>
#include <string>
#include <utility>

namespace likeness {
namespace {

using namespace std::string_view_literals;

using Bytes = std::vector<unsigned char>;

/// Chromaticities that differ by rounding alone; PNG has five digits, some writers four.
bool sameChromaticities(const Chromaticities& a, const Chromaticities& b) {
    return std::equal(a.begin(), a.end(), b.begin(), [](double x, double y) { return std::abs(x - y) <= 0.0011; });
}

/// Whether three primaries span a triangle around the white, all of them colours.
bool isSensible(const Chromaticities& c) {
    const auto cross = [&c](std::size_t from, std::size_t to, std::size_t of) {
        return (c[to] - c[from]) * (c[of + 1] - c[from + 1]) - (c[to + 1] - c[from + 1]) * (c[of] - c[from]);
    };
    const double area = cross(2, 4, 6);
    const bool inside = cross(2, 4, 0) / area > 0 && cross(4, 6, 0) / area > 0 && cross(6, 2, 0) / area > 0;
    return std::all_of(c.begin(), c.end(), [](double v) { return v > -1 && v < 2; }) && c[1] > 0.05 &&
           std::abs(area) > 0.005 && inside;
}

/// Exif data (Exif 2.32, 4.6) in a file.
class ExifColors {
public:
    /// @param tiff  place of its TIFF header
    ExifColors(const HeaderBytes& file, std::uint64_t tiff)
        : file_(file), tiff_(tiff), bigEndian_(file_.holds(tiff, "MM")) {}

    /// Adobe RGB as cameras say it (DCF 2.0): a colour space that is not calibrated, and the interoperability index R03.
    bool sayAdobeRgb() {
        constexpr std::uint64_t exifDirectory = 0x8769;
        constexpr std::uint64_t colorSpace = 0xA001;
        constexpr std::uint64_t interoperabilityDirectory = 0xA005;
        constexpr std::uint64_t interoperabilityIndex = 1;
        const std::uint64_t exif = place(valueOf(tiff_ + number(tiff_ + 4, 4), exifDirectory));
        const std::uint64_t space = valueOf(exif, colorSpace);
        const std::uint64_t index = valueOf(place(valueOf(exif, interoperabilityDirectory)), interoperabilityIndex);
        return space != 0 && number(space, 2) == 0xFFFF && index != 0 && file_.holds(index, "R03");
    }

private:
    std::uint64_t number(std::uint64_t at, std::size_t count) { return file_.number(at, count, bigEndian_); }

    /// What an entry points to; 0 of none.
    std::uint64_t place(std::uint64_t value) { return value == 0 ? 0 : tiff_ + number(value, 4); }

    /// Place of a tag's value; 0 if the directory, or it, is not there.
    std::uint64_t valueOf(std::uint64_t directory, std::uint64_t tag) {
        const std::uint64_t count = directory == 0 ? 0 : number(directory, 2);
        for (std::uint64_t i = 0; i < std::min<std::uint64_t>(count, 256) && file_.good(); ++i) {
            const std::uint64_t entry = directory + 2 + 12 * i;
            if (number(entry, 2) == tag) {
                return entry + 8;
            }
        }
        return 0;
    }

    HeaderBytes file_;  // of its own: what lies behind the end here says nothing of the JPEG
    std::uint64_t tiff_;
    bool bigEndian_;
};

void readJpeg(HeaderBytes& file, ColorStatement& statement) {
    constexpr std::string_view exifName = "Exif\0\0"sv;
    constexpr std::string_view name = "ICC_PROFILE\0"sv;
    std::map<int, Bytes> chunks;  // by number, from 1
    int count = 0;
    bool contradicts = false;
    forEachJpegSegment(file, [&](const JpegSegment& segment) {
        if (segment.isFrame()) {
            const std::uint64_t channels = file.big(segment.content + 5, 1);
            statement.channels = channels == 1   ? StoredChannels::grey
                                 : channels == 3 ? StoredChannels::rgb
                                                 : StoredChannels::others;
            return true;
        }
        if (segment.marker == 0xE1 && segment.length > exifName.size() && file.holds(segment.content, exifName)) {
            statement.exifAdobeRgb |= ExifColors(file, segment.content + exifName.size()).sayAdobeRgb();
        }
        const std::size_t begin = name.size() + 2;
        if (segment.marker == 0xE2 && segment.length >= begin && file.holds(segment.content, name)) {
            const auto number = static_cast<int>(file.big(segment.content + name.size(), 1));
            const auto of = static_cast<int>(file.big(segment.content + name.size() + 1, 1));
            contradicts |= number == 0 || number > of || (count != 0 && of != count) || chunks.count(number) > 0;
            count = of;
            chunks[number] = file.bytes(segment.content + begin, segment.length - begin);
            contradicts |= chunks[number].size() != segment.length - begin;
        }
        return true;
    });
    if (chunks.empty()) {
        return;
    }
    if (contradicts || static_cast<int>(chunks.size()) != count) {
        statement.problem =
            contradicts ? " stands in chunks that contradict each other or are cut off"
                        : fmt::format(" lacks {} of its {} chunks", count - static_cast<int>(chunks.size()), count);
        return;
    }
    for (const auto& [number, bytes] : chunks) {
        statement.icc.insert(statement.icc.end(), bytes.begin(), bytes.end());
    }
}

/// @return  empty if it is no stream of zlib, or a longer one than a profile may be
Bytes inflated(const unsigned char* bytes, std::size_t count) {
    ::z_stream stream{};
    if (::inflateInit(&stream) != Z_OK) {
        return {};
    }
    stream.next_in = const_cast<unsigned char*>(bytes);
    stream.avail_in = static_cast<unsigned>(count);
    Bytes result;
    int status = Z_OK;
    while (status == Z_OK && result.size() < mostProfileBytes) {
        const std::size_t before = result.size();
        result.resize(std::min(mostProfileBytes, std::max<std::size_t>(4096, 2 * before)));
        stream.next_out = result.data() + before;
        stream.avail_out = static_cast<unsigned>(result.size() - before);
        status = ::inflate(&stream, Z_NO_FLUSH);
        result.resize(result.size() - stream.avail_out);
        if (stream.avail_in == 0 && status == Z_OK && stream.avail_out > 0) {
            break;  // cut off
        }
    }
    ::inflateEnd(&stream);
    return status == Z_STREAM_END ? result : Bytes();
}

/// Coding-independent code points, ITU-T H.273, tables 2 and 3.
/// @param where  what they stand in, for the problem
void takeCodePoints(int primaries, int transfer, const char* where, ColorStatement& statement) {
    Colorimetry found;
    switch (primaries) {
        case 1:
            found.description = "BT.709 primaries";
            break;
        case 9:
            found.chromaticities = {0.3127, 0.3290, 0.708, 0.292, 0.170, 0.797, 0.131, 0.046};
            found.description = "BT.2020 primaries";
            break;
        case 12:
            found.chromaticities = {0.3127, 0.3290, 0.680, 0.320, 0.265, 0.690, 0.150, 0.060};
            found.description = "Display P3 primaries";
            break;
        default:
            statement.problem =
                fmt::format(" ({}) names the colour primaries {}, which are not read", where, primaries);
            return;
    }
    switch (transfer) {
        case 1:
        case 6:
        case 14:
        case 15:
            found.curve = {1 / 0.45, 1 / 1.099, 0.099 / 1.099, 1 / 4.5, 0.081};
            found.description += ", BT.709 curve";
            break;
        case 4:
            found.curve = {2.2};
            found.description += ", gamma 2.2";
            break;
        case 8:
            found.curve = {1};
            found.description += ", linear";
            break;
        case 13:
            found.description += ", sRGB curve";
            break;
        case 16:
            found.curve = {1};
            found.light = LightCurve::pq;
            found.description += ", PQ";
            statement.luminanceOfOne = {referenceWhite, referenceWhite, referenceWhite};
            break;
        case 18:
            found.curve = {1};
            found.light = LightCurve::hlg;
            found.description += ", HLG";
            break;
        default:
            statement.problem =
                fmt::format(" ({}) names the transfer characteristics {}, which are not read", where, transfer);
            return;
    }
    statement.saysSrgb = primaries == 1 && transfer == 13;
    if (!statement.saysSrgb) {
        statement.colorimetry = found;
    }
}

void readCodePoints(const Bytes& data, ColorStatement& statement) {
    if (data.size() != 4) {
        statement.problem = " (cICP) has a wrong length";
        return;
    }
    takeCodePoints(data[0], data[1], "cICP", statement);
    if (statement.problem.empty() && (data[2] != 0 || data[3] != 1)) {
        statement.colorimetry.reset();
        statement.luminanceOfOne.reset();
        statement.saysSrgb = false;
        statement.problem = " (cICP) names another matrix or range than those of R, G, B";
    }
}

/// The chunks of a PNG that tell its colours, before its pixels.
struct PngColorChunks {
    std::map<std::string, Bytes, std::less<>> chunks;
    bool damaged = false;

    const Bytes* find(std::string_view name) const {
        const auto found = chunks.find(name);
        return found == chunks.end() ? nullptr : &found->second;
    }
};

PngColorChunks pngColorChunks(HeaderBytes& file) {
    PngColorChunks result;
    std::uint64_t at = 8;
    for (int chunk = 0; chunk < 1 << 12; ++chunk) {
        const std::uint64_t length = file.big(at, 4);
        const Bytes type = file.bytes(at + 4, 4);
        if (!file.good() || type.size() < 4 || length > 0x7FFFFFFF) {
            return result;
        }
        const std::string name(type.begin(), type.end());
        if (name == "IDAT" || name == "IEND") {
            return result;
        }
        if (name == "cICP" || name == "iCCP" || name == "sRGB" || name == "gAMA" || name == "cHRM") {
            const auto count = static_cast<std::size_t>(length);
            Bytes data = count > mostProfileBytes ? Bytes() : file.bytes(at + 8, count);
            const std::uint64_t checksum = file.big(at + 8 + length, 4);
            uLong actual = ::crc32(0, type.data(), 4);
            actual = ::crc32(actual, data.data(), static_cast<uInt>(data.size()));
            if (data.size() != count || checksum != actual) {
                result.damaged = true;
            } else {
                result.chunks.emplace(name, std::move(data));
            }
        }
        at += length + 12;
    }
    return result;
}

/// A number that is stored in hundred thousandths.
double hundredThousandths(const Bytes& data, std::size_t at) {
    std::uint32_t value = 0;
    for (std::size_t k = 0; k < 4; ++k) {
        value = value << 8 | data[at + k];
    }
    return value / 100000.0;
}

/// PNG, third edition, 11.3.2.1 and 11.3.2.2.
void readGammaAndChromaticities(const Bytes* gamma, const Bytes* primaries, ColorStatement& statement) {
    if ((gamma != nullptr && gamma->size() != 4) || (primaries != nullptr && primaries->size() != 32)) {
        statement.problem = " (gAMA, cHRM) has a wrong length";
        return;
    }
    Colorimetry found;
    if (primaries != nullptr) {
        for (std::size_t k = 0; k < found.chromaticities.size(); ++k) {
            found.chromaticities[k] = hundredThousandths(*primaries, 4 * k);
        }
        if (!isSensible(found.chromaticities)) {
            statement.problem = " (cHRM) has primaries that span no colours";
            return;
        }
    }
    const bool srgbPrimaries = sameChromaticities(found.chromaticities, srgbChromaticities);
    found.description = srgbPrimaries ? "sRGB primaries" : "primaries of cHRM";
    if (gamma == nullptr) {
        found.description += ", sRGB curve";
    } else {
        const double exponent = hundredThousandths(*gamma, 0);
        if (exponent < 0.1 || exponent > 10) {
            statement.problem = " (gAMA) has an exponent outside 0.1 to 10";
            return;
        }
        // 1/2.2 beside the primaries of sRGB is how files say sRGB that predate the chunk of this name.
        constexpr double ofSrgb = 0.45455;
        if (srgbPrimaries && std::abs(exponent - ofSrgb) < 0.001) {
            statement.saysSrgb = true;
            statement.loneGamma = primaries == nullptr;
            return;
        }
        found.curve = {1 / exponent};
        found.description += fmt::format(", gamma {:.4g}", 1 / exponent);
    }
    if (gamma != nullptr || !srgbPrimaries) {
        statement.colorimetry = found;
    }
}

/// What stands below cICP.
void readOtherChunks(const PngColorChunks& chunks, ColorStatement& statement) {
    if (const Bytes* const profile = chunks.find("iCCP"); profile != nullptr) {
        // A name of at most 79 bytes, a zero, the method of compression, which is 0.
        const auto limit = profile->begin() + static_cast<std::ptrdiff_t>(std::min<std::size_t>(profile->size(), 80));
        const auto end = std::find(profile->begin(), limit, 0);
        const auto begin = static_cast<std::size_t>(end - profile->begin()) + 2;
        if (end == limit || begin > profile->size() || (*profile)[begin - 1] != 0) {
            statement.problem = " (iCCP) is malformed";
            return;
        }
        statement.icc = inflated(profile->data() + begin, profile->size() - begin);
        if (statement.icc.empty()) {
            statement.problem = " (iCCP) cannot be unpacked";
        }
    } else if (chunks.damaged) {
        statement.problem = " has a wrong checksum or is cut off";
    } else if (chunks.find("sRGB") != nullptr) {
        statement.saysSrgb = true;
    } else {
        readGammaAndChromaticities(chunks.find("gAMA"), chunks.find("cHRM"), statement);
    }
}

void readPng(HeaderBytes& file, ColorStatement& statement) {
    const std::uint64_t colorType = file.big(25, 1);
    statement.channels = (colorType & 2) != 0 ? StoredChannels::rgb : StoredChannels::grey;
    const PngColorChunks chunks = pngColorChunks(file);
    const Bytes* const points = chunks.find("cICP");
    if (points != nullptr) {
        readCodePoints(*points, statement);
    }
    // Writers of other code points than those that are read repeat the colours in the older chunks.
    if (points == nullptr || !statement.problem.empty()) {
        ColorStatement others;
        others.channels = statement.channels;
        readOtherChunks(chunks, others);
        if (points == nullptr || !others.icc.empty() || others.colorimetry || others.saysSrgb) {
            others.passedOver = statement.problem;
            statement = std::move(others);
        }
    }
}

/// The first directory of a TIFF (TIFF 6.0, sections 2 and 20) or BigTIFF.
class TiffColors {
public:
    TiffColors(HeaderBytes& file, ColorStatement& statement)
        : file_(file),
          statement_(statement),
          bigEndian_(file.holds(0, "M")),
          wide_(file.holds(2, "+") || file.holds(3, "+")) {}

    void read() {
        const std::uint64_t at = number(wide_ ? 8 : 4, wide_ ? 8 : 4);
        const std::uint64_t count = number(at, wide_ ? 8 : 2);
        if (!file_.good() || count > 4096) {
            return;
        }
        for (std::uint64_t i = 0; i < count && file_.good(); ++i) {
            readEntry(at + (wide_ ? 8 : 2) + i * (wide_ ? 20 : 12));
        }
        if (!statement_.icc.empty() || !statement_.problem.empty() || !hasPrimaries_) {
            return;
        }
        if (!isSensible(found_.chromaticities)) {
            statement_.problem = " (PrimaryChromaticities) has primaries that span no colours";
        } else if (!sameChromaticities(found_.chromaticities, srgbChromaticities)) {
            found_.description = "PrimaryChromaticities of TIFF, sRGB curve";
            statement_.colorimetry = found_;
        }
    }

private:
    std::uint64_t number(std::uint64_t offset, std::size_t count) { return file_.number(offset, count, bigEndian_); }

    void readEntry(std::uint64_t entry) {
        constexpr std::uint64_t photometricInterpretation = 262;
        constexpr std::uint64_t whitePoint = 318;
        constexpr std::uint64_t primaryChromaticities = 319;
        constexpr std::uint64_t interColorProfile = 34675;
        const std::uint64_t tag = number(entry, 2);
        const std::uint64_t count = number(entry + 4, wide_ ? 8 : 4);
        const std::uint64_t here = entry + (wide_ ? 12 : 8);
        if (tag == photometricInterpretation) {
            const std::uint64_t value = number(here, 2);
            const bool color = value == 2 || value == 3 || value == 6;  // RGB, palette, YCbCr
            statement_.channels = value <= 1 ? StoredChannels::grey
                                  : color    ? StoredChannels::rgb
                                             : StoredChannels::others;
        } else if (tag == interColorProfile && count > 0) {
            if (count > mostProfileBytes) {
                statement_.problem = " is larger than 16 MiB";
                return;
            }
            const std::uint64_t room = wide_ ? 8 : 4;
            const auto size = static_cast<std::size_t>(count);
            statement_.icc = file_.bytes(count <= room ? here : number(here, static_cast<std::size_t>(room)), size);
            if (statement_.icc.size() != size) {
                statement_.icc.clear();
                statement_.problem = " is cut off";
            }
        } else if (tag == whitePoint && count == 2) {
            readRationals(here, 0, 2);
        } else if (tag == primaryChromaticities && count == 6) {
            readRationals(here, 2, 6);
            hasPrimaries_ = true;
        }
    }

    void readRationals(std::uint64_t here, std::size_t first, std::size_t count) {
        const std::uint64_t place = number(here, wide_ ? 8 : 4);
        for (std::size_t k = 0; k < count; ++k) {
            const auto numerator = static_cast<double>(number(place + 8 * k, 4));
            const auto denominator = static_cast<double>(number(place + 8 * k + 4, 4));
            found_.chromaticities[first + k] = denominator > 0 ? numerator / denominator : -1;
        }
    }

    HeaderBytes& file_;
    ColorStatement& statement_;
    bool bigEndian_;
    bool wide_;
    bool hasPrimaries_ = false;
    Colorimetry found_;
};

/// A profile of so many bytes at a place.
void takeProfile(HeaderBytes& file, std::uint64_t at, std::uint64_t length, ColorStatement& statement) {
    if (length > mostProfileBytes) {
        statement.problem = " is larger than 16 MiB";
        return;
    }
    statement.icc = file.bytes(at, static_cast<std::size_t>(length));
    if (statement.icc.size() != length || length == 0) {
        statement.icc.clear();
        statement.problem = " is cut off";
    }
}

/// RFC 9649, section 2.7.
void readWebp(HeaderBytes& file, ColorStatement& statement) {
    statement.channels = StoredChannels::rgb;
    std::uint64_t at = 12;
    for (int chunk = 0; chunk < 64; ++chunk) {
        const std::uint64_t length = file.little(at + 4, 4);
        if (!file.good()) {
            return;
        }
        if (file.holds(at, "ICCP")) {
            takeProfile(file, at + 8, length, statement);
            return;
        }
        at += 8 + length + (length & 1);
    }
}

/// The first box of colours whose method is known, ITU-T T.800, I.5.3.3, and T.801, M.11.7.3.
void readJpeg2000(HeaderBytes& file, ColorStatement& statement) {
    const auto takeColors = [&](const Box& box) {
        const std::uint64_t method = file.big(box.content, 1);
        if (method == 2 || method == 3) {  // a profile, restricted or any
            takeProfile(file, box.content + 3, box.end - box.content - 3, statement);
            return true;
        }
        constexpr std::uint64_t srgb = 16;
        constexpr std::uint64_t grey = 17;
        constexpr std::uint64_t sycc = 18;
        const std::uint64_t space = method == 1 ? file.big(box.content + 3, 4) : 0;
        if (method != 1 || !file.good()) {
            return false;
        }
        statement.saysSrgb = space == srgb || space == grey || space == sycc;
        if (!statement.saysSrgb) {
            statement.problem = fmt::format(" is the enumerated space {} (colr), which is not read", space);
        }
        return true;
    };
    forEachBox(file, 0, wholeFile, [&](const Box& header) {
        if (!file.holds(header.at + 4, "jp2h")) {
            return !file.holds(header.at + 4, "jp2c");
        }
        bool found = false;
        forEachBox(file, header.content, header.end, [&](const Box& box) {
            if (file.holds(box.at + 4, "ihdr")) {
                statement.channels = file.big(box.content + 8, 2) < 3 ? StoredChannels::grey : StoredChannels::rgb;
            } else if (file.holds(box.at + 4, "pclr")) {
                statement.channels = StoredChannels::rgb;  // one channel of numbers of colours
            } else if (!found && file.holds(box.at + 4, "colr") && box.end != wholeFile && box.end > box.content + 3) {
                found = takeColors(box);
            }
            return true;
        });
        return false;
    });
}

/// Whether the end points and exponents of a bitmap's header are none or those of sRGB. Some writers give X, Y, Z of the
/// primaries, some x, y, z, and in either scale: their chromaticities are the same then, only the white is not told.
bool bitmapIsSrgb(HeaderBytes& file, std::uint64_t endpoints) {
    Chromaticities chromaticities = srgbChromaticities;
    for (std::size_t primary = 0; primary < 3; ++primary) {
        std::array<double, 3> xyz{};
        for (std::size_t i = 0; i < xyz.size(); ++i) {
            xyz[i] = static_cast<double>(file.little(endpoints + 4 * (3 * primary + i), 4));
        }
        const double sum = xyz[0] + xyz[1] + xyz[2];
        if (sum > 0) {
            chromaticities[2 + 2 * primary] = xyz[0] / sum;
            chromaticities[3 + 2 * primary] = xyz[1] / sum;
        }
    }
    bool exponents = true;
    for (std::uint64_t at = endpoints + 36; at < endpoints + 48; at += 4) {
        const double exponent = static_cast<double>(file.little(at, 4)) / 65536;
        exponents &= exponent == 0 || std::abs(exponent - 2.2) <= 0.05 || std::abs(exponent - 1 / 2.2) <= 0.01;
    }
    return exponents && sameChromaticities(chromaticities, srgbChromaticities);
}

/// What the fourth version of the header says (BITMAPV4HEADER), and the profile that the fifth may lead to.
void readBmp(HeaderBytes& file, ColorStatement& statement) {
    constexpr std::uint64_t header = 14;
    constexpr std::uint64_t sizeOfFourth = 108;
    constexpr std::uint64_t sizeOfFifth = 124;
    constexpr std::uint64_t kind = header + 56;
    const std::uint64_t size = file.little(header, 4);
    if (size < sizeOfFourth || !file.good()) {
        return;
    }
    if (file.holds(kind, "BGRs")) {
        statement.saysSrgb = true;
    } else if (file.holds(kind, "KNIL")) {
        statement.problem = " is in another file, which is not read";
    } else if (file.holds(kind, "\0\0\0\0"sv)) {
        if (!bitmapIsSrgb(file, kind + 4) && file.good()) {
            statement.problem = " (primaries and exponents of the header) is not read";
        }
    } else if (size >= sizeOfFifth && file.holds(kind, "DEBM")) {
        statement.channels = StoredChannels::rgb;
        takeProfile(file, header + file.little(header + 112, 4), file.little(header + 116, 4), statement);
    }
}

/// Lines "EXPOSURE=" with a number and "COLORCORR=" with three, of which there may be several: the values were multiplied
/// by all of them.
void readExposure(const std::string& header, ColorStatement& statement) {
    constexpr double lumensPerWatt = 179;  // the format's own number
    std::array<double, 3> factors = {1, 1, 1};
    bool any = false;
    std::istringstream lines(header);
    for (std::string line; std::getline(lines, line);) {
        const bool exposure = line.rfind("EXPOSURE=", 0) == 0;
        if (!exposure && line.rfind("COLORCORR=", 0) != 0) {
            continue;
        }
        std::istringstream numbers(line.substr(line.find('=') + 1));
        numbers.imbue(std::locale::classic());
        std::array<double, 3> own = {1, 1, 1};
        numbers >> own[0];
        own[1] = own[0];
        own[2] = own[0];
        if (!exposure) {
            numbers >> own[1] >> own[2];
        }
        if (!numbers || !(own[0] > 0 && own[1] > 0 && own[2] > 0)) {
            return;  // what is no number says nothing
        }
        for (std::size_t c = 0; c < factors.size(); ++c) {
            factors[c] *= own[c];
        }
        any = true;
    }
    if (any) {
        statement.luminanceOfOne = {lumensPerWatt / factors[0], lumensPerWatt / factors[1], lumensPerWatt / factors[2]};
    }
}

/// A line "GAMMA=" other than of 1: some writers put it into files of linear values, others encode by it.
void takeGamma(const std::string& text, std::size_t end, ColorStatement& statement) {
    const std::size_t line = text.find("\nGAMMA=");
    if (line >= end) {
        return;
    }
    const std::string number = text.substr(line + 7, std::min(text.find('\n', line + 1) - line - 7, std::size_t{24}));
    std::istringstream words(number);
    words.imbue(std::locale::classic());
    double gamma = 0;
    if (!(words >> gamma) || gamma != 1) {
        statement.passedOver = " (GAMMA) is passed over, since the values of the format are linear";
    }
}

/// Lines of text up to an empty one; "PRIMARIES= " and x and y of red, green, blue and white.
void readRadiance(HeaderBytes& file, ColorStatement& statement) {
    statement.channels = StoredChannels::rgb;
    constexpr std::size_t longest = std::size_t{1} << 16;
    const Bytes found = file.bytes(0, longest);
    const std::string text(found.begin(), found.end());
    const std::size_t end = std::min(text.find("\n\n"), text.size());
    readExposure(text.substr(0, end), statement);
    takeGamma(text, end, statement);
    const std::size_t line = text.find("\nPRIMARIES=");
    if (line >= end) {
        return;
    }
    std::istringstream numbers(text.substr(line + 11, text.find('\n', line + 1) - line - 11));
    numbers.imbue(std::locale::classic());
    Chromaticities c{};
    constexpr std::size_t places[] = {2, 3, 4, 5, 6, 7, 0, 1};  // R, G, B, white there; white first here
    for (const std::size_t place : places) {
        numbers >> c[place];
    }
    if (!numbers) {
        statement.problem = " (PRIMARIES) is not of eight numbers";
    } else {
        takeLinearChromaticities(c, statement);
    }
}

}  // namespace

ColorStatement readColorStatement(const ByteSource& source, ImageFileFormat format) {
    HeaderBytes file(source);
    ColorStatement statement;
    switch (format) {
        case ImageFileFormat::jpeg:
            readJpeg(file, statement);
            break;
        case ImageFileFormat::png:
            readPng(file, statement);
            break;
        case ImageFileFormat::tiff:
            TiffColors(file, statement).read();
            break;
        case ImageFileFormat::webp:
            readWebp(file, statement);
            break;
        case ImageFileFormat::jpeg2000:
            readJpeg2000(file, statement);
            break;
        case ImageFileFormat::bmp:
            readBmp(file, statement);
            break;
        case ImageFileFormat::radiance:
            readRadiance(file, statement);
            break;
        default:
            break;
    }
    return statement;
}

ColorStatement statementOfCodePoints(int primaries, int transfer) {
    constexpr int unspecified = 2;
    constexpr int bt709 = 1;
    constexpr int srgb = 13;
    ColorStatement statement;
    takeCodePoints(primaries == unspecified ? bt709 : primaries, transfer == unspecified ? srgb : transfer, "nclx",
                   statement);
    if (primaries == unspecified || transfer == unspecified) {
        statement.saysSrgb = false;
    }
    return statement;
}

void takeLinearChromaticities(const Chromaticities& chromaticities, ColorStatement& statement) {
    if (!isSensible(chromaticities)) {
        statement.problem = " has chromaticities that span no colours";
    } else if (!sameChromaticities(chromaticities, srgbChromaticities)) {
        statement.colorimetry = Colorimetry{chromaticities, {1}, "linear, primaries of its own"};
    }
}

}  // namespace likeness

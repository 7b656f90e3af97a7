#include "photofile/photograph_reader.hpp"

#include <likeness/color/srgb_companding.hpp>
#include <likeness/color/unit_image.hpp>
#include "codecs/exif_orientation.hpp"
#include "codecs/image_codecs.hpp"
#include "files/standard_input.hpp"
#include "modules/module_loader.hpp"
#include "numerics/beside.hpp"
#include "photofile/color_profile.hpp"
#include "photofile/cut_off.hpp"
#include "photofile/decoder_remarks.hpp"
#include "photofile/format_modules.hpp"
#include "photofile/image_header.hpp"
#include "photofile/stored_orientation.hpp"

#include <opencv2/core/utils/logger.hpp>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <shared_mutex>
#include <utility>

namespace likeness {
namespace {

/// The image library's own log line about a missing file would say less than its caller does.
void silenceImageLibrary() {
    cv::utils::logging::setLogLevel(cv::utils::logging::LOG_LEVEL_SILENT);
}

struct Inspected {
    ImageHeader header;
    bool otherColors = false;  ///< whether its numbers are to be converted
};

/// What is known of a file before it is decoded; or a problem.
/// @throws MachineFailure
Inspected inspect(const std::string& path, std::uint64_t mostPixels, ColorReading* colors, PhotographRead& result) {
    const OpenedFile file(path);
    if (!file.problem().empty()) {
        result.problem = file.problem();
        return {};
    }
    const ByteSource source = file.source();
    Inspected found{readImageHeader(source)};
    const ImageHeader& header = found.header;
    // What the first directory of a raw file tells is the size of a preview.
    if (!header.cameraRaw && exceeds(header.width, header.height, mostPixels)) {
        result.problem = ": " + tooManyPixels(header.width, header.height, mostPixels);
    } else if (header.format == ImageFileFormat::png && isCutOff(source, header, file.size())) {
        // Its decoder takes the room that a chunk asks for, up to 2 GiB, before it finds that it is not there.
        result.problem = ": it is cut off at byte " + std::to_string(file.size());
    } else if (colors != nullptr && !header.unread.empty()) {
        result.problem = ": " + header.unread;
    } else if (colors != nullptr) {
        found.otherColors = colors->inspect(source, header);
    }
    return found;
}

/// Why a file that was opened cannot be read. Reads it once more.
std::string undecodable(const std::string& path, const ImageHeader& header) {
    if (header.format == ImageFileFormat::unknown && !header.cameraRaw) {
        return ": its content is of no image format that is known";
    }
    const OpenedFile file(path);
    if (!file.problem().empty()) {
        return file.problem();
    }
    if (isCutOff(file.source(), header, file.size())) {
        return ": it is cut off at byte " + std::to_string(file.size());
    }
    if (!header.unread.empty()) {
        return ": " + header.unread;
    }
    return std::string(": it begins as ") + nameOf(header.format) + ", but its content cannot be decoded";
}

/// What the image library makes of a file.
struct Decoded {
    cv::Mat image;    ///< empty if the file cannot be read as an image
    int problem = 0;  ///< error number that tells what the machine lacked; 0 if it lacked nothing
};

Decoded decoded(const std::string& path, int flags, cv::Mat room) {
    Decoded result;
    errno = 0;
    try {
        result.image = decodedFile(path, flags, std::move(room));
    } catch (const std::bad_alloc&) {
        errno = ENOMEM;
    } catch (const cv::Exception& error) {
        errno = error.code == cv::Error::StsNoMem ? ENOMEM : errno;
    } catch (const ModuleProblem& problem) {
        if (problem.errorNumber() == 0) {
            throw;
        }
        errno = problem.errorNumber();
    }
    // The image library does not hand on why it gave up, but nothing after that touches the error number.
    if (result.image.empty() && isOfTheMachine(errno)) {
        result.problem = errno;
    }
    return result;
}

/// Whether a plain image of so many pixels has no room in memory.
bool lacksMemoryFor(const ImageHeader& header) {
    constexpr std::uint64_t bytesOfPixel = 24;  // three floats, twice
    constexpr std::uint64_t usualBytes = std::uint64_t{1} << 26;
    constexpr std::uint64_t most = std::uint64_t{1} << 40;
    const auto bytes = static_cast<std::size_t>(std::min(header.pixels(), most / bytesOfPixel) * bytesOfPixel);
    const std::unique_ptr<char[]> room(new (std::nothrow) char[bytes + usualBytes]);
    return room == nullptr;
}

/// Descriptors and memory run short because of what others do at the same time: then the file is read again, alone.
std::shared_mutex& decoding() {
    static std::shared_mutex mutex;
    return mutex;
}

/// @param room  memory for the image (codecs/image_codecs.hpp)
cv::Mat decodedOrMachineFailure(const std::string& path, int flags, const ImageHeader& header, cv::Mat room = {}) {
    if (header.orientation > 0 && flags != cv::IMREAD_UNCHANGED) {
        flags |= cv::IMREAD_IGNORE_ORIENTATION;  // for image libraries that apply it themselves
    }
    {
        const std::shared_lock together(decoding());
        Decoded first = decoded(path, flags, std::move(room));
        if (first.problem == 0) {
            return first.image;
        }
    }
    const std::scoped_lock alone(decoding());
    Decoded second = decoded(path, flags, {});
    // A damaged file can ask for more memory than any machine has, or than an image of its size takes.
    if (second.problem != 0 && (second.problem != ENOMEM || lacksMemoryFor(header))) {
        throw machineFailure(path, second.problem);
    }
    return second.image;
}

/// Whether white of an anymap of bytes is less than 255.
bool hasDarkWhite(const ImageHeader& header) {
    return header.format == ImageFileFormat::portable && header.greatest > 0 && header.greatest < 255;
}

/// 10 or 12 bits that stand in 16, on the whole range of these, and bytes of which white is less than 255.
void useWholeRange(const ImageHeader& header, cv::Mat& image) {
    const std::uint64_t greatest = header.format == ImageFileFormat::jpeg2000 && header.bits > 8 && header.bits < 16
                                       ? (std::uint64_t{1} << header.bits) - 1
                                       : header.greatest;
    if (image.depth() == CV_16U && greatest > 255 && greatest < 65535) {
        image.convertTo(image, CV_16U, 65535.0 / static_cast<double>(greatest));
    } else if (image.depth() == CV_8U && hasDarkWhite(header)) {
        image.convertTo(image, CV_8U, 255.0 / static_cast<double>(header.greatest));
    }
}

cv::Mat withThreeChannels(const cv::Mat& image) {
    if (image.empty()) {
        return image;
    }
    if (image.channels() == 1) {
        cv::Mat spread;
        cv::merge(std::vector<cv::Mat>(3, image), spread);
        return spread;
    }
    if (image.channels() == 4) {
        cv::Mat opaque(image.size(), CV_MAKETYPE(image.depth(), 3));
        const int fromTo[] = {0, 0, 1, 1, 2, 2};
        cv::mixChannels(&image, 1, &opaque, 1, fromTo, 3);
        return opaque;
    }
    return image;
}

void encode(cv::Mat& linear) {
    for (int i = 0; i < linear.rows; ++i) {
        auto* const row = linear.ptr<float>(i);
        sRGBCompandingOfRow(row, row,
                            static_cast<std::size_t>(linear.cols) * static_cast<std::size_t>(linear.channels()));
    }
}

/// Floats as they are. The image library reads the grey of a float TIFF only with its channels unchanged.
cv::Mat decodedAsStored(const std::string& path, const ImageHeader& header) {
    cv::Mat image;
    image = decodedOrMachineFailure(path, cv::IMREAD_COLOR | cv::IMREAD_ANYDEPTH, header);
    if (image.empty() && (header.format == ImageFileFormat::tiff || header.format == ImageFileFormat::unknown)) {
        image = decodedOrMachineFailure(path, cv::IMREAD_UNCHANGED, header);
        if (image.channels() != 1) {
            image.release();
        }
    }
    useWholeRange(header, image);
    if (!image.empty() && image.depth() != CV_8U && image.depth() != CV_16U && image.depth() != CV_32F) {
        image.convertTo(image, CV_32F);
    }
    return withThreeChannels(image);
}

cv::Mat decodedAs(PhotographValues values, const std::string& path, const ImageHeader& header, cv::Mat room) {
    cv::Mat image;
    switch (values) {
        case PhotographValues::bytes:
            return withThreeChannels(decodedOrMachineFailure(path, cv::IMREAD_COLOR, header, std::move(room)));
        case PhotographValues::bytesOrFloats:
            // What is neither told to be deeper nor unknown has 8 bits.
            if (!header.floats && header.format != ImageFileFormat::unknown && header.bits <= 8 &&
                !hasDarkWhite(header)) {
                return withThreeChannels(decodedOrMachineFailure(path, cv::IMREAD_COLOR, header, std::move(room)));
            }
            image = decodedAsStored(path, header);
            if (image.depth() == CV_16U) {
                image = toUnit(image);
            }
            break;
        case PhotographValues::stored:
            image = decodedAsStored(path, header);
            break;
        case PhotographValues::grey:
            return decodedOrMachineFailure(path, cv::IMREAD_GRAYSCALE | cv::IMREAD_ANYDEPTH, header);
    }
    return image;
}

/// Hands the rows of a photograph on, where `decodedAs` would make bytes of it.
/// @return  its size; empty if it is to be decoded as an image: what was handed on does not count then
cv::Size handedOn(RowReceiver* rows, PhotographValues values, const std::string& path, const ImageHeader& header) {
    const bool wanted = values == PhotographValues::bytesOrFloats || values == PhotographValues::bytes;
    if (rows == nullptr || !wanted || header.format != ImageFileFormat::jpeg || header.bits > 8) {
        return {};
    }
    const std::shared_lock together(decoding());
    return decodeRows(path, *rows).value_or(cv::Size());
}

/// Any image as bytes; floats and 16 bits from 0..1.
cv::Mat bytesOf(const cv::Mat& image) {
    if (image.depth() == CV_8U) {
        return image;
    }
    cv::Mat bytes;
    image.convertTo(bytes, CV_8U, image.depth() == CV_16U ? 1 / 257.0 : 255.0);
    return bytes;
}

/// The picture that a module hands on as it is stored, upright: its own data go before what stands around it.
void makeUpright(const PhotographContent& content, cv::Mat& image) {
    const ByteSource source = [&content](std::uint64_t offset, unsigned char* bytes, std::size_t count) {
        const std::size_t size = content.encoded.size();
        const std::size_t there = offset >= size ? 0 : std::min<std::size_t>(count, size - offset);
        std::copy_n(content.encoded.data() + (there == 0 ? 0 : offset), there, bytes);
        return there;
    };
    const bool turnsOnItsSide = content.orientation >= 5;
    const bool turnedAlready = turnsOnItsSide && (image.cols > image.rows) == (content.width > content.height);
    if (storedOrientation(source, ImageFileFormat::jpeg).value_or(0) == 0 && !turnedAlready) {
        applyOrientation(content.orientation, image);
    }
}

/// Has the counted colours converted. As floats: of bytes the profile would look for the distinct colours once more.
void convertCounted(ColorReading& colors, RowReceiver& rows) {
    rows.convert([&colors](const cv::Mat& bgr) { return colors.converted(toUnit(bgr)); });
}

/// Converts what is decoded. Of bytes, who counts colours converts these alone, in place of the pixels.
/// @param stored  upright
void takeConverted(ColorReading& colors, RowReceiver* rows, const cv::Mat& stored, PhotographRead& result) {
    if (rows == nullptr || !rows->converts() || stored.type() != CV_8UC3) {
        result.bgr = colors.converted(stored);
        return;
    }
    rows->begin(stored.size());
    rows->take(stored);
    convertCounted(colors, *rows);
    result.bgr.release();
    result.rowsOf = stored.size();
}

/// What a module has decoded, upright; empty if it cannot be decoded.
cv::Mat decodedContent(const PhotographContent& content) {
    cv::Mat stored =
        withThreeChannels(content.encoded.empty() ? content.pixels : decodedBytes(content.encoded, cv::IMREAD_COLOR));
    if (content.asStored && !stored.empty()) {
        makeUpright(content, stored);
    }
    return stored;
}

/// What a module has decoded and nobody converts, as it is wanted.
cv::Mat asWanted(const cv::Mat& stored, const PhotographContent& content, const ColorStatement& statement,
                 PhotographValues values) {
    switch (values) {
        case PhotographValues::stored:
            break;
        case PhotographValues::bytes: {
            if (!content.linear) {
                return bytesOf(stored);
            }
            if (statement.colorimetry) {
                return bytesOf(ColorProfile::ofColorimetry(*statement.colorimetry)->srgbFrom(stored));
            }
            cv::Mat image = toUnit(stored).clone();
            encode(image);
            return bytesOf(image);
        }
        case PhotographValues::bytesOrFloats:
            return stored.depth() == CV_16U ? toUnit(stored) : stored;
        case PhotographValues::grey: {
            cv::Mat grey;
            cv::cvtColor(stored, grey, cv::COLOR_BGR2GRAY);
            return grey;
        }
    }
    return stored;
}

/// Reads what is for a module.
/// @throws MachineFailure
void readWithModule(const std::string& path, PhotographValues values, std::uint64_t mostPixels, ColorReading* colors,
                    const ImageHeader& header, RowReceiver* rows, PhotographRead& result) {
    const OpenedFile file(path);
    if (header.cameraRaw && isCutOff(file.source(), header, file.size())) {
        // Its decoder goes on without what is missing, such as the white as shot.
        result.problem = ": it is cut off at byte " + std::to_string(file.size());
        return;
    }
    PhotographRequest request{path, mostPixels};
    if (colors != nullptr) {
        request.page = colors->selection().page;
        request.layer = colors->selection().layer;
        request.preview = colors->selection().preview;
    }
    PhotographContent content = readByModule(file.source(), header, request);
    if (content.problem.empty()) {
        const ColorStatement statement = colorStatementOf(content, file.source(), header, request.page);
        if (const cv::Mat stored = decodedContent(content); !stored.empty()) {
            if (colors != nullptr && colors->take(statement, content.linear, content.floats)) {
                takeConverted(*colors, rows, stored, result);
            } else {
                result.bgr = asWanted(stored, content, statement, values);
                if (colors == nullptr && statement.colorimetry && statement.colorimetry->light != LightCurve::none) {
                    result.remarks.emplace_back(
                        "it is encoded for high dynamic range, and its numbers are taken for those of sRGB");
                }
            }
        }
    }
    if (!result.isRead()) {
        const bool cut = isCutOff(file.source(), header, file.size());
        result.problem = cut                       ? ": it is cut off at byte " + std::to_string(file.size())
                         : content.problem.empty() ? ": its content cannot be decoded"
                                                   : ": " + content.problem;
        return;
    }
    result.remarks.insert(result.remarks.begin(), content.remarks.begin(), content.remarks.end());
    if (content.alpha && !content.opaque && (colors == nullptr || !colors->selection().usesAlpha)) {
        result.remarks.emplace_back(content.multiplied ? "its alpha channel is left out, by which its colours are "
                                                         "multiplied: they are taken as they are"
                                                       : "its alpha channel is left out");
    }
    result.bits = content.bits;
    if (values != PhotographValues::bytes) {
        result.floats = content.floats;
        result.linear = content.linear;
    } else if (content.linear) {
        result.remarks.emplace_back("its linear values are encoded for sRGB");
    }
}

/// The orientation that is left to the reader; 0 where there is none, or none that can be told.
int turnOf(const std::string& path, ImageFileFormat format) {
    const OpenedFile file(path);
    return file.problem().empty() ? storedOrientation(file.source(), format).value_or(0) : 0;
}

/// What is compared as bytes keeps the pixels that the image library makes of it, where it makes any.
/// @param managed  whether somebody asks for its colours
bool isReadAsBytesAlways(const ImageHeader& header, PhotographValues values, bool managed) {
    const bool bytesOfTiff =
        header.format == ImageFileFormat::tiff && ((header.misread && header.bits == 8) || header.toldOf);
    const bool anymap = header.format == ImageFileFormat::portable && !managed;
    return values == PhotographValues::bytes && (header.format == ImageFileFormat::openExr || bytesOfTiff || anymap);
}

/// Whether every pixel counts in full.
bool isOpaque(const cv::Mat& alpha) {
    double least = 0;
    cv::minMaxLoc(alpha, &least);
    return least >= (alpha.depth() == CV_8U ? 255 : alpha.depth() == CV_16U ? 65535 : 1);
}

/// What is lost with the alpha channel that a header tells of; empty if nothing.
/// @throws MachineFailure
std::string lostWithAlpha(const std::string& path, const ImageHeader& header) {
    const RemarkCollector heardAlready;
    const cv::Mat stored = decodedOrMachineFailure(path, cv::IMREAD_UNCHANGED, header);
    if (stored.channels() == 4) {
        cv::Mat alpha;
        cv::extractChannel(stored, alpha, 3);
        if (isOpaque(alpha)) {
            return {};
        }
    }
    return "its alpha channel is left out: transparent pixels count with the colours that the file has there";
}

/// Whether a file has the mark of DICOM (PS3.10, 7.1), whatever stands ahead of it. Some builds of the image library hand
/// such files to a reader that ends the program where they are damaged.
bool isDicom(const std::string& path) {
    const OpenedFile file(path);
    unsigned char mark[4];
    constexpr std::uint64_t place = 128;
    return file.problem().empty() && file.source()(place, mark, sizeof mark) == sizeof mark &&
           std::equal(std::begin(mark), std::end(mark), "DICM");
}

/// @param tellsOfAlpha  whether an alpha channel that is not opaque throughout is a remark
template <typename LinesOf>
PhotographRead readCollecting(const std::string& name, PhotographValues values, std::uint64_t mostPixels,
                              ColorReading* colors, bool tellsOfAlpha, LinesOf linesOf, cv::Mat room = {},
                              RowReceiver* rows = nullptr, bool* lacksModule = nullptr) {
    const std::string path = placeOfInput(name);
    PhotographRead result;
    Inspected found;
    const ImageHeader& header = found.header;
    try {
        const std::shared_lock together(decoding());
        found = inspect(path, mostPixels, colors, result);
    } catch (const MachineFailure&) {
        const std::scoped_lock alone(decoding());
        result = {};
        found = inspect(path, mostPixels, colors, result);
    }
    if (!result.problem.empty()) {
        return result;
    }
    const PhotographSelection selection = colors == nullptr ? PhotographSelection() : colors->selection();
    if (isTurnedByReader(header.format) && (values != PhotographValues::bytes || colors != nullptr)) {
        found.header.orientation = turnOf(path, header.format);
        // Its decoder makes a picture of any beginning, and takes the room for what the header says.
        if (const OpenedFile file(path); header.format == ImageFileFormat::jpeg2000 && file.problem().empty() &&
                                         isCutOff(file.source(), header, file.size())) {
            result.problem = ": it is cut off at byte " + std::to_string(file.size());
            return result;
        }
    }
    const bool byModule = isForModule(header, selection) && !isReadAsBytesAlways(header, values, colors != nullptr);
    if (!byModule && header.format != ImageFileFormat::jpeg && header.format != ImageFileFormat::png && isDicom(path)) {
        result.problem = ": DICOM files are not read";
        return result;
    }
    try {
        const RemarkCollector collector;
        if (byModule) {
            readWithModule(path, values, mostPixels, colors, header, rows, result);
        } else {
            const bool counts = !found.otherColors || (rows != nullptr && rows->converts());
            result.rowsOf = counts ? handedOn(rows, values, path, header) : cv::Size();
            if (result.rowsOf.empty()) {
                result.bgr =
                    decodedAs(found.otherColors ? PhotographValues::stored : values, path, header, std::move(room));
                applyOrientation(header.orientation, result.bgr);
            } else if (found.otherColors) {
                convertCounted(*colors, *rows);
            }
            if (found.otherColors && !result.bgr.empty()) {
                takeConverted(*colors, rows, cv::Mat(result.bgr), result);
            } else if (header.format == ImageFileFormat::radiance && result.bgr.depth() == CV_32F) {
                encode(result.bgr);
            }
        }
        const std::vector<std::string> said = linesOf(collector);
        result.remarks.insert(result.remarks.end(), said.begin(), said.end());
        if (!byModule && values == PhotographValues::bytes && header.format == ImageFileFormat::portable &&
            result.isRead()) {
            if (header.misread) {
                result.remarks.emplace_back("an arbitrary map (PAM): red and blue may be exchanged, and alpha misread");
            } else if (hasDarkWhite(header)) {
                result.remarks.push_back("its white is " + std::to_string(header.greatest) +
                                         ", and is taken for a value below that of 255");
            }
        }
        if (!header.unread.empty() && result.isRead()) {
            result.remarks.push_back(header.unread + ": its colours may be exchanged");
        }
        if (!byModule && tellsOfAlpha && !selection.usesAlpha && header.alpha && result.isRead()) {
            if (std::string lost = lostWithAlpha(path, header); !lost.empty()) {
                result.remarks.push_back(std::move(lost));
            }
        }
    } catch (const std::bad_alloc&) {
        // Libraries ask for what a damaged file says that it takes.
        if (!byModule || lacksMemoryFor(header)) {
            throw machineFailure(path, ENOMEM);
        }
        result.bgr.release();
        result.problem = ": it is damaged, or takes more memory than there is";
    } catch (const cv::Exception& error) {
        if (error.code == cv::Error::StsNoMem && (!byModule || lacksMemoryFor(header))) {
            throw machineFailure(path, ENOMEM);
        }
        result.bgr.release();
    } catch (const ModuleProblem& problem) {
        if (problem.errorNumber() != 0) {
            throw machineFailure(path, problem.errorNumber());
        }
        result.problem = std::string(": ") + problem.what();
        if (lacksModule != nullptr) {
            *lacksModule = true;
        }
        return result;
    }
    if (!result.isRead()) {
        if (result.problem.empty()) {
            result.problem = undecodable(path, header);
        }
        return result;
    }
    if (!byModule) {
        if (selection.page > 1) {
            result.bgr.release();
            result.rowsOf = {};
            result.problem = ": " + readWithoutPages(header);
            return result;
        }
        if (header.pages > 1) {
            result.remarks.push_back("the first of its " + std::to_string(header.pages) +
                                     " pages is taken; --page takes another");
        }
        result.bits = header.bits;
        result.floats = header.floats;
        result.linear = header.isLinear();
    }
    return result;
}

PhotographRead readWithAllRemarks(const std::string& path, PhotographValues values, std::uint64_t mostPixels,
                                  ColorReading* colors, bool tellsOfAlpha, RowReceiver* rows = nullptr) {
    return readCollecting(
        path, values, mostPixels, colors, tellsOfAlpha,
        [](const RemarkCollector& collector) { return collector.allLines(); }, {}, rows);
}

}  // namespace

PhotographRead readPhotograph(const std::string& path, PhotographValues values, std::uint64_t mostPixels,
                              ColorReading* colors) {
    // Where many are read at the same time, whoever has them read sorts what is printed.
    std::optional<RemarkSorter> sorter;
    if (!RemarkSorter::isAtWork()) {
        silenceImageLibrary();
        sorter.emplace();
    }
    return readWithAllRemarks(path, values, mostPixels, colors, true);
}

std::pair<PhotographRead, PhotographRead> readPhotographPair(const std::string& first, const std::string& second,
                                                             PhotographValues values, std::uint64_t mostPixels,
                                                             ColorReading* firstColors, ColorReading* secondColors,
                                                             RowReceiver* firstRows, RowReceiver* secondRows) {
    silenceImageLibrary();
    const RemarkSorter sorter;
    const auto read = [&](const std::string& path, ColorReading* colors, RowReceiver* rows) {
        return readWithAllRemarks(path, values, mostPixels, colors, colors != nullptr, rows);
    };
    auto reading = beside([&] { return read(second, secondColors, secondRows); });
    PhotographRead firstRead = read(first, firstColors, firstRows);
    try {
        return {firstRead, reading.get()};
    } catch (const MachineFailure&) {
        if (firstRead.problem.empty()) {
            throw;
        }
        return {std::move(firstRead), PhotographRead()};
    }
}

PhotographRead readPhotographAmongOthers(const std::string& path, PhotographValues values, std::uint64_t mostPixels,
                                         ColorReading* colors, cv::Mat room, RowReceiver* rows) {
    bool lacksModule = false;
    PhotographRead read = readCollecting(
        path, values, mostPixels, colors, true, [](const RemarkCollector& collector) { return collector.lines(); },
        std::move(room), rows, &lacksModule);
    if (lacksModule) {
        // The photograph is not to blame: it is read once the module is there.
        throw MachineFailure("cannot read '" + path + "'" + read.problem, ENOPKG);
    }
    return read;
}

}  // namespace likeness

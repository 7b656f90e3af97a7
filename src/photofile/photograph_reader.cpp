#include "photofile/photograph_reader.hpp"

#include <likeness/color/srgb_companding.hpp>
#include "codecs/image_codecs.hpp"
#include "files/standard_input.hpp"
#include "modules/module_loader.hpp"
#include "numerics/beside.hpp"
#include "photofile/decoder_remarks.hpp"
#include "photofile/image_header.hpp"

#include <opencv2/core/utils/logger.hpp>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
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

/// Whether the error number tells of the machine and not of the file.
bool isOfTheMachine(int problem) {
    return problem == EMFILE || problem == ENFILE || problem == ENOMEM || problem == EIO;
}

/// Why the machine could not do it; the file is named because another one may still be read.
MachineFailure machineFailure(const std::string& path, int problem) {
    return MachineFailure("cannot read '" + path + "': " + std::strerror(problem) +
                              (problem == ENOMEM ? " (a lower limit of pixels refuses large images)" : ""),
                          problem);
}

class Descriptor {
public:
    explicit Descriptor(int number) : number_(number) {}
    ~Descriptor() {
        if (number_ >= 0) {
            ::close(number_);
        }
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int number() const noexcept { return number_; }

private:
    int number_;
};

/// The bytes of an open file; the first ones are read once.
class FileBytes {
public:
    FileBytes(const std::string& path, int descriptor) : path_(path), descriptor_(descriptor) {
        held_ = readAt(0, beginning_.data(), beginning_.size());
    }

    std::size_t read(std::uint64_t offset, unsigned char* bytes, std::size_t count) const {
        if (offset + count > held_ && held_ == beginning_.size()) {
            return readAt(offset, bytes, count);
        }
        const std::size_t there = offset >= held_ ? 0 : std::min<std::size_t>(count, held_ - offset);
        std::copy_n(beginning_.data() + (there == 0 ? 0 : offset), there, bytes);
        return there;
    }

private:
    /// @throws MachineFailure
    std::size_t readAt(std::uint64_t offset, unsigned char* bytes, std::size_t count) const {
        std::size_t done = 0;
        while (done < count) {
            const ::ssize_t n = ::pread(descriptor_, bytes + done, count - done, static_cast<::off_t>(offset + done));
            if (n < 0 && errno == EINTR) {
                continue;
            }
            if (n < 0 && isOfTheMachine(errno)) {
                throw machineFailure(path_, errno);
            }
            if (n <= 0) {
                break;
            }
            done += static_cast<std::size_t>(n);
        }
        return done;
    }

    const std::string& path_;
    int descriptor_;
    std::array<unsigned char, 4096> beginning_{};
    std::size_t held_ = 0;
};

constexpr const char* noImage = " as an image";

struct Inspected {
    ImageHeader header;
    bool otherColors = false;  ///< whether its numbers are to be converted
};

/// What is known of a file before it is decoded; or a problem.
/// @throws MachineFailure
Inspected inspect(const std::string& path, std::uint64_t mostPixels, ColorReading* colors, PhotographRead& result) {
    // Without waiting: a pipe that nobody writes to is no photograph.
    const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    if (file.number() < 0) {
        const int problem = errno;
        if (isOfTheMachine(problem)) {
            throw machineFailure(path, problem);
        }
        // A socket, and a device that is not there.
        result.opened = problem == ENXIO || problem == ENODEV;
        result.problem = result.opened ? std::string(noImage) + ": it is not a regular file"
                                       : std::string(": ") + std::strerror(problem);
        return {};
    }
    result.opened = true;
    struct ::stat status {};
    if (::fstat(file.number(), &status) != 0 || !S_ISREG(status.st_mode)) {
        result.problem = std::string(noImage) + ": it is not a regular file";
        return {};
    }
    const FileBytes bytes(path, file.number());
    const ByteSource source = [&bytes](std::uint64_t offset, unsigned char* to, std::size_t count) {
        return bytes.read(offset, to, count);
    };
    Inspected found{readImageHeader(source)};
    const ImageHeader& header = found.header;
    if (header.cameraRaw) {
        result.problem = std::string(noImage) +
                         ": it is a camera raw file, of which only an embedded preview could be read; develop it first";
    } else if (header.pixels() > mostPixels) {
        result.problem = std::string(noImage) + ": it is " + std::to_string(header.width) + " x " +
                         std::to_string(header.height) + " pixels, and the limit (--max-pixels) is " +
                         std::to_string(mostPixels) + " in all";
    } else if (colors != nullptr) {
        found.otherColors = colors->inspect(source, header);
    }
    return found;
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

/// Floats as they are. The image library reads the grey of a float TIFF, and that of an OpenEXR file rightly, only with
/// its channels unchanged.
cv::Mat decodedAsStored(const std::string& path, const ImageHeader& header) {
    cv::Mat image;
    if (header.format == ImageFileFormat::openExr) {
        image = decodedOrMachineFailure(path, cv::IMREAD_UNCHANGED, header);
    } else {
        image = decodedOrMachineFailure(path, cv::IMREAD_COLOR | cv::IMREAD_ANYDEPTH, header);
        if (image.empty() && (header.format == ImageFileFormat::tiff || header.format == ImageFileFormat::unknown)) {
            image = decodedOrMachineFailure(path, cv::IMREAD_UNCHANGED, header);
            if (image.channels() != 1) {
                image.release();
            }
        }
    }
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
            // What is neither told to be floats nor unknown has 8 or 16 bits.
            if (!header.floats && header.format != ImageFileFormat::unknown && header.bits <= 16) {
                return withThreeChannels(decodedOrMachineFailure(path, cv::IMREAD_COLOR, header, std::move(room)));
            }
            image = decodedAsStored(path, header);
            if (image.depth() == CV_16U) {
                image.release();
                image = withThreeChannels(decodedOrMachineFailure(path, cv::IMREAD_COLOR, header));
            }
            break;
        case PhotographValues::stored:
            image = decodedAsStored(path, header);
            break;
        case PhotographValues::grey:
            return decodedOrMachineFailure(path, cv::IMREAD_GRAYSCALE | cv::IMREAD_ANYDEPTH, header);
    }
    if (header.format == ImageFileFormat::radiance && image.depth() == CV_32F) {
        encode(image);
    }
    return image;
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

/// @param tellsOfAlpha  whether an alpha channel that is not opaque throughout is a remark
template <typename LinesOf>
PhotographRead readCollecting(const std::string& name, PhotographValues values, std::uint64_t mostPixels,
                              ColorReading* colors, bool tellsOfAlpha, LinesOf linesOf, cv::Mat room = {}) {
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
    try {
        {
            const RemarkCollector collector;
            result.bgr =
                decodedAs(found.otherColors ? PhotographValues::stored : values, path, header, std::move(room));
            if (found.otherColors && !result.bgr.empty()) {
                result.bgr = colors->converted(result.bgr);
            }
            result.remarks = linesOf(collector);
        }
        if (tellsOfAlpha && header.alpha && !result.bgr.empty()) {
            if (std::string lost = lostWithAlpha(path, header); !lost.empty()) {
                result.remarks.push_back(std::move(lost));
            }
        }
    } catch (const std::bad_alloc&) {
        throw machineFailure(path, ENOMEM);
    } catch (const cv::Exception& error) {
        if (error.code == cv::Error::StsNoMem) {
            throw machineFailure(path, ENOMEM);
        }
        result.bgr.release();
    } catch (const ModuleProblem& problem) {
        result.problem = std::string(noImage) + ": " + problem.what();
        return result;
    }
    if (result.bgr.empty()) {
        result.problem = noImage;
        if (header.format == ImageFileFormat::openExr) {
            result.problem +=
                ": the image library reads OpenEXR files only where OPENCV_IO_ENABLE_OPENEXR=1 is set, "
                "or this one is damaged";
        }
        return result;
    }
    result.bits = header.bits;
    result.floats = header.floats;
    result.linear = header.format == ImageFileFormat::radiance;
    return result;
}

PhotographRead readWithAllRemarks(const std::string& path, PhotographValues values, std::uint64_t mostPixels,
                                  ColorReading* colors, bool tellsOfAlpha) {
    return readCollecting(path, values, mostPixels, colors, tellsOfAlpha,
                          [](const RemarkCollector& collector) { return collector.allLines(); });
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
                                                             ColorReading* firstColors, ColorReading* secondColors) {
    silenceImageLibrary();
    const RemarkSorter sorter;
    auto reading =
        beside([&] { return readWithAllRemarks(second, values, mostPixels, secondColors, secondColors != nullptr); });
    PhotographRead firstRead = readWithAllRemarks(first, values, mostPixels, firstColors, firstColors != nullptr);
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
                                         ColorReading* colors, cv::Mat room) {
    return readCollecting(
        path, values, mostPixels, colors, true, [](const RemarkCollector& collector) { return collector.lines(); },
        std::move(room));
}

}  // namespace likeness

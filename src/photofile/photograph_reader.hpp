#pragma once

#include "photofile/image_header.hpp"

#include <opencv2/core.hpp>

#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace likeness {

/// Most pixels that a photograph may have by default, 2^29.
inline constexpr std::uint64_t usualMostPixels = std::uint64_t{1} << 29;

/// What becomes of the values of a file.
enum class PhotographValues {
    bytes,          ///< 16-bit values are reduced to 8 bits; floats are rounded to whole numbers and limited to 0..255
    bytesOrFloats,  ///< 16-bit values are reduced to 8 bits; floats are kept
    stored,         ///< 8-bit and 16-bit values and floats are kept
    grey,           ///< the same, as grey
};

/// A photograph from a file, with what the image reader had to say about it.
///
/// Colour is in the order B, G, R; alpha is dropped, grey is spread to three channels, an EXIF orientation is applied.
/// Kept floats are gamma-encoded: those of a Radiance file (.hdr), which are linear by definition, are encoded with the
/// curve of sRGB; all others are taken as they are.
struct PhotographRead {
    cv::Mat bgr;  ///< CV_8UC3, CV_16UC3 or CV_32FC3, for grey with one channel; empty if there is
                  ///< a problem
    std::vector<std::string>
        remarks;          ///< lines of the format libraries, such as "Premature end of JPEG file", and that
                          ///< an alpha channel which is not opaque throughout is left out
    std::string problem;  ///< what follows "cannot read 'PATH'", such as " as an image"; empty if it was
                          ///< read
    bool opened = false;  ///< whether the file could be opened
    int bits = 0;         ///< of a channel in the file; 0 if not known
    bool floats = false;  ///< whether the file holds floats
    bool linear = false;  ///< whether they are linear by definition

    /// The problem without the system's reason why the file cannot be opened.
    std::string imageProblem() const { return opened || problem.empty() ? problem : " as an image"; }
};

/// The machine lacks what reading takes: memory, file descriptors, a disk that works. It says nothing about the file.
class MachineFailure : public std::runtime_error {
public:
    MachineFailure(const std::string& what, int errorNumber) : std::runtime_error(what), errorNumber_(errorNumber) {}

    /// The system's, as ENOMEM.
    int errorNumber() const noexcept { return errorNumber_; }

private:
    int errorNumber_;
};

/// What makes sRGB of the numbers of a file that has them in another encoding (photofile/managed_colors.hpp). One object
/// for each file.
class ColorReading {
public:
    virtual ~ColorReading() = default;

    /// Looks at the file before it is decoded. It may be called again, after a failure of the machine.
    /// @return  whether the decoded numbers are to be converted
    virtual bool inspect(const ByteSource& source, const ImageHeader& header) = 0;

    /// @param stored  CV_8UC3, CV_16UC3 or CV_32FC3, B, G, R, as the file holds it
    /// @return        CV_32FC3 of the same size, in the encoding of sRGB
    virtual cv::Mat converted(const cv::Mat& stored) = 0;
};

/// Reads a file. Before anything is decoded, what is no regular file, a camera's raw file and an image of more than
/// `mostPixels` are found from the file's kind and header (photofile/image_header.hpp) and count as a problem; so does
/// what cannot be read as an image, or has more pixels than the image library accepts.
///
/// For front ends: while it runs, the process's standard error is sorted (photofile/decoder_remarks.hpp), because the
/// format libraries print there themselves. One call at a time, unless a `RemarkSorter` is at work already.
/// @param colors  if it is not null, asked whether the numbers are to be converted; `bgr` is then CV_32FC3 whatever
///                `values` says
/// @throws MachineFailure
PhotographRead readPhotograph(const std::string& path, PhotographValues values = PhotographValues::bytes,
                              std::uint64_t mostPixels = usualMostPixels, ColorReading* colors = nullptr);

/// Two files, each as `readPhotograph` reads it, decoded at the same time on two threads. Where the first cannot be read,
/// a failure of the machine with the second is not told.
/// @param firstColors, secondColors  two objects, or null: then nothing is said of an alpha channel
std::pair<PhotographRead, PhotographRead> readPhotographPair(const std::string& first, const std::string& second,
                                                             PhotographValues values = PhotographValues::bytes,
                                                             std::uint64_t mostPixels = usualMostPixels,
                                                             ColorReading* firstColors = nullptr,
                                                             ColorReading* secondColors = nullptr);

/// What `readPhotograph` does, with remarks only where a `RemarkSorter` is at work, of which the remarks are
/// `RemarkCollector::lines()`. Safe to call from several threads.
/// @param room  a photograph that was read before and is not needed any more: one of the same size takes over its memory
PhotographRead readPhotographAmongOthers(const std::string& path, PhotographValues values, std::uint64_t mostPixels,
                                         ColorReading* colors = nullptr, cv::Mat room = {});

}  // namespace likeness

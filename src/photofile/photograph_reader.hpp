#pragma once

#include "codecs/image_codecs.hpp"
#include "files/file_access.hpp"
#include "photofile/color_statement.hpp"
#include "photofile/image_header.hpp"
#include "photofile/opened_file.hpp"

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
    bytes,          ///< 16-bit values are reduced to 8 bits; floats are rounded to whole numbers and limited to 0..255.
                    ///< Of formats that a module reads, floats and linear values are encoded, and 1 is 255
    bytesOrFloats,  ///< 8-bit values and floats are kept; 16-bit values become floats 0..1
    stored,         ///< 8-bit and 16-bit values and floats are kept
    grey,           ///< the same, as grey
};

/// A photograph from a file, with what the image reader had to say about it.
///
/// Colour is in the order B, G, R; alpha is dropped, grey is spread to three channels, an EXIF orientation is applied.
/// Kept floats are taken as they are where nobody asks for colours; but those of a Radiance file (.hdr) are encoded with
/// the curve of sRGB.
struct PhotographRead {
    cv::Mat bgr;                       ///< CV_8UC3, CV_16UC3 or CV_32FC3, for grey with one channel; empty if there is
                                       ///< a problem
    std::vector<std::string> remarks;  ///< lines of the format libraries, such as "Premature end of JPEG file", and
                                       ///< what reading has left out or assumed
    std::string problem;  ///< what follows "cannot read 'PATH'", such as ": it is empty"; empty if it was read
    cv::Size rowsOf;      ///< of the photograph whose rows were handed on in place of `bgr`; empty if it has an image
    int bits = 0;         ///< of a channel in the file; 0 if not known
    bool floats = false;  ///< whether the file holds floats
    bool linear = false;  ///< whether its values are linear

    /// Whether there are pixels, or their rows were handed on.
    bool isRead() const { return !bgr.empty() || !rowsOf.empty(); }
    cv::Size size() const { return bgr.empty() ? rowsOf : bgr.size(); }
};

/// What makes sRGB of the numbers of a file that has them in another encoding (photofile/managed_colors.hpp). One object
/// for each file.
class ColorReading {
public:
    virtual ~ColorReading() = default;

    /// Which picture of the file is taken.
    virtual const PhotographSelection& selection() const noexcept = 0;

    /// Looks at the file before it is decoded. It may be called again, after a failure of the machine.
    /// @return  whether the decoded numbers are to be converted
    virtual bool inspect(const ByteSource& source, const ImageHeader& header) = 0;

    /// The same of a file that a module has read.
    /// @param linear  whether its values are linear
    /// @param floats  whether they are floats
    virtual bool take(ColorStatement statement, bool linear, bool floats) = 0;

    /// @param stored  CV_8UC3, CV_16UC3 or CV_32FC3, B, G, R, as the file holds it
    /// @return        CV_32FC3 of the same size, in the encoding of sRGB
    virtual cv::Mat converted(const cv::Mat& stored) = 0;
};

/// Reads a file. Before anything is decoded, what is no regular file and an image of more than `mostPixels` are found
/// from the file's kind and header (photofile/image_header.hpp) and count as a problem; so does what cannot be read as an
/// image, or has more pixels than its library accepts.
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
/// @param firstRows, secondRows      as for `readPhotographAmongOthers`
/// @param firstColors, secondColors  two objects, or null: then nothing is said of an alpha channel
std::pair<PhotographRead, PhotographRead> readPhotographPair(
    const std::string& first, const std::string& second, PhotographValues values = PhotographValues::bytes,
    std::uint64_t mostPixels = usualMostPixels, ColorReading* firstColors = nullptr,
    ColorReading* secondColors = nullptr, RowReceiver* firstRows = nullptr, RowReceiver* secondRows = nullptr);

/// What `readPhotograph` does, with remarks only where a `RemarkSorter` is at work, of which the remarks are
/// `RemarkCollector::lines()`. Safe to call from several threads.
/// @param room  a photograph that was read before and is not needed any more: one of the same size takes over its memory
/// @param rows  if it is not null, may be handed the rows of a photograph that would be an image of bytes, and of one
///              whose bytes are converted if it converts (codecs/image_codecs.hpp): then `rowsOf` is its size and there
///              is no image
PhotographRead readPhotographAmongOthers(const std::string& path, PhotographValues values, std::uint64_t mostPixels,
                                         ColorReading* colors = nullptr, cv::Mat room = {},
                                         RowReceiver* rows = nullptr);

}  // namespace likeness

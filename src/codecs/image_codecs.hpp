/// @file
/// Every image that is read from a file or written to one passes here. Plain JPEG and PNG files are read and written
/// directly; everything else by the image library's readers and writers, which are loaded when something first needs
/// them (modules/imgcodecs.hpp). Which way a file takes shows in nothing: values, sizes, orientation, what is refused,
/// what is printed, and the bytes that are written are those of `cv::imread` and `cv::imencode`.
///
/// All throw ModuleProblem if the module is needed and cannot be loaded.
#pragma once

#include <likeness/export.hpp>

#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace likeness {

/// What `cv::imread` makes of a file; empty if it cannot be read as an image. Safe to call from several threads.
/// @param flags  cv::ImreadModes
/// @param room   an image whose memory the result takes over if it is of the same size and type, which spares fresh
///               pages; nobody else may hold it. Whatever it was, its content is lost
/// @throws cv::Exception  as `cv::imread` does: there is no memory, or the image is beyond the image library's limits
LIKENESS_API cv::Mat decodedFile(const std::string& path, int flags, cv::Mat room = {});

/// Takes a colour image in pieces of a few rows while it is decoded: they are still in the processor's cache then, and the
/// whole image need not be kept.
class RowReceiver {
public:
    virtual ~RowReceiver() = default;

    /// A decoding begins. It may not be the first one: what was taken before does not count.
    virtual void begin(cv::Size size) = 0;

    /// @param rows  CV_8UC3, B, G, R; the next ones, valid during the call. In the file's order and direction: an Exif
    ///              orientation is not applied
    virtual void take(const cv::Mat& rows) = 0;

    /// Whether it takes the rows of a photograph whose numbers are to be put into another encoding: `convert` is called
    /// behind the last of them then.
    virtual bool converts() const { return false; }

    /// @param conversion  of CV_8UC3 to CV_32FC3 of the same size, each pixel by itself; valid during the call
    virtual void convert(const std::function<cv::Mat(const cv::Mat&)>& /*conversion*/) {}
};

/// Hands on the rows of a file as `decodedFile` would read it with cv::IMREAD_COLOR. So far of JPEG files alone, of which
/// the reading without complaints is cheap to try.
/// @return  the size of the upright image; nothing if the file is to be read by `decodedFile`: what was handed on does not
///          count then
/// @throws what the receiver throws; std::bad_alloc
LIKENESS_API std::optional<cv::Size> decodeRows(const std::string& path, RowReceiver& receiver);

/// What `cv::imdecode` makes of the bytes of a file; none raise cv::Exception.
LIKENESS_API cv::Mat decodedBytes(const std::vector<uchar>& bytes, int flags);

/// Beside cv::ImwriteFlags: how many pixels of a JPEG share a value of chroma, 444, 422 or 420, which is usual.
inline constexpr int jpegSubsampling = 0x10000;

/// What `cv::imencode` does.
/// @param extension   with its dot
/// @param parameters  cv::ImwriteFlags, each followed by its value
/// @return            whether the image was encoded
/// @throws cv::Exception  as `cv::imencode` does: no such format, or not for this image
LIKENESS_API bool encodeImage(const std::string& extension, const cv::Mat& image, std::vector<uchar>& bytes,
                              const std::vector<int>& parameters = {});

}  // namespace likeness

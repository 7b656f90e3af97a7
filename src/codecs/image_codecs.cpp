#include "codecs/image_codecs.hpp"

#include "codecs/jpeg_codec.hpp"
#include "codecs/png_codec.hpp"
#include "modules/imgcodecs.hpp"
#include "modules/module_loader.hpp"

#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>

namespace likeness {
namespace {

struct CloseFile {
    void operator()(std::FILE* file) const noexcept { std::fclose(file); }
};

bool beginsWith(const unsigned char* bytes, std::size_t count, std::string_view signature) {
    return count >= signature.size() &&
           std::equal(signature.begin(), signature.end(), bytes,
                      [](char expected, unsigned char byte) { return static_cast<unsigned char>(expected) == byte; });
}

cv::Mat decodedDirectly(std::FILE* file, int flags, cv::Mat room) {
    std::array<unsigned char, 8> beginning{};
    const std::size_t count = std::fread(beginning.data(), 1, beginning.size(), file);
    std::rewind(file);
    if (beginsWith(beginning.data(), count, "\xFF\xD8\xFF")) {
        return decodedJpeg(file, flags, std::move(room));
    }
    if (beginsWith(beginning.data(), count, "\x89PNG\r\n\x1A\n")) {
        return decodedPng(file, flags, std::move(room));
    }
    return {};
}

/// The quality of a JPEG file, if the parameters ask for nothing else.
std::optional<int> qualityAsked(const std::vector<int>& parameters) {
    constexpr int usualQuality = 95;
    if (parameters.empty()) {
        return usualQuality;
    }
    return parameters.size() == 2 && parameters[0] == cv::IMWRITE_JPEG_QUALITY ? std::optional<int>(parameters[1])
                                                                               : std::nullopt;
}

bool encodedDirectly(const std::string& extension, const cv::Mat& image, std::vector<uchar>& bytes,
                     const std::vector<int>& parameters) {
    if (extension == ".jpg" || extension == ".jpeg") {
        if (parameters.size() == 4 && parameters[0] == cv::IMWRITE_JPEG_QUALITY && parameters[2] == jpegSubsampling) {
            return encodeJpeg(image, parameters[1], bytes,
                              {parameters[3] == 444 ? 1 : 2, parameters[3] == 420 ? 2 : 1});
        }
        const std::optional<int> quality = qualityAsked(parameters);
        return quality && encodeJpeg(image, *quality, bytes);
    }
    return extension == ".png" && parameters.empty() && encodePng(image, bytes);
}

}  // namespace

cv::Mat decodedFile(const std::string& path, int flags, cv::Mat room) {
    {
        const std::unique_ptr<std::FILE, CloseFile> file(std::fopen(path.c_str(), "rbe"));
        if (file != nullptr) {
            cv::Mat image = decodedDirectly(file.get(), flags, std::move(room));
            if (!image.empty()) {
                return image;
            }
        }
    }
    cv::Mat image;
    reinterpret_cast<ImreadEntry>(moduleEntry("imgcodecs", "likeness_imread"))(path, flags, image);
    return image;
}

std::optional<cv::Size> decodeRows(const std::string& path, RowReceiver& receiver) {
    const std::unique_ptr<std::FILE, CloseFile> file(std::fopen(path.c_str(), "rbe"));
    return file == nullptr ? std::nullopt : decodeJpegRows(file.get(), receiver);
}

cv::Mat decodedBytes(const std::vector<uchar>& bytes, int flags) {
    if (!bytes.empty()) {
        const std::unique_ptr<std::FILE, CloseFile> file(
            ::fmemopen(const_cast<uchar*>(bytes.data()), bytes.size(), "rb"));
        if (file != nullptr) {
            cv::Mat image = decodedDirectly(file.get(), flags, {});
            if (!image.empty()) {
                return image;
            }
        }
    }
    cv::Mat image;
    reinterpret_cast<ImdecodeEntry>(moduleEntry("imgcodecs", "likeness_imdecode"))(bytes, flags, image);
    return image;
}

bool encodeImage(const std::string& extension, const cv::Mat& image, std::vector<uchar>& bytes,
                 const std::vector<int>& parameters) {
    if (encodedDirectly(extension, image, bytes, parameters)) {
        return true;
    }
    const auto encode = reinterpret_cast<ImencodeEntry>(moduleEntry("imgcodecs", "likeness_imencode"));
    return encode(extension, image, bytes, parameters);
}

}  // namespace likeness

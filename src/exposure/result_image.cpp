#include "exposure/result_image.hpp"

#include "codecs/image_codecs.hpp"
#include "diagnostics/output_file.hpp"

#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

namespace likeness {
namespace {

/// The last dot of the file's name and what follows it. Unlike the standard library's, also of a name that begins with
/// its only dot: a prefix that ends in "/" gives such names.
std::string extensionOf(const std::string& path) {
    const std::string name = std::filesystem::path(path).filename().string();
    const std::size_t dot = name.rfind('.');
    return dot == std::string::npos ? std::string() : name.substr(dot);
}

}  // namespace

void writeResultImage(const std::string& path, const cv::Mat& image) {
    std::vector<uchar> bytes;
    encodeImage(extensionOf(path), image, bytes);
    const std::string unfinished = path + ".part";
    OutputFile file(unfinished);
    file.write({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
    std::error_code ignored;
    if (file.close()) {
        std::filesystem::rename(unfinished, path, ignored);
    } else {
        std::filesystem::remove(unfinished, ignored);
    }
}

}  // namespace likeness

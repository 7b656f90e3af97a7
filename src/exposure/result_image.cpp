#include "exposure/result_image.hpp"

#include "diagnostics/output_file.hpp"

#include <opencv2/imgcodecs.hpp>

#include <filesystem>
#include <system_error>
#include <vector>

namespace likeness {

void writeResultImage(const std::string& path, const cv::Mat& image) {
    std::vector<uchar> bytes;
    cv::imencode(std::filesystem::path(path).extension().string(), image, bytes);
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

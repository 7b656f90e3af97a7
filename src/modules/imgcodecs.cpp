// The module `imgcodecs`.
#include "modules/imgcodecs.hpp"

#include "modules/module_entry.hpp"

#include <opencv2/imgcodecs.hpp>

LIKENESS_MODULE_ENTRY void likeness_imread(const std::string& path, int flags, cv::Mat& image) {
    image = cv::imread(path, flags);
}

LIKENESS_MODULE_ENTRY void likeness_imdecode(const std::vector<uchar>& bytes, int flags, cv::Mat& image) {
    image = cv::imdecode(bytes, flags);
}

LIKENESS_MODULE_ENTRY bool likeness_imencode(const std::string& extension, const cv::Mat& image,
                                             std::vector<uchar>& bytes, const std::vector<int>& parameters) {
    return cv::imencode(extension, image, bytes, parameters);
}

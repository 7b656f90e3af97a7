// The command `likeness FIRST SECOND`.
#include <exception>
#include <iostream>
#include <opencv2/core/utils/logger.hpp>
#include <opencv2/imgcodecs.hpp>
#include <string>

#include "app/metrics.hpp"
#include "diagnostics/diagnostics.hpp"

namespace {

enum ExitStatus : int {
    compared = 0,
    unreadablePhotograph = 2,
    failed = 3,
    wrongArgumentCount = -1,  // a shell shows 255
};

void complain(const std::string& text) { std::cerr << "likeness: " + text + '\n'; }

/// Reads a photograph as B, G, R of 8 bits, turned as its EXIF orientation says; empty if it is not an image.
cv::Mat readPhotograph(const std::string& path) {
    try {
        return cv::imread(path, cv::IMREAD_COLOR);
    } catch (const cv::Exception&) {
        return {};  // a damaged file, or one of more pixels than the reader accepts
    }
}

int compare(const char* firstPath, const char* secondPath) {
    cv::Mat photographs[2];
    const char* const paths[2] = {firstPath, secondPath};
    for (int i = 0; i < 2; ++i) {
        photographs[i] = readPhotograph(paths[i]);
        if (photographs[i].empty()) {
            complain("cannot read '" + std::string(paths[i]) + "' as an image");
            return unreadablePhotograph;
        }
    }
    const likeness::DirectoryDiagnostics dumps{std::string()};
    likeness::metrics(photographs[0], photographs[1], dumps);
    for (const std::string& name : dumps.failures()) {
        complain("warning: cannot write '" + name + "'");
    }
    if (!std::cout) {
        complain("cannot write to standard output");
        return failed;
    }
    return compared;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        return wrongArgumentCount;
    }
    // The reader's own log would come before the one line that names the file.
    cv::utils::logging::setLogLevel(cv::utils::logging::LOG_LEVEL_SILENT);
    try {
        return compare(argv[1], argv[2]);
    } catch (const std::exception& error) {
        complain(error.what());
        return failed;
    }
}

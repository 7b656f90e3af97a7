#include "app/photograph_reader.hpp"

#include <unistd.h>

#include <cstdio>
#include <memory>
#include <opencv2/core/utils/logger.hpp>
#include <opencv2/imgcodecs.hpp>
#include <sstream>

#include "app/beside.hpp"

namespace likeness {
namespace {

/// Takes what is written to standard error from construction to `release()`.
class StandardErrorCapture {
public:
    StandardErrorCapture() : file_(std::tmpfile(), &std::fclose) {
        std::fflush(stderr);
        if (file_ != nullptr) {
            previous_ = ::dup(STDERR_FILENO);
            ::dup2(::fileno(file_.get()), STDERR_FILENO);
        }
    }
    ~StandardErrorCapture() { restore(); }
    StandardErrorCapture(const StandardErrorCapture&) = delete;
    StandardErrorCapture& operator=(const StandardErrorCapture&) = delete;

    /// Gives standard error back and returns the lines that were taken.
    std::vector<std::string> release() {
        restore();
        std::vector<std::string> lines;
        if (file_ != nullptr) {
            std::rewind(file_.get());
            std::string text;
            char buffer[512];
            for (std::size_t n = 0; (n = std::fread(buffer, 1, sizeof buffer, file_.get())) > 0;) {
                text.append(buffer, n);
            }
            std::istringstream stream(text);
            for (std::string line; std::getline(stream, line);) {
                lines.push_back(line);
            }
        }
        return lines;
    }

private:
    void restore() {
        if (previous_ >= 0) {
            std::fflush(stderr);
            ::dup2(previous_, STDERR_FILENO);
            ::close(previous_);
            previous_ = -1;
        }
    }

    std::unique_ptr<std::FILE, int (*)(std::FILE*)> file_;
    int previous_ = -1;
};

/// The image library's own log line about a missing file would say less than its caller does.
void silenceImageLibrary() {
    cv::utils::logging::setLogLevel(cv::utils::logging::LOG_LEVEL_SILENT);
}

/// @return  empty if the file cannot be read as an image
cv::Mat decoded(const std::string& path, int flags) {
    try {
        return cv::imread(path, flags);
    } catch (const cv::Exception&) {
        return {};
    }
}

}  // namespace

PhotographRead readPhotograph(const std::string& path) {
    return readPhotograph(path, cv::IMREAD_COLOR);
}

PhotographRead readPhotograph(const std::string& path, int flags) {
    silenceImageLibrary();
    StandardErrorCapture capture;
    PhotographRead result;
    result.bgr = decoded(path, flags);
    result.remarks = capture.release();
    return result;
}

std::pair<PhotographRead, PhotographRead> readPhotographPair(const std::string& first, const std::string& second,
                                                             int flags) {
    silenceImageLibrary();
    PhotographRead firstRead;
    PhotographRead secondRead;
    StandardErrorCapture capture;
    {
        auto reading = beside([&] { return decoded(second, flags); });
        firstRead.bgr = decoded(first, flags);
        secondRead.bgr = reading.get();
    }
    if (!capture.release().empty()) {
        return {readPhotograph(first, flags), readPhotograph(second, flags)};
    }
    return {std::move(firstRead), std::move(secondRead)};
}

}  // namespace likeness

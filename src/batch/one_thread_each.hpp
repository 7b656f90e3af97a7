// Runs of many photographs, which are what runs at the same time.
#pragma once

#include <likeness/threads.hpp>

#include <opencv2/core/utility.hpp>
#include <opencv2/core/utils/logger.hpp>

namespace likeness {

/// As long as it lives, an operation has one thread, and the image library says nothing.
class OneThreadEach {
public:
    OneThreadEach() {
        setThreads(1);
        cv::setNumThreads(1);
        cv::utils::logging::setLogLevel(cv::utils::logging::LOG_LEVEL_SILENT);
    }
    ~OneThreadEach() {
        setThreads(threads_);
        cv::setNumThreads(imageLibraryThreads_);
        cv::utils::logging::setLogLevel(level_);
    }
    OneThreadEach(const OneThreadEach&) = delete;
    OneThreadEach& operator=(const OneThreadEach&) = delete;

private:
    int threads_ = threads();
    int imageLibraryThreads_ = cv::getNumThreads();
    cv::utils::logging::LogLevel level_ = cv::utils::logging::getLogLevel();
};

}  // namespace likeness

// What every operation that returns its results is held to.
#pragma once

#include <likeness/diagnostics/watch.hpp>
#include "support/mat_matchers.hpp"
#include "support/scratch_directory.hpp"

#include <gtest/gtest.h>
#include <opencv2/core.hpp>

#include <filesystem>
#include <limits>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace likeness::testing {

/// Calls `call(image)` and expects `image` as it was, nothing printed, nothing in the working directory.
/// @return  what the call returned
template <typename Call>
auto quietly(const cv::Mat& image, Call call) {
    const cv::Mat before = image.clone();
    const ScratchDirectory scratch;
    ::testing::internal::CaptureStdout();
    auto result = call(image);
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
    EXPECT_TRUE(std::filesystem::is_empty(scratch.path()));
    EXPECT_MAT_EQUAL(image, before);
    return result;
}

/// Expects std::invalid_argument with a text that begins with the argument's name and has `words` in it.
template <typename Call>
void expectRefusal(const std::string& name, const std::string& words, Call call) {
    try {
        call();
        ADD_FAILURE() << "no exception about " << name << " with '" << words << "'";
    } catch (const std::invalid_argument& error) {
        const std::string text = error.what();
        EXPECT_EQ(text.rfind(name + ": ", 0), 0U) << text;
        EXPECT_NE(text.find(words), std::string::npos) << text;
    }
}

/// Calls `call(watch)` to the end, and then once for each step, which ends it; expects the steps to be counted one by
/// one up to the total, and `Cancelled` and no further step after each end.
/// @return  the number of steps
template <typename Call>
int expectSteps(Call call) {
    std::vector<std::pair<int, int>> steps;
    Watch watch;
    watch.progress = [&steps](int done, int total) {
        steps.emplace_back(done, total);
        return true;
    };
    call(watch);
    const int total = static_cast<int>(steps.size());
    EXPECT_GT(total, 0);
    for (int k = 0; k < total; ++k) {
        EXPECT_EQ(steps[static_cast<std::size_t>(k)], std::make_pair(k + 1, total));
    }
    for (int last = 1; last <= total; ++last) {
        int heard = 0;
        watch.progress = [&heard, last](int done, int /*total*/) {
            heard = done;
            return done < last;
        };
        EXPECT_THROW(call(watch), Cancelled) << last;
        EXPECT_EQ(heard, last);
        watch.progress = [last](int done, int /*total*/) {
            if (done == last) {
                throw std::out_of_range("the caller's own");
            }
            return true;
        };
        EXPECT_THROW(call(watch), std::out_of_range) << last;
    }
    return total;
}

/// The image with one value that is no number.
inline cv::Mat withNaN(const cv::Mat& image) {
    cv::Mat result = image.clone();
    result.ptr<float>(result.rows - 1)[1] = std::numeric_limits<float>::quiet_NaN();
    return result;
}

/// Expects a refusal of three dimensions, of each depth that photographs have.
template <typename Call>
void expectCubesRefused(const std::string& name, const cv::Mat& valid, Call call) {
    for (const int type : {CV_8UC3, CV_16UC3, CV_32FC3, CV_64FC3}) {
        SCOPED_TRACE(cv::typeToString(type));
        const std::vector<int> sizes{valid.rows, valid.cols, 2};
        expectRefusal(name, "3 dimensions", [&] { call(cv::Mat(sizes, type, cv::Scalar::all(0))); });
    }
}

/// The refusals that all photographs meet: of another type, of three dimensions, with NaN.
template <typename Call>
void expectPhotographChecked(const std::string& name, const cv::Mat& valid, Call call) {
    expectRefusal(name, "not CV_8UC1", [&] { call(cv::Mat(valid.size(), CV_8UC1, cv::Scalar(1))); });
    expectRefusal(name, "not CV_8UC4", [&] { call(cv::Mat(valid.size(), CV_8UC4, cv::Scalar(1))); });
    expectCubesRefused(name, valid, call);
    expectRefusal(name, "is nan", [&] { call(withNaN(valid)); });
}

}  // namespace likeness::testing

// Colour profiles.
#include "harness.hpp"
#include "photofile/color_profile.hpp"

#include <cmath>
#include <cstring>
#include <limits>

using namespace likeness;
using namespace likeness::fuzz;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    ColorProfile::Shared profile;
    try {
        profile = ColorProfile::ofIcc(std::vector<unsigned char>(data, data + size));
    } catch (const ProfileProblem& problem) {
        require(*problem.what() != '\0', "a problem says what it is");
        return 0;
    }
    require(profile->description().size() <= 80, "a description is short");
    for (const char c : profile->description()) {
        require(c >= ' ' && c <= '~', "a description is printable");
    }
    cv::Mat colors(1, 8, CV_32FC3);
    for (int x = 0; x < colors.cols; ++x) {
        const auto value = static_cast<float>(x) / 6;
        colors.at<cv::Vec3f>(x) = {value, 1 - value, value / 2};
    }
    colors.at<cv::Vec3f>(7)[0] = std::numeric_limits<float>::quiet_NaN();
    const cv::Mat srgb = profile->srgbFrom(colors);
    require(srgb.type() == CV_32FC3 && srgb.size() == colors.size(), "colours keep their shape");
    const cv::Mat again = profile->srgbFrom(colors);
    require(std::memcmp(srgb.data, again.data, srgb.total() * srgb.elemSize()) == 0,
            "colours that are converted twice are the same");
    require(std::isnan(srgb.at<cv::Vec3f>(7)[0]), "what is no number stays none");
    try {
        profile->fromSrgb(srgb);
    } catch (const ProfileProblem&) {
    }
    return 0;
}

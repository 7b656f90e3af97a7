#include "darkroom/batch/parameters.hpp"

#include <fmt/format.h>
#include <sys/utsname.h>

#include <opencv2/core.hpp>

#include "appearance/viewing_conditions.hpp"
#include "darkroom/batch/result_record.hpp"
#include "darkroom/batch/stable_hash.hpp"
#include "darkroom/number_format.hpp"

namespace likeness::darkroom {

std::string comparisonParameters() {
    ::utsname system{};
    ::uname(&system);
    const auto number = [](float value) { return nineDigits(static_cast<double>(value)); };
    return fmt::format(
        "schema={};photographs=bgr8,floats,exif-orientation;adapting-luminance={};white-luminance={};background-of-1-pixel={};"
        "surround-impact={};surround-induction={};bins=all;image-library={};architecture={}",
        resultSchema, number(adaptingLuminance), number(whiteLuminance),
        number(backgroundOfUniformWhite(1, whiteLuminance)), number(darkSurroundImpact), number(darkSurroundInduction),
        cv::getVersionString(), system.machine);
}

std::string parameterFingerprint() {
    return fmt::format("{:016x}", fnv1a(comparisonParameters()));
}

}  // namespace likeness::darkroom

#include "batch/parameters.hpp"

#include <likeness/appearance/viewing_conditions.hpp>
#include "batch/result_record.hpp"
#include "batch/stable_hash.hpp"
#include "files/number_format.hpp"

#include <fmt/format.h>
#include <opencv2/core.hpp>

#include <sys/utsname.h>

namespace likeness {

std::string comparisonParameters(const ProfileChoice& profiles) {
    ::utsname system{};
    ::uname(&system);
    const auto number = [](float value) { return nineDigits(static_cast<double>(value)); };
    std::string colors;
    if (profiles.assumed != nullptr) {
        const std::vector<unsigned char>& icc = profiles.assumed->icc();
        colors += fmt::format(";assumed-profile={},{:016x}", profiles.assumed->description(),
                              fnv1a({reinterpret_cast<const char*>(icc.data()), icc.size()}));
    }
    if (profiles.ignore) {
        colors += ";profiles=ignored";
    }
    return fmt::format(
               "schema={};photographs=bgr8,floats,exif-orientation;adapting-luminance={};white-luminance={};background-"
               "of-1-"
               "pixel={};"
               "surround-impact={};surround-induction={};bins=all;image-library={};architecture={}",
               resultSchema, number(adaptingLuminance), number(whiteLuminance),
               number(backgroundOfUniformWhite(1, whiteLuminance)), number(darkSurroundImpact),
               number(darkSurroundInduction), cv::getVersionString(), system.machine) +
           colors;
}

std::string parameterFingerprint(const ProfileChoice& profiles) {
    return fmt::format("{:016x}", fnv1a(comparisonParameters(profiles)));
}

}  // namespace likeness

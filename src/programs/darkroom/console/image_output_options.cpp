#include "console/image_output_options.hpp"

#include "console/option_checks.hpp"
#include "files/refusal.hpp"
#include "photofile/managed_colors.hpp"

#include <fmt/format.h>

#include <string>

namespace likeness::darkroom {
namespace {

void checkOutputProfile(const ImageOutput& output, ImageFormat format) {
    const ColorProfile::Shared profile = profileAsked("--output-profile", output.profile);
    if (format == ImageFormat::hdr && !profile->isSrgb()) {
        throw Refusal("--output-profile: a .hdr has no profile, and '" + output.path + "' is one");
    }
    try {
        profile->fromSrgb(cv::Mat(1, 1, CV_32FC3, cv::Scalar::all(0)));
    } catch (const ProfileProblem& problem) {
        throw Refusal("--output-profile: the profile" + std::string(problem.what()));
    }
}

}  // namespace

void addImageOutput(CLI::App& app, ImageOutput& output, bool required) {
    app.add_option("-o,--output", output.path,
                   optionText("Result image; the extension gives the format: .png (8 or 16 bits), .jpg, .tif (32-bit "
                              "float, values as they are), .hdr (Radiance, linear)",
                              "--output result.png"))
        ->type_name("FILE")
        ->required(required);
    app.add_option("--quality", output.quality, optionText("Quality of a JPEG, 0 to 100", "--quality 90"))
        ->type_name("N")
        ->check(integerBetween(0, 100))
        ->default_str(std::to_string(usualQuality));
    app.add_option("--bits", output.bits, optionText("Bits per channel of a PNG, 8 or 16", "--bits 16"))
        ->type_name("{8,16}")
        ->check(oneOf({"8", "16"}))
        ->capture_default_str();
}

void addOutputProfile(CLI::App& app, ImageOutput& output) {
    app.add_option(
           "--output-profile", output.profile,
           optionText("Colour profile that the result is converted to and carries in place of sRGB: the file of "
                      "an ICC profile, or srgb, display-p3, adobe-rgb, prophoto",
                      "--output-profile display-p3"))
        ->type_name("PROFILE");
}

void checkImageFormat(const ImageOutput& output) {
    const ImageFormat format = imageFormatOf(output.path);
    if (format == ImageFormat::unknown) {
        throw Refusal(output.option + ": '" + output.path +
                      "' has none of the extensions .png, .jpg, .jpeg, .tif, .tiff, .hdr");
    }
    if (output.bits != 8 && format != ImageFormat::png) {
        throw Refusal("--bits: only a PNG has 16 bits, and '" + output.path + "' is none");
    }
    if (output.quality && format != ImageFormat::jpeg) {
        throw Refusal("--quality: only a JPEG has a quality, and '" + output.path + "' is none");
    }
    if (!output.profile.empty()) {
        checkOutputProfile(output, format);
    }
}

void checkImageOutput(const ImageOutput& output, OutputPlan& plan) {
    checkImageFormat(output);
    plan.mayRead(output.profile);
    plan.file(output.option, output.path);
}

void checkPictureOutput(const ImageOutput& output, OutputPlan& plan, FloatsToo floatsToo) {
    const ImageFormat format = imageFormatOf(output.path);
    const bool asFloats = floatsToo == FloatsToo::yes;
    if (format != ImageFormat::png && format != ImageFormat::jpeg && !(asFloats && format == ImageFormat::tiff)) {
        throw Refusal(fmt::format("{}: '{}' has none of the extensions .png, .jpg, .jpeg{}", output.option, output.path,
                                  asFloats ? ", .tif, .tiff" : ""));
    }
    plan.file(output.option, output.path);
}

}  // namespace likeness::darkroom

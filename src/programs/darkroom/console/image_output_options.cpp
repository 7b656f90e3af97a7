#include "console/image_output_options.hpp"

#include "console/option_checks.hpp"
#include "files/refusal.hpp"
#include "modules/photograph_encoder.hpp"
#include "photofile/managed_colors.hpp"

#include <fmt/format.h>

#include <string>

namespace likeness::darkroom {
namespace {

void checkOutputProfile(const ImageOutput& output, ImageFormat format) {
    const ColorProfile::Shared profile = profileAsked("--output-profile", output.profile);
    const char* const without = format == ImageFormat::hdr ? ".hdr" : format == ImageFormat::exr ? ".exr" : nullptr;
    if (without != nullptr && !profile->isSrgb()) {
        throw Refusal(fmt::format("--output-profile: a {} gets no profile, and '{}' is one", without, output.path));
    }
    try {
        profile->fromSrgb(cv::Mat(1, 1, CV_32FC3, cv::Scalar::all(0)));
    } catch (const ProfileProblem& problem) {
        throw Refusal("--output-profile: the profile" + std::string(problem.what()));
    }
}

void checkDepth(const ImageOutput& output, ImageFormat format) {
    if (output.depth && !hasDepth(format, *output.depth)) {
        throw Refusal("--depth: the format of '" + output.path + "' does not have this depth");
    }
}

}  // namespace

void addImageOutput(OptionParser& app, ImageOutput& output, bool required) {
    app.addOption("-o,--output", output.path,
                  optionText("Result image; the extension gives the format: .png (8 or 16 bits), .jpg, .tif (8 or 16 "
                             "bits, or floats as they are), .hdr (Radiance, linear), .exr (OpenEXR, linear), .webp, "
                             ".avif, .jxl",
                             "--output result.png"))
        ->typeName("FILE")
        ->required(required);
    app.addOption("--quality", output.quality,
                  optionText("Quality of a JPEG, WebP, AVIF or JPEG XL, 0 to 100; 100 of JPEG XL is without loss",
                             "--quality 90"))
        ->typeName("N")
        ->check(integerBetween(0, 100))
        ->defaultText(fmt::format("{}, of AVIF and JPEG XL {}", usualQuality, EncodingRequest().quality));
    app.addOption("--subsampling", output.subsampling,
                  optionText("Whether pixels of a JPEG share values of chroma: 444 none, 422 two, 420 four",
                             "--subsampling 444"))
        ->typeName("{444,422,420}")
        ->check(oneOf({"444", "422", "420"}));
    auto* const bits =
        app.addOption("--bits", output.bits, optionText("Bits per channel of a PNG, 8 or 16", "--bits 16"))
            ->typeName("{8,16}")
            ->check(oneOf({"8", "16"}));
    app.addOption(
           "--depth",
           [&output](const std::string& text) {
               output.depth = text == "8"      ? StoredDepth::bytes
                              : text == "10"   ? StoredDepth::tenBits
                              : text == "12"   ? StoredDepth::twelveBits
                              : text == "16"   ? StoredDepth::words
                              : text == "half" ? StoredDepth::halves
                                               : StoredDepth::floats;
           },
           optionText(
               "Bits of a channel: 8 or 16 of PNG, TIFF and JPEG XL, 8, 10 or 12 of AVIF, float of TIFF, half or "
               "float of OpenEXR. Without it a TIFF has those of the photograph, or floats, an OpenEXR file halves, or "
               "floats of 32 bits, of a photograph with more than 8 bits PNG and JPEG XL 16 and AVIF 10 or 12, and "
               "the others 8",
               "--depth 16"))
        ->typeName("{8,10,12,16,half,float}")
        ->check(oneOf({"8", "10", "12", "16", "half", "float"}))
        ->excludes(bits);
    app.addFlag("--strip", output.strip,
                optionText("Leave out the Exif, XMP and IPTC data of the photograph", "--strip"));
}

void addOutputProfile(OptionParser& app, ImageOutput& output) {
    app.addOption("--output-profile", output.profile,
                  optionText("Colour profile that the result is converted to and carries in place of sRGB: the file of "
                             "an ICC profile, or srgb, display-p3, adobe-rgb, prophoto",
                             "--output-profile display-p3"))
        ->typeName("PROFILE");
}

void checkImageFormat(const ImageOutput& output) {
    const ImageFormat format = imageFormatOf(output.path);
    if (format == ImageFormat::unknown) {
        throw Refusal(output.option + ": '" + output.path +
                      "' has none of the extensions .png, .jpg, .jpeg, .tif, .tiff, .hdr, .exr, .webp, .avif, .jxl");
    }
    if (output.bits == 16 && format != ImageFormat::png) {
        throw Refusal("--bits: only a PNG has 16 bits, and '" + output.path + "' is none");
    }
    if (output.quality && !hasQuality(format)) {
        throw Refusal("--quality: only JPEG, WebP, AVIF and JPEG XL have a quality, and '" + output.path +
                      "' is none of them");
    }
    if (!output.subsampling.empty() && format != ImageFormat::jpeg) {
        throw Refusal("--subsampling: only a JPEG has one, and '" + output.path + "' is none");
    }
    checkDepth(output, format);
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

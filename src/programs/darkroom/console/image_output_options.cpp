#include "console/image_output_options.hpp"

#include "console/option_checks.hpp"
#include "files/refusal.hpp"

#include <fmt/format.h>

#include <string>

namespace likeness::darkroom {

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

void checkImageOutput(const ImageOutput& output, OutputPlan& plan) {
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

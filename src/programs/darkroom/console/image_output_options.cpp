#include "console/image_output_options.hpp"

#include "console/option_checks.hpp"

#include <string>

namespace likeness::darkroom {

void addImageOutput(CLI::App& app, ImageOutput& output, bool required) {
    app.add_option("-o,--output", output.path,
                   optionText("Result image; the extension gives the format: .png (8 or 16 bits), .jpg, .tif (32-bit "
                              "float, values as they are), .hdr (Radiance)",
                              "--output result.png"))
        ->type_name("FILE")
        ->required(required);
    app.add_option("--quality", output.quality, optionText("Quality of a JPEG, 0 to 100", "--quality 90"))
        ->type_name("N")
        ->check(integerBetween(0, 100))
        ->default_str(std::to_string(usualQuality));
    app.add_option("--bits", output.bits, optionText("Bits per channel of a PNG, 8 or 16", "--bits 16"))
        ->type_name("{8,16}")
        ->check(CLI::Validator(
            [](std::string& text) {
                return text == "8" || text == "16" ? std::string() : "'" + text + "' is not 8 or 16";
            },
            ""))
        ->capture_default_str();
}

}  // namespace likeness::darkroom

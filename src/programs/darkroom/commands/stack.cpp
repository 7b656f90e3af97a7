// darkroom stack: exposures of a scene made from a flash and a no-flash photograph of it.
#include <likeness/exposure/brightness_increase.hpp>
#include <likeness/exposure/exposure_stack.hpp>
#include "commands/subcommands.hpp"
#include "console/brightness_factor.hpp"
#include "console/image_output_options.hpp"
#include "console/operation_watch.hpp"
#include "console/option_checks.hpp"
#include "console/output_check.hpp"
#include "console/prefix_output.hpp"
#include "console/progress.hpp"
#include "console/response_grid_check.hpp"
#include "files/refusal.hpp"
#include "photofile/image_input.hpp"
#include "photofile/image_output.hpp"

#include <fmt/format.h>

#include <array>
#include <memory>

namespace likeness::darkroom {
namespace {

struct StackArguments {
    std::string flash;
    std::string nonFlash;
    std::string prefix;
    int version = 1;
    float brightness = 11.5F;
    int iterations = 1;
};

std::string tintedEnding(int round, int exposure) {
    return fmt::format("{}_0{}_final.jpg", round, exposure);
}

/// The results but for the tinted photograph of versions 2 and 3.
std::vector<PrefixedResult> resultsOf(const StackArguments& options) {
    std::vector<PrefixedResult> results;
    if (options.version == 1) {
        for (int round = 0; round < options.iterations; ++round) {
            for (int exposure = 0; exposure < brightnessPasses; ++exposure) {
                results.push_back(
                    {tintedEnding(round, exposure),
                     fmt::format("flash photograph tinted to exposure {}, round {}", exposure, round + 1)});
            }
        }
    }
    if (options.version != 3) {
        const std::vector<PrefixedResult> merged = mergedResults();
        results.insert(results.end(), merged.begin(), merged.end());
    }
    return results;
}

/// The flash photograph as the tinting left it; the first version leaves it as it was.
ImageOutput tintedOutput(const StackArguments& options) {
    ImageOutput output;
    output.path = options.prefix + "tinted.png";
    return output;
}

StackOptions stackOptions(const StackArguments& options, const StagedResults& staged) {
    StackOptions stack;
    constexpr std::array versions = {StackVersion::full, StackVersion::tintedFirst, StackVersion::tintOnly};
    stack.version = versions.at(static_cast<std::size_t>(options.version - 1));
    stack.brightness = static_cast<double>(options.brightness);
    stack.iterations = options.iterations;
    stack.exposures = false;
    stack.takeTinted = [&staged](int round, int exposure, const cv::Mat& picture) {
        staged.writePicture(tintedEnding(round, exposure), picture);
    };
    return stack;
}

ExposureStack made(const Console& console, const StackOptions& options, const cv::Mat& flash, const cv::Mat& nonFlash) {
    Progress progress(console, "exposure stack");
    return exposureStack(flash, nonFlash, options, watchOf(console, progress));
}

ExitStatus stack(const Console& console, const StackArguments& options, bool brightnessGiven) {
    const std::vector<PrefixedResult> results = resultsOf(options);
    OutputPlan plan(console, {options.flash, options.nonFlash});
    checkPrefixOutput(options.prefix, results, plan);
    if (options.version != 1) {
        checkImageOutput(tintedOutput(options), plan);
    }
    if (options.version == 3 && brightnessGiven) {
        throw Refusal("--brightness: version 3 makes no exposures");
    }
    if (options.version == 3 && options.iterations == 0) {
        throw Refusal("--iterations: version 3 only tints, and needs at least one round");
    }
    checkBrightnessFactor("--brightness", options.brightness);
    const cv::Mat flash = readBoundedUnitImage(console, options.flash);
    const cv::Mat nonFlash = readBoundedUnitImage(console, options.nonFlash);
    checkSameSize(options.flash, flash, options.nonFlash, nonFlash);
    if (options.version != 3) {
        checkResponseGrid(options.flash, flash.size());
    }

    const StagedResults staged(options.prefix);
    const ExposureStack stack = made(console, stackOptions(options, staged), flash, nonFlash);
    if (!stack.fused.empty()) {
        staged.writeMerged(stack.radiance, stack.toneMapped, stack.fused);
    }
    staged.publish(console, results);
    if (options.version != 1) {
        writePhotograph(console, tintedOutput(options), stack.tinted.front(), "tinted flash photograph");
    }
    return ExitStatus::done;
}

}  // namespace

Action declareStack(OptionParser& app) {
    auto options = std::make_shared<StackArguments>();
    app.addOption("--flash", options->flash, optionText("Photograph with flash", "--flash flash.jpg"))
        ->typeName("FILE")
        ->required();
    app.addOption("--no-flash", options->nonFlash,
                  optionText("Photograph of the same scene and size without flash", "--no-flash ambient.jpg"))
        ->typeName("FILE")
        ->required();
    addPrefixOutput(app, options->prefix,
                    "PREFIX.hdr (radiance), PREFIX.jpg (tone-mapped), PREFIXfusion.jpg (fused); version 1 "
                    "PREFIX<round>_0<exposure>_final.jpg; versions 2 and 3 PREFIXtinted.png")
        ->required();
    app.addOption("--version", options->version,
                  optionText("1: exposures of the no-flash photograph, the flash photograph tinted to each; 2: "
                             "exposures of the tinted flash photograph; 3: tint the flash photograph only",
                             "--version 2"))
        ->typeName("N")
        ->check(integerBetween(1, 3))
        ->showDefault();
    const Option* const brightness =
        app.addOption("--brightness", options->brightness,
                      optionText("Factor of the first of six exposures, above 3.5 and up to 100; each next one has 0.7 "
                                 "less. Below 10 brightens, above 10 darkens",
                                 "--brightness 11.5"))
            ->typeName("F")
            ->check(brightnessFactorRange())
            ->showDefault();
    app.addOption("--iterations", options->iterations,
                  optionText("Rounds of tinting, 0 to 100; in version 3 at least 1", "--iterations 2"))
        ->typeName("N")
        ->check(integerBetween(0, 100))
        ->showDefault();
    return [options, brightness](const Console& console) { return stack(console, *options, brightness->count() > 0); };
}

}  // namespace likeness::darkroom

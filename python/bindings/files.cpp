// Photographs in files: read, analysed and written as the program `darkroom` does.
#include "calls.hpp"
#include "models.hpp"

#include "batch/photograph_analysis.hpp"
#include "codecs/memory_check.hpp"
#include "comparison/photograph_counts.hpp"
#include "diagnostics/step_count.hpp"
#include "files/file_access.hpp"
#include "files/refusal.hpp"
#include "photofile/counted_part.hpp"
#include "photofile/decoder_remarks.hpp"
#include "photofile/image_header.hpp"
#include "photofile/image_output.hpp"
#include "photofile/managed_colors.hpp"
#include "photofile/opened_file.hpp"
#include "photofile/photograph_reader.hpp"

#include <likeness/color/unit_image.hpp>

#include <pybind11/stl.h>

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

namespace likeness::python {
namespace {

namespace py = pybind11;

/// Keeps what is said while files are written.
class KeptWords final : public FileAccess {
public:
    explicit KeptWords(std::uint64_t mostPixels) : mostPixels_(mostPixels) {}

    void tell(std::string_view /*line*/) const override {}
    void warn(std::string_view line) const override { warnings_.emplace_back(line); }
    std::uint64_t mostPixels() const noexcept override { return mostPixels_; }
    const ProfileChoice& profiles() const noexcept override { return profiles_; }

    const std::vector<std::string>& warnings() const noexcept { return warnings_; }

private:
    std::uint64_t mostPixels_;
    ProfileChoice profiles_;
    mutable std::vector<std::string> warnings_;
};

ImageHeader headerOf(const std::string& name, const std::string& path) {
    const OpenedFile file(path);
    if (!file.problem().empty()) {
        throw std::invalid_argument(name + ": cannot read '" + path + "'" + file.problem());
    }
    return readImageHeader(file.source());
}

/// Layers and previews are of files that have them.
void requireWhatIsAskedOf(const std::string& path, const PhotographSelection& selection) {
    if (selection.layer.empty() && !selection.preview) {
        return;
    }
    const ImageHeader header = headerOf("path", path);
    if (!selection.layer.empty() && header.format != ImageFileFormat::openExr) {
        throw std::invalid_argument("layer: '" + path + "' is no OpenEXR file");
    }
    if (selection.preview && !header.cameraRaw) {
        throw std::invalid_argument("preview: '" + path + "' is no camera's raw file");
    }
}

/// @param picture  None, or exposure, page, layer and whether the preview of a raw file is wanted
py::tuple read(const std::string& path, const std::string& profile, bool stored, std::uint64_t mostPixels,
               const py::object& part, const py::object& picture) {
    PhotographRead photograph;
    ProfileUse use;
    PixelWeights weights;
    const PartChoice partChoice = partChoiceOf(part);
    double exposure = 0;
    PhotographSelection selection;
    if (!picture.is_none()) {
        std::tie(exposure, selection.page, selection.layer, selection.preview) =
            picture.cast<std::tuple<double, int, std::string, bool>>();
    }
    unlocked([&] {
        requireWhatIsAskedOf(path, selection);
        const RemarkSorter sorter;
        ProfileChoice choice = profilesWith(partChoice, profileChoiceOf(profile));
        choice.exposure = exposure;
        choice.selection.page = selection.page;
        choice.selection.layer = selection.layer;
        choice.selection.preview = selection.preview;
        ManagedColors colors(choice);
        photograph = readPhotographAmongOthers(
            path, stored ? PhotographValues::stored : PhotographValues::bytesOrFloats, mostPixels, &colors);
        colors.settle(photograph.remarks);
        use = colors.use();
        if (photograph.problem.empty()) {
            weights = countedPart(path, photograph.bgr, partChoice, choice.selection, mostPixels, photograph.remarks);
        }
    });
    std::vector<std::string> warnings = photograph.remarks;
    if (const std::string warning = use.warning(); !warning.empty()) {
        warnings.push_back(warning);
    }
    const py::object image =
        photograph.problem.empty() ? py::object(rgbArrayOf(std::move(photograph.bgr))) : py::object(py::none());
    return py::make_tuple(image, photograph.problem, photograph.bits, photograph.floats,
                          photograph.linear || use.linear, std::string(use.originName()), use.description, warnings,
                          weights.size().empty() ? py::object(py::none()) : py::object(arrayOf(weights.map().clone())));
}

py::tuple analyzeFile(const std::string& path, const py::tuple& model, const std::optional<std::string>& hue,
                      const std::string& profile, std::uint64_t mostPixels, const py::object& part,
                      const py::object& progress) {
    AnalysisOptions options;
    options.model = comparisonModelOf(model);
    options.hue = hueWeightsOf(hue);
    const PartChoice partChoice = partChoiceOf(part);
    const Watch watch = watchOf(progress);
    const PhotographAnalysis analysis = unlocked([&] {
        thread_local AnalysisTables tables;
        const RemarkSorter sorter;
        StepCount steps(watch, stepsOfAnalysis);
        return analyzePhotograph(path, tables, mostPixels, options, profilesWith(partChoice, profileChoiceOf(profile)),
                                 [&steps] { steps.step(); });
    });
    return py::make_tuple(analysis.distributions, analysis.facts.height, analysis.facts.width, analysis.problem,
                          analysis.remarks, analysis.profileRemark);
}

std::optional<StoredDepth> depthNamed(const std::string& depth) {
    constexpr std::pair<std::string_view, StoredDepth> depths[] = {
        {"8", StoredDepth::bytes},  {"10", StoredDepth::tenBits},  {"12", StoredDepth::twelveBits},
        {"16", StoredDepth::words}, {"half", StoredDepth::halves}, {"float", StoredDepth::floats}};
    for (const auto& [name, its] : depths) {
        if (name == depth) {
            return its;
        }
    }
    return std::nullopt;
}

/// @param depth   "" where it is not asked for
/// @param source  file whose metadata are carried over; "" for none
std::vector<std::string> write(const std::string& path, const py::array& array, std::optional<int> quality, int bits,
                               const std::string& profile, const std::string& depth, const std::string& subsampling,
                               const std::string& source) {
    const cv::Mat picture = imageOf(array, "image", Channels::rgb);
    const ImageFormat format = imageFormatOf(path);
    if (format == ImageFormat::unknown) {
        throw std::invalid_argument("path: '" + path +
                                    "' has no extension of an image: .png, .jpg, .tif, .exr, .hdr, .webp, .avif "
                                    "or .jxl");
    }
    ImageOutput output;
    output.path = path;
    output.quality = quality;
    output.bits = bits;
    output.option = "path";
    output.profile = profile;
    output.subsampling = subsampling;
    if (!depth.empty()) {
        output.depth = depthNamed(depth);
        if (!output.depth || !hasDepth(format, *output.depth)) {
            throw std::invalid_argument("depth: the format of '" + path + "' does not have the depth '" + depth + "'");
        }
    }
    if (!subsampling.empty() && format != ImageFormat::jpeg) {
        throw std::invalid_argument("subsampling: only a JPEG has one, and '" + path + "' is none");
    }
    if (!source.empty()) {
        const ImageHeader header = headerOf("source", source);
        if (header.format == ImageFileFormat::unknown && !header.cameraRaw) {
            throw std::invalid_argument("source: '" + source + "' is no photograph");
        }
    }
    const KeptWords words(usualMostPixels);
    unlocked([&] { writePhotograph(words, output, toUnit(picture), "", source); });
    return words.warnings();
}

/// How much the pixels of an array count, one number of 16 bits each: the product of all that is asked for.
py::array weightsOfParts(int rows, int cols, const std::vector<py::object>& masks,
                         const std::vector<std::string>& regions, bool centerWeighted) {
    const cv::Size size(cols, rows);
    PixelWeights weights;
    const auto take = [&](const PixelWeights& its) {
        if (its.size() != size) {
            throw std::invalid_argument("mask: it is " + std::to_string(its.size().width) + " x " +
                                        std::to_string(its.size().height) + " pixels, and the photograph is " +
                                        std::to_string(cols) + " x " + std::to_string(rows));
        }
        weights = weights.times(its);
    };
    for (const py::object& mask : masks) {
        take(weightsOf(mask));
    }
    if (!regions.empty()) {
        std::vector<PhotographRegion> choices;
        for (const std::string& region : regions) {
            choices.push_back(regionChoiceOf(region).region);
            try {
                PixelWeights::ofRegions(size, {choices.back()});
            } catch (const std::invalid_argument&) {
                throw std::invalid_argument("regions: '" + region + "' holds no pixel of the photograph, which is " +
                                            std::to_string(cols) + " x " + std::to_string(rows) + " pixels");
            }
        }
        take(PixelWeights::ofRegions(size, choices));
    }
    if (centerWeighted) {
        take(PixelWeights::centered(size));
    }
    return arrayOf(weights.map().clone());
}

/// R, G, B of a picture with alpha, over a colour.
py::array overColor(const py::array& colors, const py::array& alpha, const std::string& choice) {
    cv::Mat picture = imageOf(colors, "photograph", Channels::rgb).clone();
    const cv::Mat opacity = planeOf(alpha, "alpha");
    const AlphaChoice over = alphaChoiceOf(choice);
    unlocked([&] { layOver(picture, opacity, over.under); });
    return rgbArrayOf(std::move(picture));
}

/// What an alpha channel becomes: "dropped", "weight" or "over".
std::string useOfAlpha(const std::string& text) {
    switch (alphaChoiceOf(text).use) {
        case AlphaChoice::Use::weight:
            return "weight";
        case AlphaChoice::Use::over:
            return "over";
        default:
            return "dropped";
    }
}

}  // namespace

void bindFiles(py::module_& module) {
    py::register_exception_translator([](std::exception_ptr thrown) {
        try {
            if (thrown) {
                std::rethrow_exception(thrown);
            }
        } catch (const MachineFailure& failure) {
            PyErr_SetString(PyExc_OSError, failure.what());
        } catch (const MemoryShortage& shortage) {
            PyErr_SetString(PyExc_MemoryError, shortage.what());
        } catch (const Refusal& refusal) {
            PyErr_SetString(PyExc_ValueError, refusal.what());
        } catch (const py::cast_error&) {
            PyErr_SetString(PyExc_ValueError, "an argument is of a wrong type");
        } catch (const cv::Exception& problem) {
            if (!isMemoryShortage(problem)) {
                throw;
            }
            PyErr_SetString(PyExc_MemoryError, memoryShortageText);
        }
    });
    module.attr("most_pixels") = usualMostPixels;
    module.def("read", read);
    module.def("analyze_file", analyzeFile);
    module.def("write", write);
    module.def("weights_of_parts", weightsOfParts);
    module.def("over_color", overColor);
    module.def("use_of_alpha", useOfAlpha);
    module.def("check_region", [](const std::string& text) { regionChoiceOf(text); });
}

}  // namespace likeness::python

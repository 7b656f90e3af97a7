// darkroom info: what files of photographs hold, and how they would be read.
#include "commands/subcommands.hpp"
#include "console/json_output.hpp"
#include "console/option_checks.hpp"
#include "console/output_check.hpp"
#include "diagnostics/shown_text.hpp"
#include "files/csv_text.hpp"
#include "files/markup_text.hpp"
#include "files/number_format.hpp"
#include "photofile/file_description.hpp"
#include "photofile/photograph_reader.hpp"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <iostream>
#include <memory>

namespace likeness::darkroom {
namespace {

struct InfoArguments {
    std::vector<std::string> inputs;
    bool json = false;
    bool csv = false;
};

struct DescribedFile {
    std::string path;
    FileDescription file;
};

/// "1/125 s" of what is shorter than a third of a second.
std::string exposureText(double seconds) {
    constexpr double shortest = 0.3;
    return seconds > 0 && seconds < shortest ? fmt::format("1/{:.4g} s", 1 / seconds)
                                             : fmt::format("{:.4g} s", seconds);
}

std::string exposureText(const CameraNotes& notes) {
    std::string text;
    const auto add = [&text](const std::string& more) { text += (text.empty() ? "" : ", ") + more; };
    if (notes.exposureSeconds) {
        add(exposureText(*notes.exposureSeconds));
    }
    if (notes.fNumber) {
        add(fmt::format("f/{:.3g}", *notes.fNumber));
    }
    if (notes.sensitivity) {
        add(fmt::format("ISO {:.6g}", *notes.sensitivity));
    }
    return text;
}

std::string kindsOf(const CameraNotes& notes) {
    std::string text;
    for (const auto& [there, name] : {std::pair(notes.exif, "Exif"), {notes.xmp, "XMP"}, {notes.iptc, "IPTC"}}) {
        if (there) {
            text += (text.empty() ? "" : ", ") + std::string(name);
        }
    }
    return text;
}

/// The facts in their order: names for people and for tables, and texts.
std::vector<std::pair<std::string, std::string>> factsOf(const FileDescription& file) {
    std::vector<std::pair<std::string, std::string>> facts;
    const auto add = [&facts](const char* name, const std::string& text) { facts.emplace_back(name, text); };
    const CameraNotes notes = file.notes.value_or(CameraNotes());
    add("format", file.format);
    add("codec", file.codec);
    add("size", file.width == 0 ? "" : fmt::format("{} x {} pixels, {} bytes", file.width, file.height, file.bytes));
    add("values", file.bits == 0 ? "" : fmt::format("{}{} bits", file.floats ? "float, " : "", file.bits));
    add("channels", file.channels == 0 ? "" : std::to_string(file.channels));
    add("alpha", !file.alpha ? "" : *file.alpha ? "yes" : "no");
    add("pages", file.pages == 1 ? "" : std::to_string(file.pages));
    add("layers", fmt::format("{}", fmt::join(file.layers, ", ")));
    add("profile", file.profile);
    add("transfer curve", file.transfer);
    add("orientation", file.orientation == 0 ? "" : std::to_string(file.orientation));
    add("camera", notes.make.empty() ? notes.model : notes.make + (notes.model.empty() ? "" : " " + notes.model));
    add("taken", notes.time);
    add("exposure", exposureText(notes));
    add("metadata", kindsOf(notes));
    add("module", file.module);
    add("read as", file.readAs);
    for (const std::string& remark : file.remarks) {
        add("remark", remark);
    }
    return facts;
}

std::string textOf(const DescribedFile& described) {
    std::string text = shownText(described.path) + '\n';
    for (const auto& [name, fact] : factsOf(described.file)) {
        if (!fact.empty()) {
            text += fmt::format("  {}: {}\n", name, shownText(fact));
        }
    }
    return text;
}

nlohmann::ordered_json textOrNull(const std::string& text) {
    return text.empty() ? nlohmann::ordered_json() : nlohmann::ordered_json(validUtf8(text));
}

nlohmann::ordered_json countOrNull(std::uint64_t count) {
    return count == 0 ? nlohmann::ordered_json() : nlohmann::ordered_json(count);
}

template <typename Value>
nlohmann::ordered_json valueOrNull(const std::optional<Value>& value) {
    return value ? nlohmann::ordered_json(*value) : nlohmann::ordered_json();
}

std::string errorOf(const DescribedFile& described) {
    return described.file.problem.empty() ? "" : "cannot read '" + described.path + "'" + described.file.problem;
}

nlohmann::ordered_json jsonOf(const DescribedFile& described) {
    const FileDescription& file = described.file;
    const CameraNotes notes = file.notes.value_or(CameraNotes());
    nlohmann::ordered_json json;
    json["path"] = validUtf8(described.path);
    json["error"] = textOrNull(errorOf(described));
    json["format"] = textOrNull(file.format);
    json["codec"] = textOrNull(file.codec);
    json["size_bytes"] = file.bytes;
    json["width_pixels"] = countOrNull(file.width);
    json["height_pixels"] = countOrNull(file.height);
    json["bits"] = countOrNull(static_cast<std::uint64_t>(file.bits));
    json["floats"] = file.floats;
    json["channels"] = countOrNull(static_cast<std::uint64_t>(file.channels));
    json["alpha"] = valueOrNull(file.alpha);
    json["pages"] = file.pages;
    json["layers"] = nlohmann::ordered_json::array();
    for (const std::string& layer : file.layers) {
        json["layers"].push_back(validUtf8(layer));
    }
    json["profile"] = textOrNull(file.profile);
    json["transfer_curve"] = textOrNull(file.transfer);
    json["orientation"] = countOrNull(static_cast<std::uint64_t>(file.orientation));
    json["camera_make"] = textOrNull(notes.make);
    json["camera_model"] = textOrNull(notes.model);
    json["taken"] = textOrNull(notes.time);
    json["exposure_seconds"] = valueOrNull(notes.exposureSeconds);
    json["f_number"] = valueOrNull(notes.fNumber);
    json["iso"] = valueOrNull(notes.sensitivity);
    json["module"] = textOrNull(file.module);
    json["read_as"] = textOrNull(file.readAs);
    json["remarks"] = nlohmann::ordered_json::array();
    for (const std::string& remark : file.remarks) {
        json["remarks"].push_back(validUtf8(remark));
    }
    return json;
}

std::string csvOf(const std::vector<DescribedFile>& files) {
    std::string text;
    for (const DescribedFile& described : files) {
        const nlohmann::ordered_json json = jsonOf(described);
        if (text.empty()) {
            for (const auto& member : json.items()) {
                text += (text.empty() ? "" : ",") + member.key();
            }
            text += '\n';
        }
        std::vector<std::string> fields;
        for (const auto& member : json.items()) {
            const nlohmann::ordered_json& value = member.value();
            std::string field;
            if (value.is_array()) {
                for (const auto& element : value) {
                    field += (field.empty() ? "" : "; ") + element.get<std::string>();
                }
            } else if (!value.is_null()) {
                field = value.is_string() ? value.get<std::string>() : value.dump();
            }
            fields.push_back(std::move(field));
        }
        text += csvLine(fields);
    }
    return text;
}

ExitStatus describe(const Console& console, const InfoArguments& options) {
    const OutputPlan plan(console, options.inputs);  // takes standard input
    std::vector<DescribedFile> files;
    bool complete = true;
    for (const std::string& path : options.inputs) {
        files.push_back({path, describeFile(console, path)});
        complete = complete && files.back().file.problem.empty();
        if (!options.json && !options.csv) {
            if (!files.back().file.format.empty()) {
                std::cout << textOf(files.back()) << std::flush;
            }
            if (!files.back().file.problem.empty()) {
                console.warn(errorOf(files.back()));
            }
        }
    }
    if (options.json) {
        nlohmann::ordered_json json = jsonOfSchema("info", 1);
        json["files"] = nlohmann::ordered_json::array();
        for (const DescribedFile& described : files) {
            json["files"].push_back(jsonOf(described));
        }
        std::cout << indentedJson(json);
    } else if (options.csv) {
        std::cout << csvOf(files);
    }
    return complete ? ExitStatus::done : ExitStatus::outsideLimits;
}

}  // namespace

Action declareInfo(OptionParser& app) {
    auto options = std::make_shared<InfoArguments>();
    app.addOption("FILE", options->inputs, "Photographs, of any format; - for standard input")->required();
    auto* const json = app.addFlag("--json", options->json, optionText("Print the facts as JSON", "--json"));
    app.addFlag("--csv", options->csv, optionText("Print the facts as a table, a line for each file", "--csv"))
        ->excludes(json);
    return [options](const Console& console) { return describe(console, *options); };
}

}  // namespace likeness::darkroom

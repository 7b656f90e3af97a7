#include "console/photograph_inputs.hpp"

#include <likeness/version.hpp>
#include "batch/pair_list.hpp"
#include "batch/stable_hash.hpp"
#include "console/image_output_options.hpp"
#include "console/option_checks.hpp"
#include "console/output_check.hpp"
#include "files/file_checksum.hpp"
#include "files/file_set.hpp"
#include "files/number_format.hpp"
#include "files/refusal.hpp"
#include "files/standard_input.hpp"

#include <fmt/format.h>

#include <unistd.h>
#include <algorithm>
#include <array>
#include <filesystem>
#include <map>
#include <optional>

namespace likeness::darkroom {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t mostNamed = 20;

/// Options that change no result, or that say where photographs are.
constexpr std::array<std::string_view, 13> withoutInfluence = {
    "--output", "--recursive", "--name",  "--format",  "--in-place", "--resume",    "--jobs",
    "--dumps",  "--threads",   "--quiet", "--verbose", "--help",     "--max-pixels"};

bool isFolder(const std::string& path) {
    std::error_code error;
    return fs::is_directory(path, error);
}

bool namesFolder(const std::string& path) {
    return !path.empty() && (path.back() == '/' || isFolder(path));
}

/// A file that is asked for, with the folders that lead to it within the folder that was named.
struct FoundPhotograph {
    std::string path;
    std::string within;  ///< relative; empty for a file that was named itself
    std::string root;    ///< the folder that was named, or the one of the file
};

std::string withoutEndingSlash(std::string path) {
    while (path.size() > 1 && path.back() == '/') {
        path.pop_back();
    }
    return path;
}

/// The files of a folder, in the order of their paths.
class FolderSearch {
public:
    FolderSearch(const Console& console, bool recursive, const std::string& outputFolder)
        : console_(console), recursive_(recursive) {
        std::error_code error;
        if (!outputFolder.empty()) {
            output_ = fs::weakly_canonical(outputFolder, error);
        }
    }

    void find(const std::string& folder, std::vector<FoundPhotograph>& found) {
        const std::size_t before = found.size();
        const std::string root = withoutEndingSlash(folder);
        try {
            look(root, root, found);
        } catch (const fs::filesystem_error& error) {
            throw Refusal("cannot read '" + error.path1().string() + "': " + error.code().message());
        }
        if (found.size() == before) {
            throw Refusal("'" + folder + "' has no image file" +
                          (folders_ > 0 ? "; --recursive looks into its folders too" : ""));
        }
        std::sort(found.begin() + static_cast<std::ptrdiff_t>(before), found.end(),
                  [](const auto& a, const auto& b) { return a.path < b.path; });
    }

    void tellLeftOut() const {
        for (std::size_t k = 0; k < std::min(mostNamed, leftOut_.size()); ++k) {
            console_.tell("left out: " + leftOut_[k]);
        }
        if (leftOut_.size() > mostNamed) {
            console_.tell(fmt::format("left out: ... and {} more", leftOut_.size() - mostNamed));
        }
        if (folders_ > 0) {
            console_.tell(numberOf(folders_, "folder within is", "folders within are") +
                          " left out; --recursive looks further");
        }
    }

private:
    void look(const std::string& folder, const std::string& root, std::vector<FoundPhotograph>& found) {
        for (const auto& entry : fs::directory_iterator(folder)) {
            const std::string path = entry.path().string();
            if (entry.is_directory() && !entry.is_symlink()) {
                std::error_code error;
                if (!output_.empty() && fs::weakly_canonical(entry.path(), error) == output_) {
                    leftOut_.push_back("'" + path + "' is the folder of the results");
                } else if (recursive_) {
                    look(path, root, found);
                } else {
                    ++folders_;
                }
                continue;
            }
            if (entry.path().filename().string().rfind(".darkroom-", 0) == 0) {
                continue;
            }
            if (const std::string why = whyNoImageFile(entry); !why.empty()) {
                leftOut_.push_back("'" + path + "' " + why);
                continue;
            }
            const fs::path within = fs::path(folder).lexically_relative(root);
            found.push_back({path, within == "." ? "" : within.string(), root});
        }
    }

    const Console& console_;
    bool recursive_;
    fs::path output_;
    std::vector<std::string> leftOut_;
    std::size_t folders_ = 0;
};

OptionCheck namePattern() {
    return {[](std::string& text) {
                std::string plain;
                for (std::size_t k = 0; k < text.size(); ++k) {
                    if (text[k] == '}') {
                        return "'" + text + "' has a } without its {";
                    }
                    if (text[k] != '{') {
                        plain += text[k];
                        continue;
                    }
                    const std::size_t end = text.find('}', k);
                    const std::string field = end == std::string::npos ? text.substr(k) : text.substr(k, end - k + 1);
                    if (field != "{stem}" && field != "{operation}" && field != "{ext}") {
                        return "'" + text + "' has '" + field + "': there are {stem}, {operation} and {ext}";
                    }
                    plain += 'x';
                    k = end;
                }
                if (text.find('/') != std::string::npos) {
                    return "'" + text + "' has a /: it is the name of a file, and --output names the folder";
                }
                return plain.empty() || plain == "." || plain == ".." || plain == standardStream
                           ? "'" + text + "' is no name of a file"
                           : std::string();
            },
            ""};
}

OptionCheck formatName() {
    return {[](std::string& text) {
                const std::string plain = text.rfind('.', 0) == 0 ? text.substr(1) : text;
                if (imageFormatOf("x." + plain) == ImageFormat::unknown) {
                    return "'" + text + "' is no format that is written; the help of --output lists them";
                }
                text = plain;
                return std::string();
            },
            ""};
}

/// Refuses options that the results have no use for, where it holds for all of them; and names that no format has.
void checkFormats(const ImageOutput& output, const std::vector<PlannedPhotograph>& planned) {
    std::map<std::string, std::string> nameOfExtension;
    for (const PlannedPhotograph& one : planned) {
        for (const ImageOutput& file : one.files) {
            nameOfExtension.emplace(fs::path(file.path).extension().string(), file.path);
        }
    }
    std::optional<Refusal> first;
    std::size_t refused = 0;
    for (const auto& [extension, path] : nameOfExtension) {
        ImageOutput asked = output;
        asked.path = path;
        if (imageFormatOf(path) == ImageFormat::unknown) {
            throw Refusal("--name: '" + path + "' has none of the extensions of a format that is written");
        }
        try {
            checkImageFormat(asked);
        } catch (const Refusal& refusal) {
            first = first ? first : Refusal(refusal.what());
            ++refused;
        }
    }
    if (first && refused == nameOfExtension.size()) {
        throw *first;
    }
}

/// Refuses results of one name, and those that would replace what is read.
void checkNames(const Console& console, const PhotographInputs& inputs, const std::vector<PlannedPhotograph>& planned) {
    FileSet read;
    for (const std::string& path : filesOfOptions(*inputs.app)) {
        read.add(path, path);
    }
    if (!inputs.inPlace) {
        for (const PlannedPhotograph& one : planned) {
            read.add(one.input, one.input);
        }
    }
    FileSet results;
    for (const PlannedPhotograph& one : planned) {
        for (const ImageOutput& file : one.files) {
            if (const auto other = results.find(file.path)) {
                throw Refusal(
                    *other == one.input ? "'" + one.input + "' is given twice"
                    : inputs.inPlace
                        ? fmt::format("'{}' and '{}' are one file; leave one out", *other, one.input)
                        : fmt::format("'{}' and '{}' would both be written as '{}'; --name can tell them apart", *other,
                                      one.input, file.path));
            }
            results.add(file.path, one.input);
            if (const auto replaced = read.find(file.path)) {
                throw Refusal(fmt::format("{}: '{}' would replace the input '{}'; choose another {}",
                                          inputs.inPlace ? "--in-place" : "--output", file.path, *replaced,
                                          inputs.inPlace ? "file" : "folder or --name"));
            }
            if (isFolder(file.path)) {
                throw Refusal("--output: '" + file.path + "' is a folder");
            }
        }
    }
    if (console.diagnostics().wantsFiles()) {
        throw Refusal("--dumps: keeps the diagnostic files of one photograph, and more may be given here");
    }
}

/// The folder of the results; it may be missing if it can be made.
void checkOutputFolder(const std::string& path, std::size_t count) {
    std::error_code error;
    const fs::file_status status = fs::status(path, error);
    if (fs::is_directory(status)) {
        checkFolder("--output", path);
        return;
    }
    if (fs::exists(status)) {
        throw Refusal("--output: '" + path + "' is no folder, and " + numberOf(count, "photograph") +
                      (count == 1 ? " of a folder goes" : " go") + " into one");
    }
    if (imageFormatOf(path) != ImageFormat::unknown) {
        throw Refusal("--output: '" + path + "' is the name of one picture, and " + numberOf(count, "photograph") +
                      (count == 1 ? " of a folder goes" : " go") + " into a folder");
    }
    const fs::path parent = fs::path(withoutEndingSlash(path)).parent_path();
    checkFolder("--output", parent.empty() ? "." : parent.string());
}

std::vector<FoundPhotograph> foundPhotographs(const PhotographInputs& inputs, FolderSearch& search) {
    std::vector<FoundPhotograph> found;
    bool folders = false;
    for (const std::string& path : inputs.paths) {
        if (path == standardStream) {
            throw Refusal(
                "'-' is standard input, which is one photograph: it does not go with others, nor with "
                "--in-place and --resume");
        }
        if (isFolder(path)) {
            search.find(path, found);
            folders = true;
        } else {
            const fs::path parent = fs::path(path).parent_path();
            found.push_back({path, "", parent.empty() ? "." : parent.string()});
        }
    }
    if (inputs.recursive && !folders) {
        throw Refusal("--recursive: no folder is given");
    }
    return found;
}

void addRecursive(OptionParser& app, PhotographInputs& inputs) {
    app.addFlag("--recursive", inputs.recursive,
                optionText("Look into the folders within folders too; the results are in folders of the same names",
                           "--recursive"));
}

Option* addName(OptionParser& app, PhotographInputs& inputs, const std::string& what, const std::string& example) {
    return app.addOption("--name", inputs.name, optionText(what, example))
        ->typeName("PATTERN")
        ->check(namePattern())
        ->showDefault();
}

void addResumeAndJobs(OptionParser& app, PhotographInputs& inputs) {
    app.addFlag("--resume", inputs.resume,
                optionText("Leave out photographs whose results an earlier call has made with the same options, of "
                           "the same content, and that are as they were left",
                           "--resume"));
    app.addOption("--jobs", inputs.jobs,
                  optionText("Photographs that are worked on at the same time, 1 to 1024; by default as many as there "
                             "are threads (--threads), which are shared out among them",
                             "--jobs 2"))
        ->typeName("N")
        ->check(integerBetween(1, 1024));
}

}  // namespace

void addPhotographs(OptionParser& app, PhotographInputs& inputs, const std::string& name, const std::string& what) {
    inputs.app = &app;
    app.addOption(name, inputs.paths,
                  what + "; - for standard input. Several, and folders of them, go into the folder that --output names")
        ->required();
}

void addManyPhotographs(OptionParser& app, PhotographInputs& inputs, std::vector<std::string> singleResults) {
    inputs.singleResults = std::move(singleResults);
    auto* const output = app.option("--output");
    inputs.needsOutput = output->isRequired();
    output->required(false);
    std::string text = output->description();
    const std::string more = std::string(inputs.needsOutput ? ". Needed, unless --in-place is given" : "") +
                             ". With several photographs or a folder, the folder of the results, which is made if it "
                             "is not there. -: standard output, with --format";
    text.insert(std::min(text.find(" (example: "), text.size()), more);
    output->description(text);
    addRecursive(app, inputs);
    auto* const name = addName(app, inputs,
                               "Name of each result of several photographs, made of {stem} and {ext}, the input's "
                               "name and extension (.png where results have no such format), and {operation}",
                               "--name '{stem}{ext}'");
    auto* const format =
        app.addOption(
               "--format", inputs.format,
               optionText("Format of standard output, or of the results of several photographs: an extension that "
                          "--output takes, without its dot",
                          "--format png"))
            ->typeName("EXT")
            ->check(formatName());
    app.addFlag("--in-place", inputs.inPlace,
                optionText("Replace each photograph by its result, in its own format. Owner, mode and times stay; of a "
                           "symbolic link, the file that it leads to is replaced",
                           "--in-place"))
        ->excludes(output)
        ->excludes(name)
        ->excludes(format);
    addResumeAndJobs(app, inputs);
}

void addManyToFolder(OptionParser& app, PhotographInputs& inputs, const std::string& name, const std::string& what,
                     const std::string& example) {
    inputs.name = name;
    addRecursive(app, inputs);
    addName(app, inputs, what, example);
    addResumeAndJobs(app, inputs);
}

bool asksForMany(const PhotographInputs& inputs, const ImageOutput& output) {
    return inputs.paths.size() != 1 || inputs.inPlace || inputs.resume || isFolder(inputs.paths.front()) ||
           namesFolder(output.path);
}

bool asksForManyToFolder(const PhotographInputs& inputs) {
    return inputs.paths.size() != 1 || inputs.resume || isFolder(inputs.paths.front());
}

std::string nameOfResult(const PhotographInputs& inputs, const std::string& operation, const std::string& path) {
    const fs::path input = path;
    const std::string own = input.extension().string();
    const std::string extension = !inputs.format.empty()                             ? "." + inputs.format
                                  : imageFormatOf("x" + own) == ImageFormat::unknown ? ".png"
                                                                                     : own;
    const std::map<std::string, std::string> fields = {
        {"stem", input.stem().string()}, {"operation", operation}, {"ext", extension}};
    std::string name;
    for (std::size_t k = 0; k < inputs.name.size(); ++k) {
        if (inputs.name[k] != '{') {
            name += inputs.name[k];
            continue;
        }
        const std::size_t end = inputs.name.find('}', k);
        name += fields.at(inputs.name.substr(k + 1, end - k - 1));
        k = end;
    }
    return name;
}

std::vector<PlannedPhotograph> plannedPhotographs(const Console& console, const PhotographInputs& inputs,
                                                  const ImageOutput& output, const ResultFiles& files) {
    const bool withFiles = inputs.inPlace || !output.path.empty();
    if (!withFiles && (inputs.needsOutput || inputs.resume)) {
        throw Refusal("--output is required");
    }
    for (const std::string& option : inputs.singleResults) {
        if (inputs.app->option(option)->count() > 0) {
            throw Refusal(option +
                          ": names one file, and more than one photograph may be given here; leave it out, or "
                          "give one photograph and the name of its result");
        }
    }
    if (output.path == standardStream) {
        throw Refusal("--output: standard output takes one photograph, and more may be given here");
    }
    FolderSearch search(console, inputs.recursive, output.path);
    const std::vector<FoundPhotograph> found = foundPhotographs(inputs, search);
    if (!inputs.inPlace && withFiles) {
        checkOutputFolder(output.path, found.size());
    }
    std::vector<PlannedPhotograph> planned;
    for (const FoundPhotograph& one : found) {
        PlannedPhotograph photograph{one.path, {}, {}, inputs.inPlace ? one.root : withoutEndingSlash(output.path)};
        if (inputs.inPlace) {
            photograph.output = output.at(one.path, "--in-place");
        } else if (withFiles) {
            const fs::path folder = fs::path(photograph.folder) / one.within;
            photograph.output =
                output.at((folder / nameOfResult(inputs, console.command(), one.path)).string(), output.option);
        }
        if (withFiles) {
            photograph.files = files ? files(photograph.output) : std::vector<ImageOutput>{photograph.output};
            if (inputs.inPlace && (photograph.files.size() != 1 || photograph.files.front().path != one.path)) {
                throw Refusal("--in-place: more than one picture comes of each photograph; --output names a folder");
            }
        }
        planned.push_back(std::move(photograph));
    }
    if (withFiles && !inputs.inPlace) {
        checkFormats(output, planned);
    }
    checkNames(console, inputs, planned);
    search.tellLeftOut();
    return planned;
}

std::vector<std::string> filesOfOptions(const OptionParser& app) {
    std::vector<std::string> files;
    std::error_code error;
    for (const Option* const option : app.options()) {
        if (option->isPositional() || option->count() == 0 || option->name() == "--output") {
            continue;
        }
        for (const std::string& value : option->results()) {
            if (!value.empty() && fs::is_regular_file(value, error)) {
                files.push_back(value);
            }
        }
    }
    return files;
}

std::string fingerprintOfOptions(const OptionParser& app) {
    std::string text = "darkroom " LIKENESS_VERSION " " + app.name();
    std::error_code error;
    for (const Option* const option : app.options()) {
        const std::string name = option->longNames().empty() ? option->name() : "--" + option->longNames().front();
        if (option->isPositional() || option->count() == 0 ||
            std::find(withoutInfluence.begin(), withoutInfluence.end(), name) != withoutInfluence.end()) {
            continue;
        }
        for (const std::string& value : option->results()) {
            text += '\n' + name + '=' + value;
            if (!value.empty() && fs::is_regular_file(value, error)) {
                text += ' ' + fingerprintOf(value).sha256;
            }
        }
    }
    const WideHash hash = wideHash(text);
    return fmt::format("{:016x}{:016x}", hash.high, hash.low);
}

}  // namespace likeness::darkroom

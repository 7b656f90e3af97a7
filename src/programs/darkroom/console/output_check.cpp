#include "console/output_check.hpp"

#include "files/refusal.hpp"
#include "files/standard_input.hpp"
#include "photofile/image_header.hpp"

#include <fmt/format.h>

#include <unistd.h>
#include <algorithm>
#include <filesystem>
#include <fstream>

namespace likeness::darkroom {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void refuse(std::string_view option, const std::string& path, std::string_view problem) {
    throw Refusal(std::string(option) + ": '" + path + "' " + std::string(problem));
}

/// Refuses a file whose folder `checkFolder` would refuse, that is a folder itself, or that exists and cannot be
/// written.
void checkOutputFile(std::string_view option, const std::string& path) {
    std::error_code error;
    const fs::file_status status = fs::status(path, error);
    if (fs::is_directory(status)) {
        refuse(option, path, "is a folder");
    }
    const fs::path parent = fs::path(path).parent_path();
    const std::string folder = parent.empty() ? "." : parent.string();
    const fs::file_status folderStatus = fs::status(folder, error);
    if (!fs::exists(folderStatus)) {
        refuse(option, path, "cannot be written: the folder '" + folder + "' does not exist");
    }
    if (!fs::is_directory(folderStatus)) {
        refuse(option, path, "cannot be written: '" + folder + "' is not a folder");
    }
    // A new file is made beside an existing one before it takes its name, so that both must allow it.
    const bool special = fs::exists(status) && !fs::is_regular_file(status);
    if (!special && ::access(folder.c_str(), W_OK | X_OK) != 0) {
        refuse(option, path, "cannot be written: the folder '" + folder + "' is not writable");
    }
    if (fs::exists(status) && ::access(path.c_str(), W_OK) != 0) {
        refuse(option, path, "cannot be written");
    }
}

/// Whether there is a file whose first bytes are an image's.
bool isImageFile(const std::string& path) {
    std::error_code error;
    std::ifstream file;
    if (fs::is_regular_file(path, error)) {
        file.open(path, std::ios::binary);
    }
    if (!file.is_open()) {
        return false;
    }
    const ImageHeader header = readImageHeader([&](std::uint64_t offset, unsigned char* bytes, std::size_t count) {
        file.clear();
        file.seekg(static_cast<std::streamoff>(offset));
        file.read(reinterpret_cast<char*>(bytes), static_cast<std::streamsize>(count));
        return static_cast<std::size_t>(std::max<std::streamsize>(0, file.gcount()));
    });
    return header.format != ImageFileFormat::unknown;
}

void checkIsFolder(std::string_view option, const std::string& folder) {
    std::error_code error;
    const fs::file_status status = fs::status(folder, error);
    if (!fs::exists(status)) {
        refuse(option, folder, "does not exist");
    }
    if (!fs::is_directory(status)) {
        refuse(option, folder, "is not a folder");
    }
}

}  // namespace

void checkFolder(std::string_view option, const std::string& folder) {
    checkIsFolder(option, folder);
    if (::access(folder.c_str(), W_OK | X_OK) != 0) {
        refuse(option, folder, "cannot be written");
    }
}

void checkReadFolder(std::string_view option, const std::string& folder) {
    if (!folder.empty()) {
        checkIsFolder(option, folder);
    }
}

OutputPlan::OutputPlan(const Console& console, const std::vector<std::string>& inputs, InputKind kind)
    : console_(console) {
    int standardInputs = 0;
    for (const std::string& path : inputs) {
        if (path == standardStream) {
            ++standardInputs;
            continue;
        }
        if (path == console.replaceable()) {
            continue;
        }
        std::error_code error;
        const fs::file_status status = fs::status(path, error);
        // A terminal or a pipe may well be read and written.
        if (!path.empty() && (!fs::exists(status) || fs::is_regular_file(status))) {
            inputs_.add(path, path);
            console_.keepFromDumps(path, "the input '" + path + "'");
        }
    }
    if (kind == InputKind::photographs && standardInputs > 1) {
        throw Refusal("'-' is standard input, which is one photograph, and it is given twice");
    }
    if (kind == InputKind::photographs && standardInputs == 1) {
        takeStandardInput();
    }
    mayRead(console.assumedProfile());
}

void OutputPlan::mayRead(const std::string& path) {
    if (path == standardStream) {
        throw Refusal("'-': standard input is for a photograph; name a file for what is read beside it");
    }
    std::error_code error;
    if (!path.empty() && fs::is_regular_file(path, error)) {
        inputs_.add(path, path);
        console_.keepFromDumps(path, "the input '" + path + "'");
    }
}

void OutputPlan::readsToo(const std::string& path) const {
    if (const auto output = outputs_.findExisting(path)) {
        throw Refusal(fmt::format("{} would replace the input '{}'; choose another name", *output, path));
    }
}

void OutputPlan::file(std::string_view option, const std::string& path) {
    if (path != standardStream) {
        checkOutputFile(option, path);
        aside(option, path);
    }
    if (const auto other = optionOf_.find(path)) {
        refuse(option, path, "is the file of " + *other + " too");
    }
    optionOf_.add(path, std::string(option));
    outputs_.add(path, fmt::format("{}: '{}'", option, path));
    console_.keepFromDumps(path, "the result '" + path + "'");
}

void OutputPlan::data(std::string_view option, const std::string& path) {
    file(option, path);
    if (path != standardStream && isImageFile(path)) {
        refuse(option, path, "is an image, and is not replaced by what is none; choose another name");
    }
}

void OutputPlan::page(std::string_view option, const std::string& path) {
    const fs::path extension = fs::path(path).extension();
    if (path != standardStream && extension != ".html" && extension != ".htm") {
        refuse(option, path, "has none of the extensions .html, .htm");
    }
    file(option, path);
}

void OutputPlan::aside(std::string_view option, const std::string& path) const {
    if (const auto replaced = inputs_.find(path)) {
        refuse(option, path, "would replace the input '" + *replaced + "'; choose another name");
    }
}

}  // namespace likeness::darkroom

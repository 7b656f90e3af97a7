#include "console/output_check.hpp"

#include "files/refusal.hpp"

#include <filesystem>
#include <set>
#include <unistd.h>

namespace likeness::darkroom {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void refuse(std::string_view option, const std::string& path, std::string_view problem) {
    throw Refusal(std::string(option) + ": '" + path + "' " + std::string(problem));
}

}  // namespace

void checkFolder(std::string_view option, const std::string& folder) {
    std::error_code error;
    const fs::file_status status = fs::status(folder, error);
    if (!fs::exists(status)) {
        refuse(option, folder, "does not exist");
    }
    if (!fs::is_directory(status)) {
        refuse(option, folder, "is not a folder");
    }
    if (::access(folder.c_str(), W_OK | X_OK) != 0) {
        refuse(option, folder, "cannot be written");
    }
}

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

void checkDifferentOutputs(std::string_view firstOption, const std::string& first, std::string_view secondOption,
                           const std::string& second) {
    std::error_code error;
    const bool sameName =
        fs::absolute(first, error).lexically_normal() == fs::absolute(second, error).lexically_normal();
    if (sameName || fs::equivalent(first, second, error)) {
        refuse(secondOption, second, "is the file of " + std::string(firstOption) + " too");
    }
}

void checkNotAnInput(const std::string& path, const std::vector<std::string>& inputs) {
    for (const std::string& input : inputs) {
        std::error_code error;
        if (fs::equivalent(path, input, error)) {
            throw Refusal("'" + input + "' is an input and would be overwritten");
        }
    }
}

void checkDistinct(const std::vector<std::string>& outputs) {
    std::set<fs::path> seen;
    for (const std::string& output : outputs) {
        std::error_code error;
        const fs::path path = fs::weakly_canonical(fs::absolute(output), error);
        if (!seen.insert(error ? fs::absolute(output) : path).second) {
            throw Refusal("'" + output + "' would be written twice");
        }
    }
}

}  // namespace likeness::darkroom

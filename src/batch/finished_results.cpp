#include "batch/finished_results.hpp"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>

namespace likeness {
namespace {

std::string escaped(const std::string& name) {
    std::string text;
    for (const char c : name) {
        text += c == '\\' ? "\\\\" : c == '\n' ? "\\n" : std::string(1, c);
    }
    return text;
}

/// Nothing where a backslash stands before something else.
std::optional<std::string> unescaped(const std::string& text) {
    std::string name;
    for (std::size_t k = 0; k < text.size(); ++k) {
        if (text[k] != '\\') {
            name += text[k];
            continue;
        }
        ++k;
        if (k == text.size() || (text[k] != '\\' && text[k] != 'n')) {
            return std::nullopt;
        }
        name += text[k] == 'n' ? '\n' : '\\';
    }
    return name;
}

bool isChecksum(const std::string& text) {
    return text.size() == 64 && text.find_first_not_of("0123456789abcdef") == std::string::npos;
}

std::string lineOf(const FinishedResult& result) {
    return result.parameters + ' ' + result.input + ' ' + result.output + ' ' + escaped(result.name) + '\n';
}

std::optional<FinishedResult> resultIn(const std::string& line) {
    FinishedResult result;
    std::istringstream fields(line);
    std::string name;
    if (!(fields >> result.parameters >> result.input >> result.output) || fields.get() != ' ' ||
        !std::getline(fields, name) || !isChecksum(result.input) || !isChecksum(result.output)) {
        return std::nullopt;
    }
    const std::optional<std::string> plain = unescaped(name);
    if (!plain || plain->empty()) {
        return std::nullopt;
    }
    result.name = *plain;
    return result;
}

std::string textOf(const std::map<std::string, FinishedResult>& results) {
    std::string text;
    for (const auto& [name, result] : results) {
        text += lineOf(result);
    }
    return text;
}

}  // namespace

std::string finishedResultsName(const std::string& operation) {
    return ".darkroom-" + operation + ".done";
}

FinishedResults::FinishedResults(const std::string& folder, const std::string& operation)
    : path_((std::filesystem::path(folder) / finishedResultsName(operation)).string()),
      lock_(path_, OutputLock::Links::refuse) {
    std::ifstream file(path_, std::ios::binary);
    for (std::string line; std::getline(file, line) && !file.eof();) {
        if (auto result = resultIn(line)) {
            known_.insert_or_assign(result->name, *result);
        }
    }
    file.close();
    // The lock is on this very file: it is written anew and not replaced.
    file_ = std::make_unique<AppendedFile>(path_, 0);
    if (!known_.empty()) {
        file_->append(textOf(known_));
    }
}

const FinishedResult* FinishedResults::find(const std::string& name) const {
    const auto found = known_.find(name);
    return found == known_.end() ? nullptr : &found->second;
}

void FinishedResults::add(const std::vector<FinishedResult>& results) {
    std::string lines;
    for (const FinishedResult& result : results) {
        lines += lineOf(result);
    }
    if (!lines.empty()) {
        file_->append(lines);
    }
}

}  // namespace likeness

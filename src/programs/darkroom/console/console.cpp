#include "console/console.hpp"

#include "console/output_check.hpp"
#include "diagnostics/shown_text.hpp"

#include <unistd.h>
#include <cstdio>
#include <iostream>
#include <optional>
#include <utility>

namespace likeness::darkroom {

/// Files as the options say; messages on standard error, which leaves standard output to the results.
class Console::ConsoleDiagnostics final : public Diagnostics {
public:
    ConsoleDiagnostics(const Console& console, const CommonOptions& options) : console_(console) {
        if (!options.dumps.empty()) {
            files_ = std::make_unique<DirectoryDiagnostics>(options.dumps, DirectoryDiagnostics::Messages::dropped);
        }
    }

    bool wantsFiles() const noexcept override { return files_ != nullptr; }
    bool wantsMessages() const noexcept override { return console_.verbose(); }
    void writeImage(const std::string& name, const cv::Mat& image) const override {
        files(name).writeImage(name, image);
    }
    void writeMap(const std::string& name, const cv::Mat& map, int rows, int cols) const override {
        files(name).writeMap(name, map, rows, cols);
    }
    std::unique_ptr<TextDump> openText(const std::string& name) const override { return files(name).openText(name); }
    void print(std::string_view text) const override {
        if (wantsMessages()) {
            console_.put(shownLines(text));
        }
    }

    const DirectoryDiagnostics* directory() const noexcept { return files_.get(); }

private:
    const Diagnostics& files(const std::string& name) const {
        return files_ == nullptr || !console_.leavesFilesAlone(name) ? dropAll()
                                                                     : static_cast<const Diagnostics&>(*files_);
    }

    const Console& console_;
    std::unique_ptr<DirectoryDiagnostics> files_;
};

Console::Console(std::string command, CommonOptions options)
    : command_(std::move(command)), options_(std::move(options)), terminal_(::isatty(STDERR_FILENO) == 1) {
    if (!options_.dumps.empty()) {
        checkFolder("--dumps", options_.dumps);
    }
    if (!options_.assumedProfile.empty()) {
        profiles_.assumed = profileAsked("--assume-profile", options_.assumedProfile);
    }
    profiles_.ignore = options_.ignoreProfiles;
    diagnostics_ = std::make_unique<ConsoleDiagnostics>(*this, options_);
}

Console::Console(const Console& parent, Notes& notes, std::string replaceable)
    : command_(parent.command_),
      options_(parent.options_),
      notes_(&notes),
      replaceable_(std::move(replaceable)),
      profiles_(parent.profiles_),
      terminal_(false),
      diagnostics_(std::make_unique<ConsoleDiagnostics>(*this, options_)) {}

Console::~Console() {
    showProgress({});
}

const Diagnostics& Console::diagnostics() const noexcept {
    return *diagnostics_;
}

void Console::tell(std::string_view line) const {
    if (!options_.quiet) {
        say(line);
    }
}

void Console::warn(std::string_view line) const {
    say("warning: " + std::string(line));
}

void Console::complain(std::string_view line) const {
    say(line);
}

void Console::relay(const std::string& lines) const {
    put(lines);
}

void Console::give(const std::string& text) const {
    if (notes_ != nullptr) {
        const std::scoped_lock lock(output_);
        notes_->results += text;
        return;
    }
    std::cout << text;
}

void Console::say(std::string_view line) const {
    put("darkroom " + command_ + ": " + shownText(line) + '\n');
}

void Console::put(const std::string& lines) const {
    const std::scoped_lock lock(output_);
    if (notes_ != nullptr) {
        notes_->lines += lines;
        return;
    }
    clearProgress();
    std::fwrite(lines.data(), 1, lines.size(), stderr);
}

void Console::showProgress(std::string_view text) const {
    if (!showsProgress()) {
        return;
    }
    const std::scoped_lock lock(output_);
    clearProgress();
    progressShown_ = !text.empty();
    if (progressShown_) {
        std::fwrite(text.data(), 1, text.size(), stderr);
    }
    std::fflush(stderr);
}

void Console::clearProgress() const {
    if (progressShown_) {
        std::fputs("\r\033[K", stderr);  // to the start of the line, and erase it
        progressShown_ = false;
    }
}

void Console::keepFromDumps(const std::string& path, const std::string& what) const {
    const std::scoped_lock lock(kept_);
    keptFromDumps_.add(path, what);
}

bool Console::leavesFilesAlone(const std::string& dump) const {
    const std::string path = options_.dumps + '/' + dump;
    std::optional<std::string> replaced;
    bool said = false;
    {
        const std::scoped_lock lock(kept_);
        replaced = keptFromDumps_.find(path);
        said = replaced && !leftOut_.insert(dump).second;
    }
    if (replaced && !said) {
        warn("--dumps: '" + path + "' is left out, it would replace " + *replaced);
    }
    return !replaced;
}

void Console::reportDumps() const {
    if (diagnostics_->directory() != nullptr) {
        for (const std::string& name : diagnostics_->directory()->failures()) {
            warn("cannot write '" + options_.dumps + '/' + name + "'");
        }
    }
}

}  // namespace likeness::darkroom

#include <likeness/diagnostics/diagnostics.hpp>

#include "codecs/image_codecs.hpp"
#include "diagnostics/number_text.hpp"
#include "diagnostics/output_file.hpp"
#include "modules/module_loader.hpp"

#include <sys/resource.h>
#include <algorithm>
#include <filesystem>
#include <iostream>
#include <system_error>
#include <utility>

namespace likeness {

/// A text dump's file. The next writer of the same name takes it over; what the first still says is then dropped.
class TextFile {
public:
    explicit TextFile(const std::string& path) : file_(path) {}

    void write(std::string_view text) {
        const std::scoped_lock lock(mutex_);
        if (!takenOver_) {
            file_.write(text);
        }
    }

    void takeOver() {
        const std::scoped_lock lock(mutex_);
        takenOver_ = true;
    }

    /// @return  whether everything that was this dump's to write is in the file
    bool close() {
        const std::scoped_lock lock(mutex_);
        return file_.close();
    }

private:
    std::mutex mutex_;
    OutputFile file_;
    bool takenOver_ = false;
};

namespace {

class FileTextDump final : public TextDump {
public:
    FileTextDump(std::shared_ptr<TextFile> file, std::function<void()> onFailure)
        : file_(std::move(file)), onFailure_(std::move(onFailure)) {}

    ~FileTextDump() override {
        if (!file_->close()) {
            onFailure_();
        }
    }

    void write(std::string_view text) override { file_->write(text); }

private:
    std::shared_ptr<TextFile> file_;
    std::function<void()> onFailure_;
};

class DroppedTextDump final : public TextDump {
public:
    void write(std::string_view /*text*/) override {}
};

class DroppedDiagnostics final : public Diagnostics {
public:
    bool wantsFiles() const noexcept override { return false; }
    bool wantsMessages() const noexcept override { return false; }
    void writeImage(const std::string& /*name*/, const cv::Mat& /*image*/) const override {}
    void writeMap(const std::string& /*name*/, const cv::Mat& /*map*/, int /*rows*/, int /*cols*/) const override {}
    std::unique_ptr<TextDump> openText(const std::string& /*name*/) const override {
        return std::make_unique<DroppedTextDump>();
    }
    void print(std::string_view /*text*/) const override {}
};

std::string extensionOf(const std::string& name) {
    const std::size_t dot = name.rfind('.');
    return dot == std::string::npos ? std::string() : name.substr(dot);
}

}  // namespace

DirectoryDiagnostics::DirectoryDiagnostics(std::string directory, Messages messages)
    : directory_(std::move(directory)), messages_(messages) {}

DirectoryDiagnostics::~DirectoryDiagnostics() = default;

std::string DirectoryDiagnostics::path(const std::string& name) const {
    return directory_.empty() ? name : directory_ + '/' + name;
}

void DirectoryDiagnostics::writeFile(const std::string& name,
                                     const std::function<bool(const std::string& path)>& write) const {
    const std::scoped_lock lock(files_);
    takeOver(name);
    if (!write(path(name))) {
        failures_.insert(name);
    }
}

void DirectoryDiagnostics::writeImage(const std::string& name, const cv::Mat& image) const {
    if (image.empty()) {
        return;
    }
    // Encoded outside the lock, so that threads wait only for the disk.
    std::vector<uchar> bytes;
    bool encoded = false;
    try {
        encoded = encodeImage(extensionOf(name), image, bytes);
    } catch (const cv::Exception&) {
        encoded = false;  // no such format, or not for this image: a dump that cannot be kept
    } catch (const ModuleProblem&) {
        encoded = false;
    }
    writeFile(name, [&](const std::string& path) {
        if (!encoded) {
            return false;
        }
        OutputFile file(path);
        file.write({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
        return file.close();
    });
}

void DirectoryDiagnostics::writeMap(const std::string& name, const cv::Mat& map, int rows, int cols) const {
    writeFile(name, [&](const std::string& path) { return writeMapText(path, map, rows, cols); });
}

void DirectoryDiagnostics::takeOver(const std::string& name) const {
    const auto found = openTexts_.find(name);
    if (found != openTexts_.end()) {
        if (const std::shared_ptr<TextFile> open = found->second.lock()) {
            open->takeOver();
        }
        openTexts_.erase(found);
    }
}

std::unique_ptr<TextDump> DirectoryDiagnostics::openText(const std::string& name) const {
    std::shared_ptr<TextFile> file;
    {
        const std::scoped_lock lock(files_);
        takeOver(name);
        file = std::make_shared<TextFile>(path(name));
        openTexts_[name] = file;
    }
    return std::make_unique<FileTextDump>(std::move(file), [this, name] {
        const std::scoped_lock lock(files_);
        failures_.insert(name);
    });
}

void DirectoryDiagnostics::print(std::string_view text) const {
    if (messages_ == Messages::toStandardOutput) {
        const std::scoped_lock lock(output_);
        std::cout.write(text.data(), static_cast<std::streamsize>(text.size())).flush();
    }
}

std::vector<std::string> DirectoryDiagnostics::failures() const {
    const std::scoped_lock lock(files_);
    return {failures_.begin(), failures_.end()};
}

bool DirectoryDiagnostics::wouldBeReplaced(const std::vector<std::string>& names, std::uintmax_t bytes) const {
    namespace fs = std::filesystem;
    std::error_code problem;
    const fs::space_info space = fs::space(directory_.empty() ? "." : directory_, problem);
    ::rlimit limit{};
    if (problem || space.available / (names.size() + 1) < bytes || ::getrlimit(RLIMIT_FSIZE, &limit) != 0 ||
        (limit.rlim_cur != RLIM_INFINITY && limit.rlim_cur < bytes)) {
        return false;
    }
    return std::all_of(names.begin(), names.end(), [this](const std::string& name) {
        std::error_code unknown;
        const fs::file_status status = fs::status(path(name), unknown);
        return status.type() == fs::file_type::not_found || status.type() == fs::file_type::regular;
    });
}

const Diagnostics& workingDirectory() {
    static const DirectoryDiagnostics diagnostics{std::string()};
    return diagnostics;
}

const Diagnostics& dropAll() {
    static const DroppedDiagnostics diagnostics;
    return diagnostics;
}

}  // namespace likeness

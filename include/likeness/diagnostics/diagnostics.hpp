/// @file
/// Where the intermediate images, text dumps and messages of an operation go.
///
/// Every operation that writes or prints takes one last argument of type `const Diagnostics&`. Left out, it is
/// `workingDirectory()`: files in the working directory, messages on standard output. A front end that wants them
/// elsewhere hands over a `DirectoryDiagnostics`; one that wants none hands over `dropAll()`, and the dumps are then
/// not even computed.
#pragma once

#include <likeness/export.hpp>

#include <opencv2/core.hpp>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace likeness {

/// A text file that an operation fills while it runs. Writing is safe from several threads: what one call hands over
/// stays together. The file is closed when the object goes.
class LIKENESS_API TextDump {
public:
    virtual ~TextDump() = default;

    /// Appends `text` as it stands; a line brings its own end of line.
    virtual void write(std::string_view text) = 0;
};

/// Receiver of everything that an operation shows on the way to its result. All functions may be called from several
/// threads at once; files and texts handed over in one call are never torn by another. Dumps are there to be looked
/// at: a receiver that cannot keep one does not fail the operation.
class LIKENESS_API Diagnostics {
public:
    virtual ~Diagnostics() = default;

    /// Whether images and text dumps are kept. Where they are not, an operation does no work for them.
    virtual bool wantsFiles() const noexcept = 0;

    /// Whether messages are kept.
    virtual bool wantsMessages() const noexcept = 0;

    /// Keeps an image under a file name whose extension gives the format. Values are handed over as they are: a format
    /// of 8 bits rounds floats to the nearest integer, saturates to 0..255 and turns NaN into 0. An empty image is
    /// not kept.
    virtual void writeImage(const std::string& name, const cv::Mat& image) const = 0;

    /// Keeps the first `rows` x `cols` values of a CV_32F map as text, one value per line, row by row, in the default
    /// float format of a C++ stream (general notation, six significant digits). An existing file is replaced.
    virtual void writeMap(const std::string& name, const cv::Mat& map, int rows, int cols) const = 0;

    /// Opens a text dump; an existing file is emptied. Never null; to be let go before this object.
    virtual std::unique_ptr<TextDump> openText(const std::string& name) const = 0;

    /// Prints text that ends with an end of line; several lines in one call stay together.
    virtual void print(std::string_view text) const = 0;
};

/// Files in the working directory, messages on standard output. The default of every operation.
LIKENESS_API const Diagnostics& workingDirectory();

/// Keeps nothing.
LIKENESS_API const Diagnostics& dropAll();

class TextFile;

/// Files in a directory of the caller's choice; messages on standard output or nowhere. Of several threads that write
/// one name at a time the last to begin keeps the file.
class LIKENESS_API DirectoryDiagnostics final : public Diagnostics {
public:
    /// Where messages go.
    enum class Messages {
        toStandardOutput,  ///< printed
        dropped            ///< nowhere
    };

    /// @param directory  an existing directory; empty stands for the working directory at the time of each write
    explicit DirectoryDiagnostics(std::string directory, Messages messages = Messages::toStandardOutput);
    ~DirectoryDiagnostics() override;

    bool wantsFiles() const noexcept override { return true; }
    bool wantsMessages() const noexcept override { return messages_ == Messages::toStandardOutput; }
    void writeImage(const std::string& name, const cv::Mat& image) const override;
    void writeMap(const std::string& name, const cv::Mat& map, int rows, int cols) const override;
    std::unique_ptr<TextDump> openText(const std::string& name) const override;
    void print(std::string_view text) const override;

    /// Names of the files that could not be written, in alphabetical order.
    std::vector<std::string> failures() const;

    /// Whether nothing would be seen of dumps of these names once others of the same names are written after them: each
    /// name is free or that of a regular file, and the disk and the process's limits have room for `bytes` in each.
    bool wouldBeReplaced(const std::vector<std::string>& names, std::uintmax_t bytes) const;

private:
    std::string path(const std::string& name) const;
    /// Ends the text dump that is open under a name, if there is one. `files_` is held.
    void takeOver(const std::string& name) const;
    /// Lets `write` fill the file `name`; it returns whether the file is complete.
    void writeFile(const std::string& name, const std::function<bool(const std::string& path)>& write) const;

    std::string directory_;
    Messages messages_;
    mutable std::mutex files_;  // one writer at a time: files may share a name
    mutable std::mutex output_;
    mutable std::set<std::string> failures_;
    mutable std::map<std::string, std::weak_ptr<TextFile>> openTexts_;
};

}  // namespace likeness

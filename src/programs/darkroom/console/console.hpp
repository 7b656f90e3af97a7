// What every subcommand shares: how much it says, and where its diagnostics go.
#pragma once

#include <likeness/diagnostics/diagnostics.hpp>
#include "files/file_access.hpp"
#include "files/file_set.hpp"
#include "photofile/managed_colors.hpp"
#include "photofile/photograph_reader.hpp"

#include <cstdint>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <string_view>

namespace likeness::darkroom {

/// Options that every subcommand has.
struct CommonOptions {
    std::string dumps;  ///< folder that keeps the diagnostic files; empty: they are dropped
    bool quiet = false;
    bool verbose = false;
    std::uint64_t mostPixels = usualMostPixels;  ///< of an image that is read
    int threads = 0;                             ///< at the same time; 0: not said
    std::string assumedProfile{};                ///< name or file; empty: sRGB
    bool ignoreProfiles = false;
};

/// What is said and given of one photograph of many, kept until its turn comes.
struct Notes {
    std::string lines;    ///< for standard error, each with its end
    std::string results;  ///< for standard output
};

/// One run of the program. Results go to standard output or into named files; everything that is said here goes to
/// standard error, one line each, begun with the program's and the subcommand's name; what a terminal would act on is
/// shown escaped (diagnostics/shown_text.hpp). Safe to call from several threads.
class Console final : public FileAccess {
public:
    /// @param command  name of the subcommand
    /// @throws Refusal  if the folder of the dumps does not exist or cannot be written, or the assumed profile cannot be
    ///                  had
    Console(std::string command, CommonOptions options);
    /// One photograph of many in the run of `parent`: with the same options, it shows no progress and notes what it says
    /// and gives.
    /// @param parent, notes  must outlive it
    /// @param replaceable    an input that may be replaced; empty for none
    Console(const Console& parent, Notes& notes, std::string replaceable = {});
    ~Console() override;
    Console(const Console&) = delete;
    Console& operator=(const Console&) = delete;

    /// Name of the subcommand.
    const std::string& command() const noexcept { return command_; }
    /// The input that an output may replace; empty for none.
    const std::string& replaceable() const noexcept { return replaceable_; }
    bool quiet() const noexcept { return options_.quiet; }
    bool verbose() const noexcept { return options_.verbose; }
    std::uint64_t mostPixels() const noexcept override { return options_.mostPixels; }
    /// As it was named; empty where it was not.
    const std::string& assumedProfile() const noexcept { return options_.assumedProfile; }
    const ProfileChoice& profiles() const noexcept override { return profiles_; }

    /// Says what was done; dropped by --quiet.
    void tell(std::string_view line) const override;

    /// Says what the user should know although the work goes on. Not dropped by --quiet.
    void warn(std::string_view line) const override;

    /// Says why something was not done although the rest goes on.
    void complain(std::string_view line) const;

    /// Writes the lines that another console noted.
    void relay(const std::string& lines) const;

    /// Writes a text that is a result to standard output.
    void give(const std::string& text) const;

    /// Shows `text` on the last line of a terminal in place of what was there; empty text takes it away. Nothing where
    /// standard error is no terminal, or with --quiet.
    void showProgress(std::string_view text) const;

    /// Whether `showProgress` shows anything.
    bool showsProgress() const noexcept { return terminal_ && !options_.quiet; }

    /// Receiver for the operations of the library: keeps files with --dumps, tells messages with --verbose.
    const Diagnostics& diagnostics() const noexcept;

    /// Keeps dumps from taking the place of a file: such a dump is left out, with a warning.
    /// @param what  the file as the warning names it
    void keepFromDumps(const std::string& path, const std::string& what) const;

    /// Warns of every diagnostic file that could not be written. Called once, when the subcommand is done.
    void reportDumps() const;

private:
    class ConsoleDiagnostics;

    void say(std::string_view line) const;
    void put(const std::string& lines) const;
    /// Whether a dump may be written; warns the first time if not.
    bool leavesFilesAlone(const std::string& dump) const;
    void clearProgress() const;

    std::string command_;
    CommonOptions options_;
    Notes* notes_ = nullptr;
    std::string replaceable_;
    ProfileChoice profiles_;
    bool terminal_;
    mutable std::mutex output_;
    mutable bool progressShown_ = false;
    mutable std::mutex kept_;
    mutable FileSet keptFromDumps_;
    mutable std::set<std::string> leftOut_;  ///< names of dumps
    std::unique_ptr<ConsoleDiagnostics> diagnostics_;
};

}  // namespace likeness::darkroom

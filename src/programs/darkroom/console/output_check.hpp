// Checks of what is to be written, made before the work begins.
#pragma once

#include "console/console.hpp"
#include "files/file_set.hpp"

#include <string>
#include <string_view>
#include <vector>

namespace likeness::darkroom {

/// Refuses a folder that does not exist, is no folder, or cannot be written.
/// @param option  the option that names it, for the refusal
/// @throws Refusal
void checkFolder(std::string_view option, const std::string& folder);

/// Refuses a folder that does not exist or is no folder. An option that is not given, "", passes.
/// @throws Refusal
void checkReadFolder(std::string_view option, const std::string& folder);

/// What inputs are: "-" among photographs is standard input, which is taken for one.
enum class InputKind { photographs, others };

/// The files that a call reads and those that it is going to write. Every check of an output goes through one, so that
/// no result ever replaces a file that is read, or another result, under whatever name, through links or not. What the
/// operation dumps is not planned: its names are known only when it dumps, and the console leaves out what would
/// replace a planned file.
class OutputPlan {
public:
    /// @param console  told which files dumps must leave alone
    /// @param inputs   every file that the call reads; empty names, of options that are not given, do not count, nor do
    ///                 terminals and pipes. "-" is standard input, which is taken here
    /// @throws Refusal  if "-" is there twice, or nothing can be read
    OutputPlan(const Console& console, const std::vector<std::string>& inputs, InputKind kind = InputKind::photographs);

    /// Adds a file that an option may name in place of a word: what is no file does not count.
    void mayRead(const std::string& path);

    /// Refuses a file that is read, which became known after the outputs, where it is one of them.
    /// @throws Refusal
    void readsToo(const std::string& path) const;

    /// Adds a file that is written; "-" is standard output.
    /// @param option  the option that named it, for refusals
    /// @throws Refusal  if its folder is one that `checkFolder` would refuse, if it is a folder itself or exists and
    ///                  cannot be written, if it is an input, or another output
    void file(std::string_view option, const std::string& path);

    /// The same for what is no image: an image that is there is not replaced by it.
    void data(std::string_view option, const std::string& path);

    /// The same for an HTML page, whose name must say so.
    void page(std::string_view option, const std::string& path);

    /// Refuses a file that is written or removed besides, such as a lock, where it is an input.
    /// @throws Refusal
    void aside(std::string_view option, const std::string& path) const;

private:
    const Console& console_;
    FileSet inputs_;
    FileSet outputs_;   ///< by option and name
    FileSet optionOf_;  ///< by option
};

}  // namespace likeness::darkroom

/// @file
/// Shared objects of ours that are loaded when something first needs them, because the libraries that they stand on take
/// longer to load than most runs take: `likeness_NAME.so`.
///
/// Looked for in the folder that the environment variable LIKENESS_MODULES names, if it is set, and nowhere else then;
/// else where the loader looks for the libraries of the calling program or library, then where they are installed.
#pragma once

#include <likeness/export.hpp>

#include <stdexcept>
#include <string>

namespace likeness {

/// A module cannot be loaded; one line that says which, why, and what to do.
class ModuleProblem : public std::runtime_error {
public:
    ModuleProblem(const std::string& what, int errorNumber) : std::runtime_error(what), errorNumber_(errorNumber) {}

    /// The system's, as EMFILE, where the machine lacked something; else 0.
    int errorNumber() const noexcept { return errorNumber_; }

private:
    int errorNumber_;
};

/// The entry of a module, which stays loaded. Safe to call from several threads; a failure is tried again by the next
/// call.
/// @param module  NAME
/// @param entry   name of a function with C linkage
/// @throws ModuleProblem
LIKENESS_API void* moduleEntry(const std::string& module, const char* entry);

}  // namespace likeness

#pragma once

#include <sys/types.h>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace likeness::testing {

struct Outcome {
    int status = -1;  ///< exit status, or 1000 + signal
    std::string out;
    std::string err;
};

/// Runs a program in a folder and waits for it.
/// @param arguments  the program's path first
/// @param prepare    what the new process does before it becomes the program: limits, signals
Outcome run(const std::vector<std::string>& arguments, const std::filesystem::path& workingDirectory,
            const std::function<void()>& prepare = {});

/// Leaves the process without another thread. Root has no such limit: it becomes a user without rights.
void forbidThreads();

/// The pieces of what a program printed, without their ends.
std::vector<std::string> linesOf(const std::string& text, char end = '\n');

/// Starts a program in a folder, its output thrown away.
::pid_t start(const std::vector<std::string>& arguments, const std::filesystem::path& workingDirectory,
              const std::function<void()>& prepare = {});

/// Waits for a started program and returns its status as in `Outcome`.
int statusOf(::pid_t process);

}  // namespace likeness::testing

#pragma once

#include <string>

namespace likeness::darkroom {

/// The file that locks an output while it is written, and that goes afterwards.
std::string lockOf(const std::string& output);

/// Keeps a second process from writing the same output, as long as the object lives. The lock is one of the system on
/// the file OUTPUT.lock and ends with the process, however that ends; a file that a killed process left behind locks
/// nothing.
class OutputLock {
public:
    /// @throws Refusal  if another process has it
    explicit OutputLock(const std::string& output);
    ~OutputLock();
    OutputLock(const OutputLock&) = delete;
    OutputLock& operator=(const OutputLock&) = delete;

private:
    std::string path_;
    int descriptor_ = -1;
};

/// Whether another process holds the lock of an output.
bool isLocked(const std::string& output);

}  // namespace likeness::darkroom

#pragma once

#include <string>

namespace likeness {

/// Keeps a second process from writing the same output, as long as the object lives: the same file, whatever the names
/// that it goes by (symbolic and hard links). The lock is one of the system and ends with the process, however that
/// ends.
///
/// It lies on one byte of the file itself, far behind any content, and belongs to the open file (fcntl's
/// F_OFD_SETLK): SQLite's locks on other bytes of a database do not meet it. On NFS it holds between machines where the
/// server keeps locks, as it does by default from version 4 on; a server that loses its locks in a crash gives them
/// back to the clients that are still there. Where a file system has no locks the output is refused.
class OutputLock {
public:
    enum class Links { follow, refuse };

    /// Opens the file and locks it. If there is none an empty one is made, which goes again with the lock if nothing
    /// was written into it.
    /// @param shown     the name that the user knows, of a working file; empty: the output's own
    /// @throws Refusal  if another process has it
    explicit OutputLock(const std::string& output, Links links = Links::follow, const std::string& shown = {});
    ~OutputLock();
    OutputLock(const OutputLock&) = delete;
    OutputLock& operator=(const OutputLock&) = delete;

    /// Whether the file was there before.
    bool existed() const noexcept { return !created_; }

private:
    std::string path_;
    int descriptor_ = -1;
    bool created_ = false;
};

/// Whether another process holds the lock of an output. Not for a database that this process has open: SQLite would
/// lose its own locks on it.
bool isLocked(const std::string& output);

}  // namespace likeness

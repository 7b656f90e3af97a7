#pragma once

#include <string_view>

namespace likeness {

/// Receives what the reading and writing of files has to say to the user, one line at a time. Safe to call from several
/// threads.
class Notices {
public:
    virtual ~Notices() = default;

    /// What was done.
    virtual void tell(std::string_view line) const = 0;

    /// What the user should know although the work goes on.
    virtual void warn(std::string_view line) const = 0;
};

}  // namespace likeness

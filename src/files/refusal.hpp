#pragma once

#include <stdexcept>

namespace likeness {

/// Why a request is not carried out: one line for the user, which names the file or the option and says what is wrong
/// with it. Arguments and inputs are refused before anything is written; what writes may throw one in the middle, and
/// then says what stays behind.
class Refusal : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

}  // namespace likeness

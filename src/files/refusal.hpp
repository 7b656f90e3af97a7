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

/// Memory is short. What is at work at the same time takes memory too: alone, the same may be done.
class MemoryShortage : public Refusal {
public:
    using Refusal::Refusal;
};

}  // namespace likeness

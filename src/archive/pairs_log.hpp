// Pairs that were found so far, in a file that only grows: what a stopped search goes on from.
//
// The file: "LKPAIRS\n", a key of 16 digits, then parts. A part is: u32 number of pairs, u32 bytes of text, u64 first entry
// that is not searched yet, u32 CRC-32 of the 16 bytes before and of what follows; for each pair u32 first, u32 second; the
// text: lines of damage.
#pragma once

#include "batch/appended_file.hpp"

#include <chrono>
#include <cstdint>
#include <fstream>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace likeness {

/// What the parts of such a file hold together.
struct PairsLogState {
    std::uint64_t wholeBytes = 0;  ///< up to behind the last whole part
    std::uint64_t next = 0;        ///< first entry that is not searched yet
    std::uint64_t pairs = 0;
    std::vector<std::string> damage;
};

/// Reads the file part by part.
class PairsLogReader {
public:
    using Numbers = std::pair<std::uint32_t, std::uint32_t>;

    /// @return  nothing if there is no such file, or not even its head is whole
    static std::optional<PairsLogReader> open(const std::string& path);

    const std::string& key() const noexcept { return key_; }

    /// @return  false at the end, or where a part is not whole
    bool next(std::vector<Numbers>& pairs);

    /// Of the parts that were read.
    const PairsLogState& state() const noexcept { return state_; }

private:
    std::ifstream file_;
    std::uintmax_t fileBytes_ = 0;
    std::string key_;
    PairsLogState state_;
};

/// Reads all of it.
/// @param key  receives the file's
std::optional<PairsLogState> stateOfPairsLog(const std::string& path, std::string& key);

/// Appends to the file. Parts are written when they are large or old: what is lost by a kill is a second's work.
class PairsLogWriter {
public:
    /// @param keep  whole bytes to go on behind; 0: the file begins anew
    /// @throws Refusal  like everything here
    PairsLogWriter(const std::string& path, const std::string& key, std::uint64_t keep);

    void add(std::uint64_t next, const std::vector<PairsLogReader::Numbers>& pairs,
             const std::vector<std::string>& damage);

    /// Writes what was added. Once it has returned, that outlives the process.
    void flush();

private:
    AppendedFile file_;
    std::string bytes_;
    std::string text_;
    std::uint64_t next_ = 0;
    bool fresh_ = false;  ///< whether something was added since the last part
    std::chrono::steady_clock::time_point written_ = std::chrono::steady_clock::now();
};

}  // namespace likeness

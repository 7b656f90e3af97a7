#pragma once

#include "batch/batch_summary.hpp"
#include "batch/pair_list.hpp"
#include "batch/result_store.hpp"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace likeness {

/// Columns behind those of the list that follow from what a pair's comparison gave.
struct ComputedColumns {
    std::vector<std::string> names;
    CarriedValue::Kind kind = CarriedValue::Kind::text;
    /// Numbers as texts, one a name, empty for none; of pairs that were compared.
    std::function<std::vector<std::string>(const PairOutcome& outcome)> values;
};

/// Version and parameters that all records of one output share.
struct ResultOrigin {
    std::string version;
    std::string parameters;
    /// In which kind of value the hue's coefficient is recorded, in `hueColumn`; without a value it is not.
    std::optional<CarriedValue::Kind> hue = {};
    /// They stand before the hue's coefficient.
    std::optional<ComputedColumns> computed = {};
    /// The same of the distances, in the columns ahead of it (`distanceColumns`).
    std::optional<CarriedValue::Kind> distances = {};
};

/// The record of a pair of the list.
ResultRecord recordOf(const Pair& pair, std::uint64_t pairs, PairOutcome outcome, const ResultOrigin& origin);

/// What earlier runs left of an output.
struct EarlierResults {
    /// How many pairs, the first of the list, the output holds; a run goes on behind them.
    std::size_t recorded = 0;
    BatchSummary summary;       ///< of these
    ResultReader::Tail tail;    ///< of the output
    std::uint64_t dropped = 0;  ///< bytes at its end that are no whole record
    std::size_t changed = 0;    ///< pairs that are compared again because a photograph has changed since
    std::size_t withoutChecksums =
        0;                  ///< pairs that are compared again because checksums are asked for, and they have none
    bool upgraded = false;  ///< whether there are records of the first version, which is written no more
    bool damaged = false;   ///< whether the end of a database could not be read, and is made again

    /// Outcomes of further pairs, by their number in the list, which need not be compared again; empty or of the list's
    /// size.
    std::vector<std::unique_ptr<PairOutcome>> known;
};

struct ResumeOptions {
    bool retryFailed = false;  ///< whether pairs that failed count as missing
    bool checksums = false;    ///< whether records have the photographs' SHA-256, which must still agree
    std::string root{};        ///< folder that relative paths start from; empty: the working directory
};

/// A path of a list under the folder that relative ones start from.
std::string pathUnder(const std::string& root, const std::string& path);

/// Name of the file that keeps earlier results while an output is written anew, because the list has changed.
std::string previousResults(const std::string& output);

/// Looks at what is there of an output, checks it against the list, and prepares the output for writing. Called under
/// the output's lock. If the records are those of the first pairs of the list, the run can append to them. If they are
/// those of other pairs of it (pairs were added to the list since, or failed ones are to be done again), what is known
/// moves to `previousResults`, and the output is emptied, to be written anew.
///
/// A pair counts as missing, too, if one of its photographs has another size or time than was recorded: it has changed.
/// One that is gone has not: what is recorded of it is all there is. Where the record does not say, as those of the first
/// version, the photograph is taken for unchanged if it was read.
///
/// @throws Refusal  records of another version, of other parameters, of pairs that are not in the list or name other
///                  photographs, doubled ones, and damage other than a cut-off last record; nothing is changed then
EarlierResults resumeResults(const ResultFile& file, const PairList& pairs, const ResultOrigin& origin,
                             const ResumeOptions& options);

/// Removes what `resumeResults` moved away, and what a killed process left of that, once the output is whole.
void dropPreviousResults(const ResultFile& file);

}  // namespace likeness

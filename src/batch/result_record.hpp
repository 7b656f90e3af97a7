// What is recorded of one pair of photographs. docs/formats.md has the table of the fields.
#pragma once

#include <likeness/comparison/distances.hpp>
#include <likeness/comparison/per_correlate.hpp>
#include "files/file_stamp.hpp"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace likeness {

/// Version of the records' fields. Those of the first version, which know neither checksums nor sizes and times of the
/// photographs, are read too.
inline constexpr int resultSchema = 2;
inline constexpr int firstResultSchema = 1;

/// A value of a further column of the list, carried through to the results.
struct CarriedValue {
    enum class Kind : char {
        absent = 'a',  ///< the line of the list has no such member
        text = 't',
        json = 'j',  ///< a value other than a string, as JSON text
    };

    std::string column;
    Kind kind = Kind::absent;
    std::string text;

    bool operator==(const CarriedValue&) const = default;
};

/// Columns of a list that say where the masks of its photographs are.
inline constexpr const char* firstMaskColumn = "first_mask";
inline constexpr const char* secondMaskColumn = "second_mask";

/// The path in one of them; empty if there is none.
std::string maskIn(const std::vector<CarriedValue>& carried, const char* column);

/// Columns of predicted opinion scores, ahead of the hue's, in results that have them.
inline constexpr std::array<const char*, 4> predictionColumns = {"predicted", "predicted_low", "predicted_high",
                                                                 "predicted_outside"};

/// The column of the hue's coefficient, behind those of the list, in results that have one.
inline constexpr const char* hueColumn = "hue";

/// The column of results of a shard of an archive's pairs, ahead of the hue's: "I/N" and a fingerprint of what was asked.
/// Merging takes it away: positions and numbers of pairs are those of the shard until then.
inline constexpr const char* pairsShardColumn = "pairs_shard";

/// What the one record of such a shard says, instead of why a pair could not be compared, where it has no pairs: so it
/// tells which shard it is, and its results are none of something else. Its pair has no photographs. Readers leave it out.
inline constexpr const char* shardWithoutPairs = "this shard has no pairs";

/// What is recorded of one photograph of a pair.
struct PhotographFacts {
    int width = 0;  ///< pixels; 0 if it could not be read
    int height = 0;
    std::array<double, 5> nanShares{};  ///< share of the pixels whose correlate is NaN, 0..1
    std::optional<FileStamp> stamp{};   ///< of the file that was read; nothing if there was none, or if it is not known
    std::string sha256{};               ///< of the file, 64 hexadecimal digits; empty where nobody asked for it

    bool operator==(const PhotographFacts&) const = default;
};

/// What came of one pair.
struct PairOutcome {
    PhotographFacts first;
    PhotographFacts second;
    std::array<float, 5> coefficients{};                  ///< without meaning if there is an error
    std::optional<float> hue;                             ///< the sixth, where it was asked for
    std::optional<PerCorrelate<BinDistances>> distances;  ///< where they were asked for
    std::string error;                                    ///< why the pair could not be compared; empty if it was
    std::string remarks;                                  ///< of the decoders

    bool compared() const noexcept { return error.empty(); }
};

struct ResultRecord {
    int schema = resultSchema;   ///< that it was read as; what is written is of the present one
    std::uint64_t position = 0;  ///< in the list, from 1
    std::uint64_t pairs = 0;     ///< in the whole list
    std::string id;
    std::string first;
    std::string second;
    PairOutcome outcome;
    std::string version;     ///< of the program
    std::string parameters;  ///< fingerprint of what changes numbers
    std::string checksum;    ///< that was read with it; what is written gets its own
    std::vector<CarriedValue> carried;
    double milliseconds = 0;  ///< wall time; kept apart from the record
};

/// Takes the hue's coefficient out of the carried values, behind which it stands in files.
void takeHue(ResultRecord& record);

/// Whether the parameters of a record say that the hue has a coefficient; without, a column of its name is the list's.
bool comparesHue(const ResultRecord& record);

/// ASCII letters in lower case, others as they are.
std::string lowerCase(std::string_view text);

}  // namespace likeness

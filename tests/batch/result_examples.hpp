#pragma once

#include "batch/result_record.hpp"

namespace likeness::testing {

inline std::vector<std::string> exampleColumns() {
    return {"note", "iso"};
}

/// Record of a pair of nine: with an even position one that failed, and whose second photograph could not be read.
inline ResultRecord exampleRecord(std::uint64_t position) {
    ResultRecord made;
    made.position = position;
    made.pairs = 9;
    made.id = "pair " + std::to_string(position);
    made.first = "a, \"b\".jpg";
    made.second = "c\nd.jpg";
    if (position % 2 == 0) {
        made.outcome.error = "cannot read 'c\nd.jpg' as an image";
        made.outcome.first = {
            30, 20, {0, 0.25, 1, 1.0 / 3, 0}, FileStamp{1234, 1700000000123456789}, std::string(64, 'a')};
    } else {
        made.outcome.coefficients = {0.123456789F, 1.0F, 0.0F, 1.00000012F, 1e-7F};
        made.outcome.first = {4000, 3000, {0, 0, 0, 0, 0.5}, FileStamp{98765, 0}, std::string(64, '0')};
        made.outcome.second = {1, 1, {1, 1, 1, 1, 1}, FileStamp{77, 1700000000000000000}, std::string(64, '1')};
        made.outcome.remarks = "'a': Premature end of JPEG file";
    }
    made.version = "1.2.3";
    made.parameters = "0123456789abcdef";
    made.carried = {{"note", CarriedValue::Kind::text, "x,\ny"}, {"iso", CarriedValue::Kind::text, "100"}};
    made.milliseconds = 12.5;
    return made;
}

}  // namespace likeness::testing

// The columns of a batch's output: those of the list, and what the batch adds.
#pragma once

#include <string>
#include <vector>

namespace likeness {

/// What a batch records beside the coefficients.
struct AddedColumns {
    bool distances = false;
    bool predictions = false;
    bool hue = false;
    std::string prefix{};  ///< of the options' names in refusals
};

/// @param list  columns of the list of pairs
/// @throws Refusal  if the list has a column of an added name
std::vector<std::string> outputColumns(const std::vector<std::string>& list, const AddedColumns& added);

}  // namespace likeness

// What records say of the files of a pair's masks, so that a resumed run notices another one.
#pragma once

#include "batch/result_record.hpp"

#include <string>
#include <vector>

namespace likeness {

/// Columns behind those of a list that has masks: size and time of each mask's file, "BYTES NANOSECONDS", and the SHA-256
/// behind them where checksums are asked for. Texts in every format; empty where the pair has no mask, or no such file.
/// @param ofList  columns of the list
std::vector<std::string> maskFileColumns(const std::vector<std::string>& ofList);

/// Whether a column of results is one of them.
bool isMaskFileColumn(const std::string& column);

/// The values of these columns for the files as they are now.
/// @param ofList   columns of the list
/// @param carried  values of the list's columns
/// @param root     folder that relative paths start from; empty: the working directory
std::vector<CarriedValue> maskFilesNow(const std::vector<std::string>& ofList, const std::vector<CarriedValue>& carried,
                                       const std::string& root, bool checksums);

/// Whether a mask is another file than the record says. One that is gone has not changed, as with photographs.
/// @param recorded  values of these columns; empty: the record does not say
bool masksHaveChanged(const std::vector<CarriedValue>& recorded, const std::vector<CarriedValue>& now);

/// Takes the values out of the end of a record's carried ones.
std::vector<CarriedValue> takeMaskFiles(ResultRecord& record);

}  // namespace likeness

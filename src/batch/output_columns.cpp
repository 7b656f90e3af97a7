#include "batch/output_columns.hpp"

#include "batch/csv.hpp"
#include "batch/distance_columns.hpp"
#include "batch/mask_files.hpp"
#include "batch/pair_list.hpp"
#include "batch/result_record.hpp"
#include "files/refusal.hpp"

#include <algorithm>

namespace likeness {
namespace {

bool has(const std::vector<std::string>& columns, const std::string& name) {
    return std::find(columns.begin(), columns.end(), name) != columns.end();
}

/// @throws Refusal  if the list has a column of their names
void addPredictions(std::vector<std::string>& columns, const std::string& option) {
    for (const char* const name : predictionColumns) {
        for (const std::string& column : columns) {
            if (lowerCase(column) == name) {
                throw Refusal(option + ": the list has a column '" + column +
                              "', which is the name of a column of the results");
            }
        }
    }
    columns.insert(columns.end(), predictionColumns.begin(), predictionColumns.end());
}

}  // namespace

std::vector<std::string> outputColumns(const std::vector<std::string>& list, const AddedColumns& added) {
    std::vector<std::string> columns = list;
    for (const std::string& name : maskFileColumns(list)) {
        if (has(columns, name)) {
            throw Refusal(added.prefix + "output: the list has a column '" + name +
                          "', which says in the results which file a mask is");
        }
        columns.push_back(name);
    }
    if (added.distances) {
        for (const std::string& name : distanceColumns()) {
            if (has(columns, name)) {
                throw Refusal(added.prefix + "distances: the list has a column '" + name +
                              "', which is the name of a distance in the results");
            }
        }
        columns.insert(columns.end(), distanceColumns().begin(), distanceColumns().end());
    }
    if (added.predictions) {
        addPredictions(columns, added.prefix + "predict");
    }
    if (added.hue) {
        if (has(columns, hueColumn)) {
            throw Refusal(added.prefix + "hue: the list has a column '" + hueColumn +
                          "', which is the name of the hue's coefficient in the results");
        }
        columns.emplace_back(hueColumn);
    }
    return columns;
}

}  // namespace likeness

// What the JSON that the program prints has in common.
#pragma once

#include <nlohmann/json.hpp>

#include <string>

namespace likeness::darkroom {

/// An object that begins with the name and the number of its schema and the version of the program.
/// @param name  what follows "darkroom.": "white"
nlohmann::ordered_json jsonOfSchema(const std::string& name, int version);

/// Indented by two spaces, with a line end. Bytes that are not UTF-8, of names of files, become U+FFFD.
std::string indentedJson(const nlohmann::ordered_json& json);

/// In one line, with its end; the same otherwise.
std::string lineOfJson(const nlohmann::ordered_json& json);

/// JSON has no NaN and no infinity: they become null.
nlohmann::ordered_json numberOrNull(double value);

/// The same of a number as results give it (`roundedToNineDigits`).
nlohmann::ordered_json roundedOrNull(double value);

}  // namespace likeness::darkroom

#pragma once

#include <string>
#include <string_view>

namespace likeness {

/// How deep arrays and objects of a line of JSON may be nested. The JSON library copies and prints values by recursion:
/// a line of brackets would exhaust the stack.
inline constexpr int mostJsonDepth = 64;

/// Whether the text opens more arrays and objects within each other than `mostJsonDepth`. Exact for text that is JSON;
/// for other text, never less than what a parser meets before its first error.
bool nestsTooDeep(std::string_view json) noexcept;

/// The refusal, to stand behind the place in the file.
std::string tooDeepMessage();

}  // namespace likeness

#include "batch/json_depth.hpp"

namespace likeness {

bool nestsTooDeep(std::string_view json) noexcept {
    int depth = 0;
    bool quoted = false;
    for (std::size_t k = 0; k < json.size(); ++k) {
        const char c = json[k];
        if (quoted) {
            k += c == '\\' ? 1U : 0U;
            quoted = c != '"';
        } else if (c == '"') {
            quoted = true;
        } else if (c == '[' || c == '{') {
            if (++depth > mostJsonDepth) {
                return true;
            }
        } else if (c == ']' || c == '}') {
            --depth;
        }
    }
    return false;
}

std::string tooDeepMessage() {
    return "arrays and objects are nested more than " + std::to_string(mostJsonDepth) + " deep";
}

}  // namespace likeness

#include <likeness/diagnostics/name_text.hpp>

namespace likeness {

std::string convertIntToString(int n) {
    return std::to_string(n);
}

std::string remove_extension(const std::string& name) {
    return name.substr(0, name.rfind('.'));  // npos keeps the whole name
}

}  // namespace likeness

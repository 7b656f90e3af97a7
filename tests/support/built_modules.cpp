#include "support/built_modules.hpp"

#include "support/needed_package.hpp"

#include <map>
#include <string>

namespace likeness::testing {

bool isModuleBuilt(std::string_view module) {
    const std::string all = std::string(",") + LIKENESS_MODULES_OF_BUILD + ',';
    const bool built = all.find(',' + std::string(module) + ',') != std::string::npos;
    if (!built && areAllPackagesInstalled()) {
        ADD_FAILURE() << "all packages are there, and the module " << module << " was not built";
    }
    return built;
}

bool canBeWritten(std::string_view name) {
    const std::map<std::string_view, std::string_view> modules{
        {"exr", "openexr"}, {"jxl", "jxl"}, {"avif", "heif"}, {"tif", "tiff"}};
    const auto module = modules.find(name.substr(name.rfind('.') + 1));
    return module == modules.end() || isModuleBuilt(module->second);
}

}  // namespace likeness::testing

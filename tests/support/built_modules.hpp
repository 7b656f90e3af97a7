// Which modules this build has: where one is built, a test of it is made and not skipped.
#pragma once

#include <string_view>

namespace likeness::testing {

/// @param module  such as "jxl"; not built where its library was not found
bool isModuleBuilt(std::string_view module);

/// Whether files with the extension of this name can be written: whether their module is built, where they have one.
bool canBeWritten(std::string_view name);

}  // namespace likeness::testing

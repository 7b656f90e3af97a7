/// @file
/// What every module has: the entry by which the loader knows that it fits, and how entries are exported. Included by the
/// one source file of a module.
#pragma once

#include "modules/module_identity.hpp"

#include <cstring>

#define LIKENESS_MODULE_ENTRY extern "C" __attribute__((visibility("default")))

LIKENESS_MODULE_ENTRY bool likeness_module_fits(const char* identity);

LIKENESS_MODULE_ENTRY bool likeness_module_fits(const char* identity) {
    return std::strcmp(identity, likeness::moduleIdentity) == 0;
}

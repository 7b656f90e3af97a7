#include "modules/module_loader.hpp"

#include "modules/module_identity.hpp"

#include <dlfcn.h>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <vector>

namespace likeness {
namespace {

using FitsEntry = bool (*)(const char* identity);

/// What the loader says of its last failure.
std::string loaderText() {
    const char* const text = ::dlerror();
    return text == nullptr ? "unknown reason" : text;
}

/// The loader hands on the system's reason only as a part of its text, and of a shortage of memory in words of its own.
int machineErrorIn(const std::string& text) {
    for (const char* const shortage :
         {"failed to map segment", "annot allocate memory", "annot create shared object descriptor", "out of memory",
          "annot map zero-fill pages", "annot create search path array"}) {
        if (text.find(shortage) != std::string::npos) {
            return ENOMEM;
        }
    }
    for (const int problem : {EMFILE, ENFILE, ENOMEM, EIO}) {
        if (text.find(std::strerror(problem)) != std::string::npos) {
            return problem;
        }
    }
    return 0;
}

std::vector<std::string> placesOf(const std::string& file) {
    const char* const folder = std::getenv("LIKENESS_MODULES");
    if (folder != nullptr && *folder != '\0') {
        return {std::string(folder) + '/' + file};
    }
    std::vector<std::string> places{file};
    for (const char* const directory : {LIKENESS_MODULE_DIRECTORIES}) {
        places.push_back(std::string(directory) + '/' + file);
    }
    return places;
}

/// The loader's handle, of a module that was built with this library.
void* loaded(const std::string& file) {
    std::string reasons;
    for (const std::string& place : placesOf(file)) {
        void* const handle = ::dlopen(place.c_str(), RTLD_NOW | RTLD_LOCAL);
        if (handle == nullptr) {
            const std::string reason = loaderText();
            reasons += (reasons.empty() ? "" : "; ") + reason;
            continue;
        }
        const auto fits = reinterpret_cast<FitsEntry>(::dlsym(handle, "likeness_module_fits"));
        if (fits != nullptr && fits(moduleIdentity)) {
            return handle;
        }
        reasons += (reasons.empty() ? "'" : "; '") + place + "' is not of " + moduleIdentity;
        ::dlclose(handle);
    }
    throw ModuleProblem(
        "the module " + file + " cannot be loaded (" + reasons + "); install it, or set LIKENESS_MODULES to its folder",
        machineErrorIn(reasons));
}

}  // namespace

void* moduleEntry(const std::string& module, const char* entry) {
    static std::mutex mutex;
    static std::map<std::string, void*> handles;
    const std::string file = "likeness_" + module + ".so";
    const std::scoped_lock lock(mutex);
    void*& handle = handles[file];
    if (handle == nullptr) {
        handle = loaded(file);
    }
    void* const address = ::dlsym(handle, entry);
    if (address == nullptr) {
        throw ModuleProblem("the module " + file + " has no '" + entry + "'; install the one of " + moduleIdentity, 0);
    }
    return address;
}

}  // namespace likeness

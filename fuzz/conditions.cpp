// Viewing conditions in files.
#include "console/viewing_options.hpp"
#include "files/refusal.hpp"
#include "harness.hpp"

using namespace likeness;
using namespace likeness::darkroom;
using namespace likeness::fuzz;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string path = scratchPath("conditions.json");
    writeFile(path, textOf(data, size));
    NamedConditions named;
    try {
        named = conditionsFrom(path);
    } catch (const Refusal&) {
        return 0;
    }
    const std::string text = jsonOf(named).dump();
    writeFile(path, text);
    require(jsonOf(conditionsFrom(path)).dump() == text, "conditions that are written are read equal");
    return 0;
}

// What a process that has read a photograph sends to the one that asked for it.
#include "batch/isolated_analysis.hpp"
#include "files/refusal.hpp"
#include "harness.hpp"

using namespace likeness;
using namespace likeness::fuzz;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    PhotographAnalysis analysis;
    try {
        analysis = analysisFromMessage(textOf(data, size));
    } catch (const Refusal&) {
        return 0;
    }
    const std::string message = analysisMessage(analysis);
    require(analysisMessage(analysisFromMessage(message)) == message, "an analysis that is sent is read equal");
    return 0;
}

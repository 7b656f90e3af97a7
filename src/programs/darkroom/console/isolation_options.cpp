#include "console/isolation_options.hpp"

#include "console/option_checks.hpp"
#include "files/refusal.hpp"

#include <charconv>

namespace likeness::darkroom {
namespace {

constexpr double usualSeconds = 300;

}  // namespace

std::uint64_t memoryIn(const std::string& text) {
    std::uint64_t count = 0;
    const char* const end = text.data() + text.size();
    const auto [rest, problem] = std::from_chars(text.data(), end, count);
    const std::string_view suffix(rest, static_cast<std::size_t>(end - rest));
    const int power = suffix.empty() || suffix == "M" || suffix == "MiB" ? 20
                      : suffix == "K" || suffix == "KiB"                 ? 10
                      : suffix == "G" || suffix == "GiB"                 ? 30
                                                                         : 0;
    constexpr std::uint64_t most = std::uint64_t{1} << 46;
    if (problem != std::errc() || power == 0 || count > most >> static_cast<unsigned>(power)) {
        return 0;
    }
    return count << static_cast<unsigned>(power);
}

std::optional<WorkLimits> IsolationOptions::limits() const {
    if (isolate == "no") {
        if (fileSeconds != usualSeconds || !fileMemory.empty()) {
            throw Refusal("--isolate no: --file-seconds and --file-memory are limits of processes of their own");
        }
        return std::nullopt;
    }
    return WorkLimits{fileSeconds, fileMemory.empty() ? machineMemory() : memoryIn(fileMemory)};
}

void addIsolationOptions(OptionParser& app, IsolationOptions& options) {
    app.addOption("--isolate", options.isolate,
                  optionText("Read photographs in processes of their own, so that one that crashes its reader costs "
                             "itself alone; no is for trusted files",
                             "--isolate no"))
        ->check(oneOf({"yes", "no"}))
        ->showDefault();
    app.addOption("--file-seconds", options.fileSeconds,
                  optionText("Seconds that a photograph may take, from 0.1; one that takes more has failed",
                             "--file-seconds 60"))
        ->typeName("S")
        ->check(numberBetween(0.1, 1e6))
        ->showDefault();
    app.addOption(
           "--file-memory", options.fileMemory,
           optionText("Memory that a photograph may take, in MiB or with K, M or G, from 64; one that takes more "
                      "has failed. By default as much as the machine has",
                      "--file-memory 2G"))
        ->typeName("MIB")
        ->check(OptionCheck(
            [](std::string& text) {
                constexpr std::uint64_t least = std::uint64_t{64} << 20U;
                return memoryIn(text) >= least ? std::string()
                                               : "'" + text + "' is no memory from 64 MiB on, such as 512 or 2G";
            },
            ""));
}

}  // namespace likeness::darkroom

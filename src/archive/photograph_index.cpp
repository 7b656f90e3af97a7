#include "archive/photograph_index.hpp"

#include <likeness/version.hpp>
#include "batch/parameters.hpp"
#include "files/file_checksum.hpp"
#include "files/refusal.hpp"
#include "photofile/opened_file.hpp"

#include <sys/stat.h>
#include <algorithm>
#include <array>
#include <charconv>
#include <utility>

namespace likeness {
namespace {

std::array<std::uint8_t, 32> bytesOf(const std::string& hexadecimal) {
    std::array<std::uint8_t, 32> bytes{};
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        std::from_chars(hexadecimal.data() + 2 * i, hexadecimal.data() + 2 * i + 2, bytes[i], 16);
    }
    return bytes;
}

}  // namespace

FileState stateOf(const std::string& path) {
    struct ::stat status {};
    if (::stat(path.c_str(), &status) != 0) {
        return {};
    }
    constexpr std::int64_t nanoseconds = 1'000'000'000;
    return {true, static_cast<std::uint64_t>(status.st_size),
            status.st_mtim.tv_sec * nanoseconds + status.st_mtim.tv_nsec};
}

bool isCurrent(const ArchivedPhotograph& entry) {
    return stateOf(entry.path) == FileState{true, entry.bytes, entry.modified};
}

bool hasChecksum(const ArchivedPhotograph& entry) {
    try {
        return bytesOf(fingerprintOf(entry.path).sha256) == entry.sha256;
    } catch (const Refusal&) {
        return false;
    }
}

ArchivedPhotograph indexedPhotograph(const std::string& path, AnalysisTables& tables, std::uint64_t mostPixels,
                                     const AnalysisOptions& options, const ProfileChoice& profiles) {
    return indexedPhotograph(path, [&] { return analyzePhotograph(path, tables, mostPixels, options, profiles); });
}

ArchivedPhotograph indexedPhotograph(const std::string& path, const std::function<PhotographAnalysis()>& analyze) {
    ArchivedPhotograph photograph;
    photograph.path = path;
    const FileState before = stateOf(path);
    PhotographAnalysis analysis = analyze();
    photograph.problem = std::move(analysis.problem);
    photograph.profile = std::move(analysis.profile);
    photograph.remarks = std::move(analysis.remarks);
    if (before.exists) {
        photograph.bytes = before.bytes;
        photograph.modified = before.modified;
        try {
            if (stampOf(path)) {  // nobody waits for what a pipe may say
                photograph.sha256 = bytesOf(fingerprintOf(path).sha256);
            }
        } catch (const UnreadableFile& unreadable) {
            if (isOfTheMachine(unreadable.errorNumber())) {
                throw;
            }
            photograph.problem += photograph.analysed() ? ": its checksum cannot be made" : "";
        }
    }
    if (photograph.analysed() && stateOf(path) != before) {
        photograph.problem = ": it changed while it was read";
    }
    if (photograph.analysed()) {
        photograph.width = analysis.facts.width;
        photograph.height = analysis.facts.height;
        photograph.distributions = std::move(analysis.distributions);
    }
    return photograph;
}

ArchiveOrigin originOf(const AnalysisOptions& options, const ProfileChoice& profiles) {
    AnalysisOptions its = options;
    its.maps = false;
    return {LIKENESS_VERSION, parameterFingerprint(options, profiles), comparisonParameters(options, profiles), its};
}

bool isOfWholePhotographs(const ArchiveOrigin& origin) {
    for (const char* const part : {";mask=", ";alpha=use", ";region=", ";center-weighted"}) {
        if (origin.parameters.find(part) != std::string::npos) {
            return false;
        }
    }
    return true;
}

PhotographAnalysis analysisOf(ArchivedPhotograph photograph) {
    PhotographAnalysis analysis;
    analysis.problem = std::move(photograph.problem);
    analysis.profile = std::move(photograph.profile);
    analysis.remarks = std::move(photograph.remarks);
    const std::uint64_t modified = static_cast<std::uint64_t>(std::max<std::int64_t>(0, photograph.modified));
    if (photograph.bytes > 0) {
        analysis.facts.stamp = FileStamp{photograph.bytes, modified};
    }
    if (analysis.problem.empty()) {
        analysis.distributions = std::move(photograph.distributions);
        const CorrelateShares& shares = analysis.distributions.nanShares;
        analysis.facts.width = photograph.width;
        analysis.facts.height = photograph.height;
        analysis.facts.nanShares = {shares.brightness, shares.lightness, shares.chroma, shares.colorfulness,
                                    shares.saturation};
    }
    return analysis;
}

}  // namespace likeness

// The file of approximate searches beside an archive. Its archive's name and its checksums are made right.
#include "archive/approximate_index.hpp"
#include "archive/made_photographs.hpp"
#include "files/refusal.hpp"
#include "harness.hpp"

#include <cmath>
#include <cstring>
#include <set>

using namespace likeness;
using namespace likeness::archive;
using namespace likeness::fuzz;

namespace {

const Archive& madeArchive() {
    static const Archive made = [] {
        const std::string path = scratchPath("made.archive");
        std::vector<ArchivedPhotograph> photographs;
        for (std::size_t k = 0; k < 40; ++k) {
            photographs.push_back(testing::madePhotograph(k, k));
        }
        testing::writeMade(path, photographs);
        return Archive(path);
    }();
    return made;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr std::size_t headBytes = 72;
    constexpr std::size_t headRoom = 128;
    const Archive& archive = madeArchive();
    std::string bytes = textOf(data, size);
    if (bytes.size() >= headRoom) {
        const auto set = [&](std::size_t at, std::uint32_t number) {
            std::memcpy(bytes.data() + at, &number, sizeof number);
        };
        bytes.replace(16, 16, archive.identity());
        set(64, checksum(std::string_view(bytes).substr(headBytes)));
        set(68, checksum(std::string_view(bytes).substr(0, 68)));
    }
    writeFile(approximateIndexPath(archive.path()), bytes);
    try {
        const ApproximateIndex index(archive);
        ArchiveSearch search;
        search.top = 5;
        std::set<std::size_t> met;
        for (const ArchiveHit& hit : index.nearest(archive.distributions(0), search, 20)) {
            require(hit.entry < archive.size(), "what is found is in the archive");
            require(met.insert(hit.entry).second, "an entry is found once");
            require(std::isfinite(hit.score), "a score is a number");
        }
        require(met.size() <= search.top, "no more is found than was asked for");
    } catch (const Refusal&) {
    }
    return 0;
}

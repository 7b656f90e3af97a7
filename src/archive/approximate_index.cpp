#include "archive/approximate_index.hpp"

#include "files/replaced_file.hpp"
#include "modules/module_loader.hpp"
#include "modules/nearest.hpp"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstring>
#include <fstream>
#include <functional>
#include <queue>
#include <string_view>

namespace likeness {

using namespace archive;

namespace {

constexpr std::string_view magic{"LKNEAR\r\n", 8};
constexpr std::uint32_t version = 1;
constexpr std::size_t headBytes = 72;
constexpr std::size_t headRoom = 128;
constexpr std::uint32_t links = 32;
constexpr std::size_t effort = 200;
constexpr std::size_t recallTop = 10;
constexpr std::size_t recallSample = 50;

/// The sketches of the entries that have an appearance, one after the other.
struct Sketches {
    std::vector<std::uint8_t> bytes;
    std::vector<std::uint32_t> entries;
};

Sketches sketchesOf(const ArchiveFile& archive) {
    Sketches all;
    for (std::size_t b = 0; b < archive.blocks(); ++b) {
        const BlockPlace& place = archive.block(b);
        const std::string_view sketches = archive.sketches(b);
        for (std::size_t i = 0; i < place.entries; ++i) {
            if (!archive.analysed(place.firstEntry + i)) {
                continue;
            }
            all.entries.push_back(static_cast<std::uint32_t>(place.firstEntry + i));
            for (std::size_t k = 0; k < correlateNames.size(); ++k) {
                for (std::size_t g = 0; g < sketchGroups; ++g) {
                    all.bytes.push_back(static_cast<std::uint8_t>(sketches[sketchPlace(i, k, g)]));
                }
            }
        }
        archive.forget(b);
    }
    return all;
}

/// A photograph as the graph's sketches are held against it: square roots of the sums of the groups.
std::vector<std::int16_t> queryOf(const AppearanceDistributions& photograph, const GroupEdges& edges) {
    constexpr double scale = 254;
    std::vector<std::int16_t> query;
    for (std::size_t k = 0; k < correlateNames.size(); ++k) {
        std::array<double, sketchGroups> sums{};
        for (const auto& [bin, probability] : photograph[k]) {
            const auto group = std::upper_bound(edges[k].begin(), edges[k].end(), bin) - edges[k].begin();
            sums[static_cast<std::size_t>(group)] += static_cast<double>(probability);
        }
        for (const double sum : sums) {
            query.push_back(static_cast<std::int16_t>(std::lround(scale * std::sqrt(std::min(sum, 1.0)))));
        }
    }
    return query;
}

std::int64_t productOf(const std::int16_t* query, const std::uint8_t* sketch) {
    int sum = 0;
    for (std::size_t i = 0; i < sketchBytes; ++i) {
        sum += int{query[i]} * int{sketch[i]};
    }
    return sum;
}

void write(const std::string& path, const std::string& bytes) {
    try {
        replaceFile(path, bytes);
    } catch (const Refusal& refusal) {
        throw Refusal(std::string("--approximate: ") + refusal.what());
    }
}

std::string fileOf(const ArchiveFile& archive, const Sketches& sketches, const NearestGraph& graph,
                   const ApproximateRecall& recall) {
    std::string content(headRoom - headBytes, '\0');
    for (std::size_t node = 0; node < sketches.entries.size(); ++node) {
        content.append(reinterpret_cast<const char*>(sketches.bytes.data()) + node * sketchBytes, sketchBytes);
        put(content, sketches.entries[node]);
        content.append(reinterpret_cast<const char*>(graph.ground.data() + node * (links + 1)),
                       (links + 1) * sizeof(std::uint32_t));
    }
    content.append(reinterpret_cast<const char*>(graph.above.data()), graph.above.size() * sizeof(std::uint32_t));
    std::string head(magic);
    put(head, endianMark);
    put(head, version);
    head += archive.identity();
    put(head, static_cast<std::uint32_t>(sketches.entries.size()));
    put(head, links);
    put(head, graph.first);
    put(head, graph.topLevel);
    put(head, recall.recall);
    put(head, static_cast<std::uint32_t>(recall.photographs));
    put(head, static_cast<std::uint32_t>(graph.above.size()));
    put(head, checksum(content));
    put(head, checksum(head));
    return head + content;
}

double secondsSince(std::chrono::steady_clock::time_point begin) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

ApproximateRecall measured(const ArchiveFile& archive, const Sketches& sketches) {
    const ApproximateIndex index(archive);
    ApproximateRecall result;
    ArchiveSearch search;
    search.top = recallTop;
    std::size_t wanted = 0;
    std::size_t found = 0;
    result.photographs = std::min(recallSample, sketches.entries.size());
    for (std::size_t i = 0; i < result.photographs; ++i) {
        const std::size_t entry = sketches.entries[i * sketches.entries.size() / result.photographs];
        const AppearanceDistributions photograph = archive.distributions(entry);
        auto begin = std::chrono::steady_clock::now();
        const std::vector<ArchiveHit> exact = nearestEntries(archive, photograph, search);
        result.exactSeconds += secondsSince(begin);
        begin = std::chrono::steady_clock::now();
        const std::vector<ArchiveHit> approximate = index.nearest(photograph, search);
        result.approximateSeconds += secondsSince(begin);
        wanted += exact.size();
        for (const ArchiveHit& hit : exact) {
            found += static_cast<std::size_t>(std::count_if(
                approximate.begin(), approximate.end(), [&](const ArchiveHit& its) { return its.entry == hit.entry; }));
        }
    }
    const double count = std::max<double>(1, static_cast<double>(result.photographs));
    result.exactSeconds /= count;
    result.approximateSeconds /= count;
    result.recall = wanted == 0 ? 1 : static_cast<double>(found) / static_cast<double>(wanted);
    return result;
}

/// A multiple of every size of a page.
constexpr std::size_t pieceBytes = std::size_t{1} << 22;

/// Pages of the file that were read and are not needed now: they would count as this process's memory.
void dropPages(const char* begin, std::size_t bytes) {
    ::madvise(const_cast<char*>(begin), bytes, MADV_DONTNEED);
}

/// Of all behind the head.
/// @param all  mapped from the beginning of a page
std::uint32_t checksumInPieces(std::string_view all) {
    std::uint32_t sum = 0;
    for (std::size_t begin = 0; begin < all.size(); begin += pieceBytes) {
        const std::string_view piece = all.substr(begin, pieceBytes);
        sum = checksum(begin == 0 ? piece.substr(headBytes) : piece, sum);
        dropPages(piece.data(), piece.size());
    }
    return sum;
}

}  // namespace

bool isForeignApproximateIndex(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::string beginning(magic.size(), ' ');
    if (!file || file.peek() == std::ifstream::traits_type::eof()) {
        return false;
    }
    return !file.read(beginning.data(), static_cast<std::streamsize>(beginning.size())) || beginning != magic;
}

std::string approximateIndexPath(const std::string& archive) {
    return archive + ".nearest";
}

ApproximateRecall buildApproximateIndex(const ArchiveFile& archive,
                                        const std::function<bool(std::size_t done, std::size_t all)>& progress) {
    if (!archive.finished()) {
        throw Refusal("'" + archive.path() + "' is unfinished or damaged; darkroom index --resume or repair first");
    }
    const Sketches sketches = sketchesOf(archive);
    NearestGraph graph;
    if (!sketches.entries.empty()) {
        NearestVectors vectors;
        vectors.bytes = sketches.bytes.data();
        vectors.count = sketches.entries.size();
        vectors.dimensions = sketchBytes;
        vectors.links = links;
        vectors.effort = effort;
        vectors.progress = [&](std::size_t done) { return !progress || progress(done, vectors.count); };
        std::string problem;
        try {
            reinterpret_cast<BuildNearestEntry>(moduleEntry("nearest", "likeness_build_nearest"))(vectors, graph,
                                                                                                  problem);
        } catch (const ModuleProblem& missing) {
            throw Refusal(std::string("--approximate: ") + missing.what());
        }
        if (!problem.empty()) {
            throw Refusal("--approximate: the index of '" + archive.path() + "' was not built: " + problem);
        }
    }
    const std::string path = approximateIndexPath(archive.path());
    write(path, fileOf(archive, sketches, graph, {}));
    const ApproximateRecall recall = measured(archive, sketches);
    write(path, fileOf(archive, sketches, graph, recall));
    return recall;
}

ApproximateIndex::ApproximateIndex(const ArchiveFile& archive) : archive_(archive) {
    const std::string path = approximateIndexPath(archive.path());
    const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) {
        throw Refusal("--approximate: cannot read '" + path + "': " + std::strerror(errno) +
                      "; darkroom index --approximate makes it");
    }
    struct ::stat status {};
    void* mapped = MAP_FAILED;
    if (::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode) && status.st_size > 0) {
        length_ = static_cast<std::size_t>(status.st_size);
        mapped = ::mmap(nullptr, length_, PROT_READ, MAP_SHARED, descriptor, 0);
    }
    ::close(descriptor);
    const auto refuse = [&](const std::string& what) {
        return Refusal("--approximate: '" + path + "' " + what + "; darkroom index --approximate makes it anew");
    };
    if (mapped == MAP_FAILED) {
        throw refuse("is no index");
    }
    bytes_ = static_cast<const char*>(mapped);
    try {
        const std::string_view all(bytes_, length_);
        if (length_ < headRoom || all.substr(0, 8) != magic ||
            numberAt<std::uint32_t>(bytes_ + 68) != checksum(all.substr(0, 68)) ||
            numberAt<std::uint32_t>(bytes_ + 8) != endianMark || numberAt<std::uint32_t>(bytes_ + 12) != version) {
            throw refuse("is no index, or one of another version");
        }
        if (all.substr(16, 16) != archive.identity()) {
            throw refuse("is stale: the archive has changed since");
        }
        count_ = numberAt<std::uint32_t>(bytes_ + 32);
        links_ = numberAt<std::uint32_t>(bytes_ + 36);
        first_ = numberAt<std::uint32_t>(bytes_ + 40);
        topLevel_ = numberAt<std::uint32_t>(bytes_ + 44);
        recall_ = numberAt<double>(bytes_ + 48);
        sample_ = numberAt<std::uint32_t>(bytes_ + 56);
        const auto words = numberAt<std::uint32_t>(bytes_ + 60);
        nodeBytes_ = sketchBytes + (std::size_t{links_} + 2) * sizeof(std::uint32_t);
        if (count_ > length_ / nodeBytes_ ||
            length_ != headRoom + count_ * nodeBytes_ + words * sizeof(std::uint32_t) ||
            checksumInPieces(all) != numberAt<std::uint32_t>(bytes_ + 64)) {
            throw refuse("is damaged");
        }
        nodes_ = reinterpret_cast<const std::uint8_t*>(bytes_ + headRoom);
        above_.resize(words);
        if (words > 0) {
            std::memcpy(above_.data(), nodes_ + count_ * nodeBytes_, words * sizeof(std::uint32_t));
        }
        if (!readLevels() || !leadsNowhereElse()) {
            throw refuse("is damaged");
        }
    } catch (...) {
        ::munmap(mapped, length_);
        throw;
    }
}

ApproximateIndex::~ApproximateIndex() {
    ::munmap(const_cast<char*>(bytes_), length_);
}

/// Finds where the nodes of higher levels stand.
/// @return  whether their links lead to nodes
bool ApproximateIndex::readLevels() {
    const std::size_t room = links_ / 2;
    for (std::size_t at = 0; at < above_.size();) {
        if (above_.size() - at < 2 || above_[at] >= count_ ||
            (!placesAbove_.empty() && above_[at] <= placesAbove_.back().first) ||
            above_[at + 1] > (above_.size() - at - 2) / (room + 1)) {
            return false;
        }
        placesAbove_.emplace_back(above_[at], at);
        const std::size_t levels = above_[at + 1];
        at += 2;
        for (std::size_t level = 0; level < levels; ++level, at += room + 1) {
            const auto first = above_.begin() + static_cast<std::ptrdiff_t>(at) + 1;
            if (above_[at] > room ||
                std::any_of(first, first + above_[at], [&](std::uint32_t node) { return node >= count_; })) {
                return false;
            }
        }
    }
    return true;
}

/// Whether all links on the ground lead to nodes, and these to entries of the archive, ascending. A checksum that holds
/// says nothing of a file that somebody has made.
bool ApproximateIndex::leadsNowhereElse() const {
    if (!archive_.head().edges || (count_ > 0 && first_ >= count_) ||
        (topLevel_ > 0 && linksAbove(first_, topLevel_) == nullptr)) {
        return false;
    }
    std::size_t least = 0;       // of the next entry
    const char* piece = bytes_;  // whose pages are looked at
    for (std::uint32_t node = 0; node < count_; ++node) {
        const char* const words = reinterpret_cast<const char*>(nodeAt(node)) + sketchBytes;
        for (; static_cast<std::size_t>(words - piece) > pieceBytes; piece += pieceBytes) {
            dropPages(piece, pieceBytes);
        }
        const std::size_t entry = numberAt<std::uint32_t>(words);
        const auto count = numberAt<std::uint32_t>(words + sizeof(std::uint32_t));
        if (entry < least || entry >= archive_.size() || count > links_) {
            return false;
        }
        least = entry + 1;
        for (std::uint32_t i = 0; i < count; ++i) {
            if (numberAt<std::uint32_t>(words + (i + std::size_t{2}) * sizeof(std::uint32_t)) >= count_) {
                return false;
            }
        }
    }
    dropPages(piece, static_cast<std::size_t>(bytes_ + length_ - piece));
    return true;
}

const std::uint32_t* ApproximateIndex::linksAbove(std::uint32_t node, std::uint32_t level) const {
    const auto place = std::lower_bound(placesAbove_.begin(), placesAbove_.end(), std::pair(node, std::size_t{0}));
    if (place == placesAbove_.end() || place->first != node || above_[place->second + 1] < level) {
        return nullptr;
    }
    return above_.data() + place->second + 2 + std::size_t{level - 1} * (links_ / 2 + 1);
}

/// Malkov and Yashunin, algorithms 2 and 5: down through the levels to the nearest node, then on the ground to as many as
/// are wanted.
std::vector<std::uint32_t> ApproximateIndex::nodesNear(const std::vector<std::int16_t>& query,
                                                       std::size_t candidates) const {
    if (count_ == 0) {
        return {};
    }
    const auto product = [&](std::uint32_t node) { return productOf(query.data(), nodeAt(node)); };
    Candidate nearest{product(first_), first_};
    for (std::uint32_t level = topLevel_; level > 0; --level) {
        for (bool moves = true; moves;) {
            moves = false;
            const std::uint32_t* const its = linksAbove(nearest.node, level);
            for (std::uint32_t i = 1; its != nullptr && i <= *its; ++i) {
                if (const std::int64_t other = product(its[i]); other > nearest.product) {
                    nearest = {other, its[i]};
                    moves = true;
                }
            }
        }
    }
    const auto nearer = [](const Candidate& a, const Candidate& b) {
        return a.product > b.product || (a.product == b.product && a.node < b.node);
    };
    const auto farther = [&](const Candidate& a, const Candidate& b) { return nearer(b, a); };
    std::priority_queue<Candidate, std::vector<Candidate>, decltype(farther)> open(farther);  // the nearest first
    std::priority_queue<Candidate, std::vector<Candidate>, decltype(nearer)> found(nearer);   // the farthest first
    std::vector<bool> met(count_);
    std::vector<std::uint32_t> fresh;
    open.push(nearest);
    found.push(nearest);
    met[nearest.node] = true;
    while (!open.empty() && (found.size() < candidates || !nearer(found.top(), open.top()))) {
        const std::uint8_t* const node = nodeAt(open.top().node) + sketchBytes + sizeof(std::uint32_t);
        open.pop();
        const auto count = numberAt<std::uint32_t>(reinterpret_cast<const char*>(node));
        // They lie all over the file: all are asked for before the first is waited for.
        fresh.clear();
        for (std::uint32_t i = 1; i <= count; ++i) {
            const auto other = numberAt<std::uint32_t>(reinterpret_cast<const char*>(node) + i * sizeof(std::uint32_t));
            if (!met[other]) {
                met[other] = true;
                fresh.push_back(other);
                __builtin_prefetch(nodeAt(other));
                __builtin_prefetch(nodeAt(other) + sketchBytes - 1);
            }
        }
        for (const std::uint32_t other : fresh) {
            const Candidate next{product(other), other};
            if (found.size() < candidates || nearer(next, found.top())) {
                open.push(next);
                found.push(next);
                if (found.size() > candidates) {
                    found.pop();
                }
            }
        }
    }
    std::vector<std::uint32_t> nodes;
    for (; !found.empty(); found.pop()) {
        nodes.push_back(found.top().node);
    }
    return nodes;
}

std::vector<ArchiveHit> ApproximateIndex::nearest(const AppearanceDistributions& photograph,
                                                  const ArchiveSearch& search, std::size_t candidates) const {
    const ComparedOnce exact(photograph);
    const SketchQuery sketch(photograph, *archive_.head().edges);
    std::vector<std::pair<double, std::uint32_t>> falling;
    const std::vector<std::uint32_t> nodes =
        nodesNear(queryOf(photograph, *archive_.head().edges), std::max(candidates, search.top));
    for (std::size_t i = 0; i < nodes.size(); i += sketchLanes) {
        const std::size_t here = std::min(sketchLanes, nodes.size() - i);
        std::array<std::uint8_t, sketchLanes * sketchBytes> eight{};
        for (std::size_t lane = 0; lane < here; ++lane) {
            for (std::size_t place = 0; place < sketchBytes; ++place) {
                eight[sketchPlace(lane, place / sketchGroups, place % sketchGroups)] = nodeAt(nodes[i + lane])[place];
            }
        }
        std::array<std::array<float, sketchLanes>, 5> bounds{};
        sketch.bounds(eight.data(), bounds);
        for (std::size_t lane = 0; lane < here; ++lane) {
            std::array<double, 6> coefficients{};
            for (std::size_t k = 0; k < bounds.size(); ++k) {
                coefficients[k] = static_cast<double>(bounds[k][lane]);
            }
            coefficients[hueNumber] = 1.001;  // as in a search
            falling.emplace_back(search.score.of(coefficients) * (1 + 1e-6), nodes[i + lane]);
        }
    }
    std::sort(falling.begin(), falling.end(), std::greater<>());
    const auto before = [](const ArchiveHit& a, const ArchiveHit& b) {
        return a.score > b.score || (a.score == b.score && a.entry < b.entry);
    };
    std::vector<ArchiveHit> hits;
    for (const auto& [bound, node] : falling) {
        if (hits.size() == search.top && bound < hits.back().score) {
            break;
        }
        const std::size_t entry = numberAt<std::uint32_t>(reinterpret_cast<const char*>(nodeAt(node)) + sketchBytes);
        if (search.among && !search.among(entry)) {
            continue;
        }
        std::uint64_t pixels = 0;
        const std::string_view histograms = archive_.histograms(entry, pixels);
        ArchiveHit hit{entry, {}, 0};
        try {
            hit.coefficients = exact.with(histograms, pixels);
        } catch (const HistogramDamage& damage) {
            throw ArchiveDamage("'" + archive_.path() + "', entry " + std::to_string(entry + 1) + ": " + damage.what());
        }
        bool reaches = true;
        for (std::size_t k = 0; k < search.least.size(); ++k) {
            reaches = reaches && hit.coefficients[k] >= search.least[k];
        }
        if (reaches) {
            hit.score = search.score.of(hit.coefficients);
            hits.insert(std::upper_bound(hits.begin(), hits.end(), hit, before), hit);
            hits.resize(std::min(hits.size(), search.top));
        }
    }
    constexpr std::size_t aWhile = 8;  // some 400 places each
    if (searches_.fetch_add(1, std::memory_order_relaxed) % aWhile == aWhile - 1) {
        archive_.forgetIfLarge();
        ::madvise(const_cast<char*>(bytes_), length_, MADV_DONTNEED);
    }
    return hits;
}

}  // namespace likeness

#include "archive/pairs_log.hpp"

#include "archive/archive_bytes.hpp"

#include <algorithm>
#include <filesystem>
#include <string_view>

namespace likeness {

using archive::checksum;
using archive::numberAt;
using archive::put;

namespace {

constexpr std::string_view magic{"LKPAIRS\n", 8};
constexpr std::size_t keyBytes = 16;
constexpr std::size_t partHeadBytes = 20;
constexpr std::size_t bytesOfPair = 8;

bool readInto(std::ifstream& file, std::string& bytes, std::size_t count) {
    bytes.resize(count);
    file.read(bytes.data(), static_cast<std::streamsize>(count));
    return static_cast<std::size_t>(file.gcount()) == count;
}

}  // namespace

std::optional<PairsLogReader> PairsLogReader::open(const std::string& path) {
    PairsLogReader reader;
    reader.file_.open(path, std::ios::binary);
    std::string head;
    if (!reader.file_ || !readInto(reader.file_, head, magic.size() + keyBytes) || head.substr(0, 8) != magic) {
        return std::nullopt;
    }
    std::error_code error;
    reader.fileBytes_ = std::filesystem::file_size(path, error);
    reader.key_ = head.substr(magic.size());
    reader.state_.wholeBytes = head.size();
    return reader;
}

bool PairsLogReader::next(std::vector<Numbers>& pairs) {
    pairs.clear();
    std::string head;
    std::string content;
    if (!readInto(file_, head, partHeadBytes)) {
        return false;
    }
    const auto count = numberAt<std::uint32_t>(head.data());
    const auto textBytes = numberAt<std::uint32_t>(head.data() + 4);
    const std::uint64_t bytes = bytesOfPair * count + textBytes;
    // A damaged number must not ask for memory that the file cannot fill.
    if (bytes > fileBytes_ - state_.wholeBytes || !readInto(file_, content, bytes) ||
        checksum(head.substr(0, 16) + content) != numberAt<std::uint32_t>(head.data() + 16)) {
        return false;
    }
    pairs.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        pairs.emplace_back(numberAt<std::uint32_t>(content.data() + bytesOfPair * i),
                           numberAt<std::uint32_t>(content.data() + bytesOfPair * i + 4));
    }
    for (std::size_t at = bytesOfPair * count; at < content.size();) {
        const std::size_t end = std::min(content.find('\n', at), content.size());
        state_.damage.push_back(content.substr(at, end - at));
        at = end + 1;
    }
    state_.next = numberAt<std::uint64_t>(head.data() + 8);
    state_.pairs += count;
    state_.wholeBytes += head.size() + content.size();
    return true;
}

std::optional<PairsLogState> stateOfPairsLog(const std::string& path, std::string& key) {
    std::optional<PairsLogReader> reader = PairsLogReader::open(path);
    if (!reader) {
        return std::nullopt;
    }
    key = reader->key();
    std::vector<PairsLogReader::Numbers> pairs;
    while (reader->next(pairs)) {
    }
    return reader->state();
}

PairsLogWriter::PairsLogWriter(const std::string& path, const std::string& key, std::uint64_t keep)
    : file_(path, keep) {
    if (keep == 0) {
        file_.append(std::string(magic) + key);
    }
}

void PairsLogWriter::add(std::uint64_t next, const std::vector<PairsLogReader::Numbers>& pairs,
                         const std::vector<std::string>& damage) {
    constexpr std::size_t worthAPart = std::size_t{1} << 16;
    constexpr auto pace = std::chrono::milliseconds(500);
    for (const auto& [first, second] : pairs) {
        put(bytes_, first);
        put(bytes_, second);
    }
    for (const std::string& line : damage) {
        text_ += line + '\n';
    }
    next_ = next;
    fresh_ = true;
    if (bytes_.size() >= worthAPart || std::chrono::steady_clock::now() - written_ > pace) {
        flush();
    }
}

void PairsLogWriter::flush() {
    if (!fresh_) {
        return;
    }
    std::string head;
    put(head, static_cast<std::uint32_t>(bytes_.size() / bytesOfPair));
    put(head, static_cast<std::uint32_t>(text_.size()));
    put(head, next_);
    bytes_ += text_;
    put(head, checksum(head + bytes_));
    file_.append(head + bytes_);
    bytes_.clear();
    text_.clear();
    fresh_ = false;
    written_ = std::chrono::steady_clock::now();
}

}  // namespace likeness

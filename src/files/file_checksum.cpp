#include "files/file_checksum.hpp"

#include "files/refusal.hpp"
#include "modules/crypto.hpp"
#include "modules/module_loader.hpp"

#include <fmt/format.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <vector>

namespace likeness {

FileFingerprint fingerprintOf(const std::string& path) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rb"), &std::fclose);
    const auto refuse = [&path](int problem) {
        return UnreadableFile("cannot read '" + path + "': " + std::strerror(problem), problem);
    };
    if (file == nullptr) {
        throw refuse(errno);
    }
    const auto add = reinterpret_cast<Sha256AddEntry>(moduleEntry("crypto", "likeness_sha256_add"));
    const auto end = reinterpret_cast<Sha256EndEntry>(moduleEntry("crypto", "likeness_sha256_end"));
    const auto drop = [end](void* digest) { end(digest, nullptr); };
    std::unique_ptr<void, decltype(drop)> digest(
        reinterpret_cast<Sha256BeginEntry>(moduleEntry("crypto", "likeness_sha256_begin"))(), drop);
    const auto require = [](bool succeeded) {
        if (!succeeded) {
            throw std::runtime_error("the cryptographic library has no SHA-256");
        }
    };
    require(digest != nullptr);
    FileFingerprint fingerprint;
    std::vector<unsigned char> block(std::size_t{1} << 18);
    while (const std::size_t count = std::fread(block.data(), 1, block.size(), file.get())) {
        fingerprint.bytes += count;
        require(add(digest.get(), block.data(), count));
    }
    if (std::ferror(file.get()) != 0) {
        throw refuse(errno);
    }
    std::array<unsigned char, sha256Bytes> bytes{};
    require(end(digest.release(), bytes.data()));
    for (const unsigned char byte : bytes) {
        fingerprint.sha256 += fmt::format("{:02x}", byte);
    }
    return fingerprint;
}

}  // namespace likeness

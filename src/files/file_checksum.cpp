#include "files/file_checksum.hpp"

#include <fmt/format.h>
#include <openssl/evp.h>

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
    const std::unique_ptr<EVP_MD_CTX, void (*)(EVP_MD_CTX*)> digest(EVP_MD_CTX_new(), &EVP_MD_CTX_free);
    const auto require = [](bool succeeded) {
        if (!succeeded) {
            throw std::runtime_error("the cryptographic library has no SHA-256");
        }
    };
    require(digest != nullptr && EVP_DigestInit_ex(digest.get(), EVP_sha256(), nullptr) == 1);
    FileFingerprint fingerprint;
    std::vector<unsigned char> block(std::size_t{1} << 18);
    while (const std::size_t count = std::fread(block.data(), 1, block.size(), file.get())) {
        fingerprint.bytes += count;
        require(EVP_DigestUpdate(digest.get(), block.data(), count) == 1);
    }
    if (std::ferror(file.get()) != 0) {
        throw refuse(errno);
    }
    std::array<unsigned char, EVP_MAX_MD_SIZE> bytes{};
    unsigned length = 0;
    require(EVP_DigestFinal_ex(digest.get(), bytes.data(), &length) == 1);
    for (unsigned i = 0; i < length; ++i) {
        fingerprint.sha256 += fmt::format("{:02x}", bytes[i]);
    }
    return fingerprint;
}

}  // namespace likeness

// The module `crypto`.
#include "modules/crypto.hpp"

#include "modules/module_entry.hpp"

#include <openssl/evp.h>

#include <algorithm>

LIKENESS_MODULE_ENTRY void* likeness_sha256_begin() {
    EVP_MD_CTX* const digest = EVP_MD_CTX_new();
    if (digest != nullptr && EVP_DigestInit_ex(digest, EVP_sha256(), nullptr) != 1) {
        EVP_MD_CTX_free(digest);
        return nullptr;
    }
    return digest;
}

LIKENESS_MODULE_ENTRY bool likeness_sha256_add(void* digest, const void* bytes, std::size_t count) {
    return EVP_DigestUpdate(static_cast<EVP_MD_CTX*>(digest), bytes, count) == 1;
}

LIKENESS_MODULE_ENTRY bool likeness_sha256_end(void* digest, unsigned char* bytes) {
    auto* const context = static_cast<EVP_MD_CTX*>(digest);
    const bool done = bytes == nullptr || EVP_DigestFinal_ex(context, bytes, nullptr) == 1;
    EVP_MD_CTX_free(context);
    return done;
}

LIKENESS_MODULE_ENTRY std::size_t likeness_base64(const void* bytes, std::size_t count, char* text) {
    // The encoder counts in int; pieces of whole groups of 3 bytes need no padding between them.
    constexpr std::size_t piece = std::size_t{3} << 28;
    const auto* const begin = static_cast<const unsigned char*>(bytes);
    std::size_t length = 0;
    for (std::size_t done = 0; done < count; done += piece) {
        length +=
            static_cast<std::size_t>(EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text + length), begin + done,
                                                     static_cast<int>(std::min(piece, count - done))));
    }
    return length;
}

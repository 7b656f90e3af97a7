/// @file
/// Entries of the module `crypto`: the cryptographic library has more to relocate than all others of the programs
/// together, and few runs make a checksum or a page.
#pragma once

#include <cstddef>

namespace likeness {

/// `likeness_sha256_begin`: a digest that has read nothing, or null.
using Sha256BeginEntry = void* (*)();

/// `likeness_sha256_add`: reads on.
/// @return  whether it could
using Sha256AddEntry = bool (*)(void* digest, const void* bytes, std::size_t count);

inline constexpr std::size_t sha256Bytes = 32;

/// `likeness_sha256_end`: the checksum of what was read.
/// @param bytes  room for `sha256Bytes`; null where nobody wants the checksum
/// @return       whether it could; the digest is gone
using Sha256EndEntry = bool (*)(void* digest, unsigned char* bytes);

/// `likeness_base64`: the text of bytes.
/// @param text  room for 4 characters for 3 bytes or less, and one that ends it
/// @return      characters before the end
using Base64Entry = std::size_t (*)(const void* bytes, std::size_t count, char* text);

}  // namespace likeness

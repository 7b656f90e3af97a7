#include "archive/archive_bytes.hpp"

#include <zlib.h>

namespace likeness::archive {

std::uint32_t checksum(std::string_view bytes, std::uint32_t before) noexcept {
    return static_cast<std::uint32_t>(
        ::crc32_z(before, reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size()));
}

}  // namespace likeness::archive

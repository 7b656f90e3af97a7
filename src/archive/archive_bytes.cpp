#include "archive/archive_bytes.hpp"

#include <zlib.h>

namespace likeness::archive {

std::uint32_t checksum(std::string_view bytes) noexcept {
    return static_cast<std::uint32_t>(::crc32_z(0, reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size()));
}

}  // namespace likeness::archive

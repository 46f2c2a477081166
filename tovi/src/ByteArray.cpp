#include "Tovi/ByteArray.h"

namespace Tovi {

ByteArray::ByteArray(const void* data, std::size_t size)
    : fBytes(static_cast<const std::uint8_t*>(data),
             static_cast<const std::uint8_t*>(data) + size) {}

ByteArray::ByteArray(const std::string& bytes) : fBytes(bytes.begin(), bytes.end()) {}

std::string ByteArray::toString() const {
  return std::string(fBytes.begin(), fBytes.end());
}

}  // namespace Tovi

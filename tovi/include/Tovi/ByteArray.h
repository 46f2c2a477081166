#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace Tovi {

class ByteArray {
 public:
  ByteArray() = default;
  ByteArray(const void* data, std::size_t size);
  explicit ByteArray(const std::string& bytes);

  const std::uint8_t* data() const { return fBytes.data(); }
  std::size_t size() const { return fBytes.size(); }
  bool empty() const { return fBytes.empty(); }
  // The bytes unchanged, as a std::string.
  std::string toString() const;

  friend bool operator==(const ByteArray&, const ByteArray&) = default;

 private:
  std::vector<std::uint8_t> fBytes;
};

}  // namespace Tovi

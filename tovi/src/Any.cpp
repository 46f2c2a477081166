#include "Tovi/Any.h"

#include <cstring>

namespace Tovi {

bool sameTypeName(const char* a, const char* b) {
  if (a == b) return true;
  if (a == nullptr || b == nullptr) return false;
  // Same rule as libstdc++'s type_info equality: a '*' name is local to its module.
  if (a[0] == '*') return false;
  if (b[0] == '*') ++b;
  return std::strcmp(a, b) == 0;
}

any::placeholder::~placeholder() = default;

const char* bad_any_cast::what() const noexcept {
  return "Tovi::bad_any_cast: failed conversion using Tovi::any_cast";
}

}  // namespace Tovi

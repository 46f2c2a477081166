#pragma once
// A hash map from object addresses to one word, stored flat: the entries lie in one array
// probed linearly, so that a lookup is a multiplication, a mask and, as a rule, one cache
// line. A deviant's states are found through it on every read in the deviant.
//
// Keys are non-null pointers (null marks a free entry). Erasure shifts the entries behind
// it back, so that no tombstones pile up and a lookup never scans further than the run of
// entries it hashes into.
#include <bit>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>

namespace Kelpa::detail {

template <class Key, class Value>
class PointerMap {
 public:
  struct Entry {
    const Key* key;
    Value value;
  };

  PointerMap() noexcept = default;
  PointerMap(const PointerMap&) = delete;
  PointerMap& operator=(const PointerMap&) = delete;

  std::size_t size() const noexcept { return fSize; }
  bool empty() const noexcept { return fSize == 0; }

  // The value filed under key, or null.
  Value* find(const Key* key) const noexcept {
    if (fSize == 0) return nullptr;
    for (std::size_t i = home(key);; i = (i + 1) & fMask) {
      Entry& e = fEntries[i];
      if (e.key == key) return &e.value;
      if (!e.key) return nullptr;
    }
  }

  // Files value under key unless key has a value already; gives the key's value and
  // whether it was filed now.
  std::pair<Value*, bool> try_emplace(const Key* key, Value value) {
    if (Value* v = find(key)) return {v, false};
    if ((fSize + 1) * 4 > capacity() * 3) grow();
    std::size_t i = home(key);
    while (fEntries[i].key) i = (i + 1) & fMask;
    fEntries[i] = Entry{key, value};
    ++fSize;
    return {&fEntries[i].value, true};
  }

  // Whether key had a value, which is then gone.
  bool erase(const Key* key) noexcept {
    if (fSize == 0) return false;
    std::size_t i = home(key);
    while (fEntries[i].key != key) {
      if (!fEntries[i].key) return false;
      i = (i + 1) & fMask;
    }
    // Entries behind the hole that may not stand before their home move into it.
    for (std::size_t j = (i + 1) & fMask; fEntries[j].key; j = (j + 1) & fMask) {
      const std::size_t h = home(fEntries[j].key);
      if (((j - h) & fMask) >= ((j - i) & fMask)) {
        fEntries[i] = fEntries[j];
        i = j;
      }
    }
    fEntries[i] = Entry{};
    --fSize;
    return true;
  }

  // Empty, with its array freed.
  void clear() noexcept {
    fEntries.reset();
    fMask = 0;
    fShift = 64;
    fSize = 0;
  }

  template <class F>
  void forEach(F&& f) const {
    for (std::size_t i = 0; i < capacity(); ++i)
      if (fEntries[i].key) f(fEntries[i].key, fEntries[i].value);
  }

 private:
  std::size_t capacity() const noexcept { return fEntries ? fMask + 1 : 0; }

  // Fibonacci hashing of the address without its alignment bits.
  std::size_t home(const Key* key) const noexcept {
    const std::uint64_t h = (reinterpret_cast<std::uintptr_t>(key) >> 3) * 0x9E3779B97F4A7C15ull;
    return static_cast<std::size_t>(h >> fShift);
  }

  void grow() {
    const std::size_t oldCapacity = capacity();
    const std::size_t newCapacity = oldCapacity ? oldCapacity * 2 : 8;
    std::unique_ptr<Entry[]> old = std::move(fEntries);
    fEntries = std::make_unique<Entry[]>(newCapacity);
    fMask = newCapacity - 1;
    fShift = 64 - static_cast<unsigned>(std::countr_zero(newCapacity));
    for (std::size_t i = 0; i < oldCapacity; ++i) {
      if (!old[i].key) continue;
      std::size_t j = home(old[i].key);
      while (fEntries[j].key) j = (j + 1) & fMask;
      fEntries[j] = old[i];
    }
  }

  std::unique_ptr<Entry[]> fEntries;
  std::size_t fMask = 0;
  unsigned fShift = 64;
  std::size_t fSize = 0;
};

}  // namespace Kelpa::detail

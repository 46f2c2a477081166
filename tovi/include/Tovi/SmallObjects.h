#pragma once
// Storage for the many small objects of a model: element identities, their states, the
// nodes of stored sequences and boxed values. Objects of one rounded size share fixed slots carved
// from large blocks, so an object costs its own size and nothing more; the general heap
// adds a header and rounds each block up.
#include <cstddef>

namespace Tovi::detail {

// Fixed-size slots, one free list per size (a multiple of kGranule up to kMaxSize), each
// aligned to kGranule.
// Not synchronised: each thread draws from its own pool (see allocateSmall). Blocks are
// kept until the pool is destroyed; a slot freed goes back to its size's list.
class SmallObjectPool {
 public:
  static constexpr std::size_t kGranule = 8;
  static constexpr std::size_t kMaxSize = 512;
  static constexpr std::size_t kBlockBytes = 64 * 1024;

  SmallObjectPool() = default;
  SmallObjectPool(const SmallObjectPool&) = delete;
  SmallObjectPool& operator=(const SmallObjectPool&) = delete;
  // Frees the blocks; every slot must have come back, or be abandoned with them.
  ~SmallObjectPool();

  // n must be at least 1 and at most kMaxSize.
  void* allocate(std::size_t n);
  void deallocate(void* p, std::size_t n) noexcept;

  // Moves every free slot and block of other into this pool.
  void adopt(SmallObjectPool& other) noexcept;
  std::size_t blockCount() const noexcept { return fBlockCount; }
  // Bytes in free slots, cut from blocks or given back.
  std::size_t freeBytes() const noexcept { return fFreeBytes; }

  static constexpr std::size_t sizeClass(std::size_t n) noexcept {
    return (n + kGranule - 1) / kGranule;
  }

 private:
  struct Slot {
    Slot* next;
  };
  struct Block {
    Block* next;
  };
  Slot* refill(std::size_t cls);

  Slot* fFree[kMaxSize / kGranule + 1] = {};
  Block* fBlocks = nullptr;
  std::size_t fBlockCount = 0;
  std::size_t fFreeBytes = 0;
};

// The thread's pool for sizes up to SmallObjectPool::kMaxSize, the general heap beyond.
// A slot may be freed on any thread. When a thread ends, its free slots go to a shared
// reserve that the next pool to run dry takes over; blocks are never given back while
// the process runs. Builds with AddressSanitizer use the general heap for every size, so
// that each object stays visible to the checker.
void* allocateSmall(std::size_t n);
void deallocateSmall(void* p, std::size_t n) noexcept;
// Bytes held in free slots by this thread's pool and the reserve: heap that the general
// heap counts as in use but no object occupies.
std::size_t smallObjectFreeBytes();

// An allocator over allocateSmall for containers of small nodes.
template <class T>
struct SmallObjectAllocator {
  using value_type = T;
  SmallObjectAllocator() noexcept = default;
  template <class U>
  SmallObjectAllocator(const SmallObjectAllocator<U>&) noexcept {}
  T* allocate(std::size_t n) {
    static_assert(alignof(T) <= SmallObjectPool::kGranule, "slots are aligned to kGranule only");
    return static_cast<T*>(allocateSmall(n * sizeof(T)));
  }
  void deallocate(T* p, std::size_t n) noexcept { deallocateSmall(p, n * sizeof(T)); }
  template <class U>
  bool operator==(const SmallObjectAllocator<U>&) const noexcept {
    return true;
  }
};

// Class-level allocation through the pools; the sized delete gets the size of the most
// derived class, so a final class that inherits these is freed into the right list.
struct SmallObject {
  static void* operator new(std::size_t n) { return allocateSmall(n); }
  static void operator delete(void* p, std::size_t n) noexcept { deallocateSmall(p, n); }
};

}  // namespace Tovi::detail

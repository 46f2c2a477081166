#include <Tovi/SmallObjects.h>

#include <mutex>
#include <new>

namespace Tovi::detail {

SmallObjectPool::~SmallObjectPool() {
  while (fBlocks) {
    Block* next = fBlocks->next;
    ::operator delete(fBlocks);
    fBlocks = next;
  }
}

void* SmallObjectPool::allocate(std::size_t n) {
  const std::size_t cls = sizeClass(n);
  Slot* slot = fFree[cls];
  if (!slot) slot = refill(cls);
  fFree[cls] = slot->next;
  // Slots freed in another order than they were made make the list a walk through
  // cold memory: fetch the next one while the caller fills this one.
  __builtin_prefetch(slot->next, 1);
  fFreeBytes -= cls * kGranule;
  return slot;
}

void SmallObjectPool::deallocate(void* p, std::size_t n) noexcept {
  const std::size_t cls = sizeClass(n);
  auto* slot = static_cast<Slot*>(p);
  slot->next = fFree[cls];
  fFree[cls] = slot;
  fFreeBytes += cls * kGranule;
}

// A new block: its first word links the pool's blocks, the rest is cut into slots.
SmallObjectPool::Slot* SmallObjectPool::refill(std::size_t cls) {
  const std::size_t size = cls * kGranule;
  auto* block = static_cast<Block*>(::operator new(kBlockBytes));
  block->next = fBlocks;
  fBlocks = block;
  ++fBlockCount;
  char* first = reinterpret_cast<char*>(block) + kGranule;
  const std::size_t count = (kBlockBytes - kGranule) / size;
  Slot* head = nullptr;
  for (std::size_t i = count; i-- > 0;) {
    auto* slot = reinterpret_cast<Slot*>(first + i * size);
    slot->next = head;
    head = slot;
  }
  fFree[cls] = head;
  fFreeBytes += count * size;
  return head;
}

void SmallObjectPool::adopt(SmallObjectPool& other) noexcept {
  for (std::size_t cls = 0; cls < std::size(fFree); ++cls) {
    Slot* list = other.fFree[cls];
    other.fFree[cls] = nullptr;
    while (list) {
      Slot* next = list->next;
      list->next = fFree[cls];
      fFree[cls] = list;
      list = next;
    }
  }
  while (other.fBlocks) {
    Block* next = other.fBlocks->next;
    other.fBlocks->next = fBlocks;
    fBlocks = other.fBlocks;
    other.fBlocks = next;
  }
  fBlockCount += other.fBlockCount;
  other.fBlockCount = 0;
  fFreeBytes += other.fFreeBytes;
  other.fFreeBytes = 0;
}

#if defined(__SANITIZE_ADDRESS__)

void* allocateSmall(std::size_t n) {
  return ::operator new(n);
}
void deallocateSmall(void* p, std::size_t n) noexcept {
  ::operator delete(p, n);
}

std::size_t smallObjectFreeBytes() {
  return 0;
}

#else

namespace {

// What the pools of ended threads left: free slots and their blocks. Never destroyed,
// since objects in its blocks may be freed by static destructors at exit.
struct Reserve {
  std::mutex mutex;
  SmallObjectPool pool;
};
Reserve& reserve() {
  static auto* r = new Reserve();
  return *r;
}

// The thread's pool is reached through one trivially destructible pointer in initial-exec
// thread-local storage: a load, no call. A guard hands the pool's free slots and blocks
// to the reserve when the thread ends; from then on the thread allocates from the
// reserve. Live objects in those blocks stay valid and are freed into whichever pool
// their freeing thread uses.
struct ThreadState {
  SmallObjectPool* pool;
  bool retired;
};
thread_local ThreadState tState [[gnu::tls_model("initial-exec")]];

struct RetireAtThreadEnd {
  ~RetireAtThreadEnd() {
    SmallObjectPool* pool = tState.pool;
    tState.pool = nullptr;
    tState.retired = true;
    Reserve& r = reserve();
    std::lock_guard lock(r.mutex);
    r.pool.adopt(*pool);
    delete pool;
  }
};
thread_local RetireAtThreadEnd tRetire;

// The thread's pool, made on first use (taking over what ended threads left); null once
// the thread has retired its pool.
[[gnu::noinline]] SmallObjectPool* startThreadPool() {
  if (tState.retired) return nullptr;
  auto* pool = new SmallObjectPool();
  tState.pool = pool;
  (void)&tRetire;  // registers the guard's destructor for this thread
  Reserve& r = reserve();
  std::lock_guard lock(r.mutex);
  pool->adopt(r.pool);
  return pool;
}

}  // namespace

void* allocateSmall(std::size_t n) {
  if (n > SmallObjectPool::kMaxSize || n == 0) return ::operator new(n);
  SmallObjectPool* pool = tState.pool;
  if (__builtin_expect(pool == nullptr, false)) pool = startThreadPool();
  if (pool) return pool->allocate(n);
  Reserve& r = reserve();
  std::lock_guard lock(r.mutex);
  return r.pool.allocate(n);
}

void deallocateSmall(void* p, std::size_t n) noexcept {
  if (!p) return;
  if (n > SmallObjectPool::kMaxSize || n == 0) return ::operator delete(p, n);
  SmallObjectPool* pool = tState.pool;
  if (__builtin_expect(pool == nullptr, false)) pool = startThreadPool();
  if (pool) return pool->deallocate(p, n);
  Reserve& r = reserve();
  std::lock_guard lock(r.mutex);
  r.pool.deallocate(p, n);
}

std::size_t smallObjectFreeBytes() {
  Reserve& r = reserve();
  std::lock_guard lock(r.mutex);
  return r.pool.freeBytes() + (tState.pool ? tState.pool->freeBytes() : 0);
}

#endif

}  // namespace Tovi::detail

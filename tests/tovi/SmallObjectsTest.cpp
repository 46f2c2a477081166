// The small-object pools: slot sizes, reuse, block growth, the free-byte count, and
// slots that outlive or cross their thread.
#include <Tovi/Any.h>
#include <Tovi/SmallObjects.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <set>
#include <thread>
#include <utility>
#include <vector>

namespace {

using Tovi::detail::SmallObjectPool;

TEST(SmallObjectPool, SizesShareASlotPerMultipleOfEightAndFreedSlotsComeBackFirst) {
  SmallObjectPool pool;
  void* a = pool.allocate(41);
  void* b = pool.allocate(48);
  EXPECT_EQ(static_cast<char*>(b) - static_cast<char*>(a), 48);  // one class, adjacent slots
  void* c = pool.allocate(49);
  EXPECT_EQ(pool.blockCount(), 2u);  // 56 bytes is another class, in a block of its own
  pool.deallocate(a, 41);
  EXPECT_EQ(pool.allocate(44), a);
  EXPECT_NE(pool.allocate(56), a);
  pool.deallocate(b, 48);
  pool.deallocate(c, 49);
}

TEST(SmallObjectPool, SlotsDoNotOverlapAcrossBlocksAndFreeBytesBalance) {
  SmallObjectPool pool;
  constexpr std::size_t kSize = 88;
  const std::size_t perBlock = (SmallObjectPool::kBlockBytes - SmallObjectPool::kGranule) / kSize;
  const std::size_t count = perBlock * 3 + 5;
  std::vector<unsigned char*> slots;
  for (std::size_t i = 0; i < count; ++i) {
    auto* p = static_cast<unsigned char*>(pool.allocate(kSize));
    ASSERT_EQ(reinterpret_cast<std::uintptr_t>(p) % alignof(void*), 0u);
    std::memset(p, static_cast<int>(i & 0xff), kSize);
    slots.push_back(p);
  }
  EXPECT_EQ(pool.blockCount(), 4u);
  for (std::size_t i = 0; i < count; ++i) {
    const unsigned char expected = static_cast<unsigned char>(i & 0xff);
    for (std::size_t k = 0; k < kSize; ++k) ASSERT_EQ(slots[i][k], expected) << "slot " << i;
  }
  EXPECT_EQ(std::set<unsigned char*>(slots.begin(), slots.end()).size(), count);
  EXPECT_EQ(pool.freeBytes(), (4 * perBlock - count) * kSize);
  for (unsigned char* p : slots) pool.deallocate(p, kSize);
  EXPECT_EQ(pool.freeBytes(), 4 * perBlock * kSize);
}

TEST(SmallObjectPool, AdoptTakesOverFreeSlotsAndBlocks) {
  SmallObjectPool from;
  void* kept = from.allocate(24);
  void* freed = from.allocate(24);
  from.deallocate(freed, 24);
  const std::size_t freeBefore = from.freeBytes();

  SmallObjectPool to;
  to.adopt(from);
  EXPECT_EQ(from.blockCount(), 0u);
  EXPECT_EQ(from.freeBytes(), 0u);
  EXPECT_EQ(to.blockCount(), 1u);
  EXPECT_EQ(to.freeBytes(), freeBefore);
  // A slot of the adopted block, still in use, is freed into the new owner.
  to.deallocate(kept, 24);
  EXPECT_EQ(to.freeBytes(), freeBefore + 24);
  EXPECT_EQ(to.allocate(24), kept);
}

TEST(SmallObjects, LargeAndSmallRequestsRoundTripOnAnyThread) {
  std::vector<void*> made;
  std::thread maker([&] {
    for (std::size_t n : {1u, 8u, 96u, 512u, 513u, 4096u}) {
      void* p = Tovi::detail::allocateSmall(n);
      std::memset(p, 0x5a, n);
      made.push_back(p);
    }
  });
  maker.join();
  // The maker has ended: its slots are still valid and are freed here.
  std::size_t i = 0;
  for (std::size_t n : {1u, 8u, 96u, 512u, 513u, 4096u}) {
    EXPECT_EQ(static_cast<unsigned char*>(made[i])[n - 1], 0x5a);
    Tovi::detail::deallocateSmall(made[i++], n);
  }
  Tovi::detail::deallocateSmall(nullptr, 8);

  Tovi::detail::SmallObjectAllocator<double> alloc;
  double* values = alloc.allocate(3);
  values[2] = 1.5;
  EXPECT_EQ(values[2], 1.5);
  alloc.deallocate(values, 3);
}

}  // namespace

namespace {

// A value that needs a stricter alignment than a pool slot gives is held elsewhere.
struct alignas(32) Wide {
  double lanes[4];
};

TEST(SmallObjects, AnyHoldsStrictlyAlignedValuesAligned) {
  std::vector<Tovi::any> held;
  for (int i = 0; i < 8; ++i) held.emplace_back(Wide{{1.0 * i, 2, 3, 4}});
  for (int i = 0; i < 8; ++i) {
    const Wide* w = Tovi::any_cast<Wide>(&std::as_const(held[static_cast<std::size_t>(i)]));
    ASSERT_NE(w, nullptr);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(w) % 32, 0u);
    EXPECT_EQ(w->lanes[0], 1.0 * i);
  }
}

}  // namespace

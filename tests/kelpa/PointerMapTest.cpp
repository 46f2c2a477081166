// The flat map behind the deviants' state tables, against std::unordered_map.
#include <gtest/gtest.h>

#include <random>
#include <unordered_map>
#include <vector>

#include "../../kelpa/src/PointerMap.h"

namespace {

using Map = Kelpa::detail::PointerMap<int, int>;

// Random inserts, overwrites and erasures over keys that crowd into few homes (an
// array's consecutive addresses) keep the map equal to the reference after every step;
// erasure shifting entries back must never lose one that probed past the hole.
TEST(PointerMap, FollowsAReferenceMapThroughGrowthAndErasure) {
  std::vector<int> storage(3000);
  for (unsigned seed : {1u, 2u, 3u}) {
    std::mt19937 random(seed);
    Map map;
    std::unordered_map<const int*, int> reference;
    for (int step = 0; step < 20000; ++step) {
      const int* key = &storage[random() % (step < 10000 ? storage.size() : 200)];
      if (random() % 3 == 0) {
        EXPECT_EQ(map.erase(key), reference.erase(key) == 1);
      } else {
        auto [value, inserted] = map.try_emplace(key, step);
        auto [it, refInserted] = reference.try_emplace(key, step);
        ASSERT_EQ(inserted, refInserted);
        if (!inserted) {
          *value = step;
          it->second = step;
        }
      }
      ASSERT_EQ(map.size(), reference.size());
    }
    for (const int& k : storage) {
      const int* found = map.find(&k);
      auto it = reference.find(&k);
      ASSERT_EQ(found != nullptr, it != reference.end());
      if (found) {
        EXPECT_EQ(*found, it->second);
      }
    }
    std::size_t seen = 0;
    map.forEach([&](const int* key, int value) {
      ++seen;
      EXPECT_EQ(reference.at(key), value);
    });
    EXPECT_EQ(seen, reference.size());
    map.clear();
    EXPECT_TRUE(map.empty());
    EXPECT_EQ(map.find(&storage[0]), nullptr);
    EXPECT_FALSE(map.erase(&storage[0]));
  }
}

}  // namespace

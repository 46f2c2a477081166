#pragma once
// What the benchmarks share: a model that is destroyed at the end, and the heap bytes
// that objects occupy.
#include <benchmark/benchmark.h>
#include <malloc.h>

#include <Tovi/SmallObjects.h>
#include <zorbel/zorbel.h>

namespace benchsupport {

// Free slots of the small-object pools are heap to the allocator but hold no object.
inline std::size_t heapInUse() {
  return mallinfo2().uordblks - Tovi::detail::smallObjectFreeBytes();
}

struct ScopedModel {
  Kelpa::Model model = Kelpa::NSInterface::FactoryIntf::createNewModel();
  Kelpa::Deviant root = model.getDeviant();
  ~ScopedModel() { model->destroyModel(); }
};

// Heap bytes per iteration since before, and the item count.
inline void reportBytes(benchmark::State& state, std::size_t before) {
  state.counters["bytes_per_element"] =
      static_cast<double>(heapInUse() - before) / static_cast<double>(state.iterations());
  state.SetItemsProcessed(state.iterations());
}

// A whole batch of elements per iteration: the time per element and the item count.
inline void reportPerElement(benchmark::State& state, double elementsPerIteration) {
  const double total = elementsPerIteration * static_cast<double>(state.iterations());
  state.counters["ns_per_element"] =
      benchmark::Counter(total, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
  state.SetItemsProcessed(static_cast<std::int64_t>(total));
}

}  // namespace benchsupport

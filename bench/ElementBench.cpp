// Element operations, one per iteration. Run from a Release build:
//   build/release/bench/zorbel-bench --benchmark_repetitions=5 --benchmark_report_aggregates_only
#include <vector>

#include "BenchSupport.h"

namespace {

using benchsupport::heapInUse;
using benchsupport::reportBytes;
using benchsupport::ScopedModel;
using Kelpa::Deviant;
namespace CV = Kelpa::CooperativeVisitor::internal;

// Comments in a model, and distinct body texts for them.
struct Pool {
  explicit Pool(std::size_t n) {
    comments.reserve(n);
    bodies.reserve(n);
    for (std::size_t i = 0; i < n; ++i) {
      comments.push_back(zorbel::Comment::create(scope.model));
      bodies.emplace_back("comment body number " + std::to_string(i));
    }
  }
  ScopedModel scope;
  std::vector<zorbel::Comment> comments;
  std::vector<zorbel::String> bodies;
};

void BM_CreateComment(benchmark::State& state) {
  ScopedModel scope;
  const std::size_t before = heapInUse();
  for (auto _ : state) benchmark::DoNotOptimize(zorbel::Comment::create(scope.model));
  reportBytes(state, before);
}
BENCHMARK(BM_CreateComment)->Iterations(1'000'000)->Unit(benchmark::kNanosecond);

constexpr std::size_t kWrites = 200'000;

void BM_SetBody(benchmark::State& state) {
  Pool pool(kWrites);
  std::size_t i = 0;
  for (auto _ : state) {
    pool.comments[i]->setBody(pool.scope.root, pool.bodies[i]);
    ++i;
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_SetBody)->Iterations(kWrites);

constexpr std::size_t kPool = 4096;

void BM_GetBody(benchmark::State& state) {
  Pool pool(kPool);
  for (std::size_t i = 0; i < kPool; ++i)
    pool.comments[i]->setBody(pool.scope.root, pool.bodies[i]);
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(pool.comments[i]->getBody(pool.scope.root));
    i = (i + 1) % kPool;
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_GetBody);

void BM_HasBody(benchmark::State& state) {
  Pool pool(kPool);
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(pool.comments[i]->hasBody(pool.scope.root));
    i = (i + 1) % kPool;
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_HasBody);

void BM_HandleCopy(benchmark::State& state) {
  Pool pool(1);
  const zorbel::Comment& c = pool.comments[0];
  for (auto _ : state) {
    zorbel::Comment copy = c;
    benchmark::DoNotOptimize(copy);
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_HandleCopy);

void BM_Cast(benchmark::State& state) {
  Pool pool(1);
  const auto* c = pool.comments[0].get();
  const CV::ClassInfo& element = CV::classInfoOf<zorbel::NSInterface::ElementIntf>();
  for (auto _ : state) benchmark::DoNotOptimize(c->cast(element));
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_Cast);

}  // namespace

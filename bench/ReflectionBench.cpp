// Reflection: a property read and written through the kernel's entry points, by a held
// property and by name, against the typed accessors of BM_GetBody and BM_SetBody.
#include <Kelpa/Meta.h>
#include <zorbel/Initialize.h>

#include "BenchSupport.h"

namespace {

using benchsupport::ScopedModel;

struct OneComment {
  OneComment() { comment->setBody(scope.root, zorbel::String("comment body")); }
  ScopedModel scope;
  zorbel::Comment comment = zorbel::Comment::create(scope.model);
  Kelpa::ImmutableProperty body{zorbel::ImmutableComment::MetaClass()->findProperty("body"),
                                zorbel::ImmutableComment::MetaClass().getDeviant()};
  Kelpa::Object value = zorbel::String("another body");
};

void BM_ReflectGetByProperty(benchmark::State& state) {
  OneComment c;
  for (auto _ : state) benchmark::DoNotOptimize(Kelpa::get(c.comment, c.body));
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_ReflectGetByProperty);

void BM_ReflectSetByProperty(benchmark::State& state) {
  OneComment c;
  for (auto _ : state) Kelpa::setOrAdd(c.comment, c.body, c.value);
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_ReflectSetByProperty);

void BM_ReflectGetByName(benchmark::State& state) {
  OneComment c;
  for (auto _ : state) benchmark::DoNotOptimize(Kelpa::get(c.comment, "body"));
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_ReflectGetByName);

void BM_ReflectSetByName(benchmark::State& state) {
  OneComment c;
  for (auto _ : state) Kelpa::setOrAdd(c.comment, "body", c.value);
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_ReflectSetByName);

// The typed pair on the same element, for the ratio.
void BM_TypedGetBodyOfOne(benchmark::State& state) {
  OneComment c;
  for (auto _ : state) benchmark::DoNotOptimize(c.comment->getBody(c.scope.root));
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_TypedGetBodyOfOne);

// An element made by its name through the model's Factory (the name table, then the
// class's createWithId), against BM_CreateComment.
void BM_FactoryCreateByName(benchmark::State& state) {
  ScopedModel scope;
  const zorbel::Factory factory = zorbel::NSInterface::FactoryIntf::createNewFactory(scope.model);
  const zorbel::String name("Comment");
  for (auto _ : state) benchmark::DoNotOptimize(factory->createFromString(scope.root, name));
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_FactoryCreateByName)->Iterations(1'000'000);

// The library builds its meta package when it is loaded; this reports how long that took.
void BM_InitializeAtLoad(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(zorbel::initialize());
  state.counters["initialize_ms"] = static_cast<double>(zorbel::InitializerClass::durationNs()) / 1e6;
}
BENCHMARK(BM_InitializeAtLoad)->Iterations(1);

}  // namespace

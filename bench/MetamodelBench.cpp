// Operations across the generated metaclasses, one per iteration. Run from a Release
// build (scripts/bench.sh).
#include <vector>

#include "BenchSupport.h"

namespace {

using benchsupport::heapInUse;
using benchsupport::reportBytes;
using benchsupport::ScopedModel;
using Kelpa::Deviant;
namespace CV = Kelpa::CooperativeVisitor::internal;

// A Comment is no PackageableElement, so the package holds it as an owned comment.
void BM_CreateCommentInPackage(benchmark::State& state) {
  ScopedModel scope;
  zorbel::Package package = zorbel::Package::create(scope.model);
  Kelpa::Sequence<zorbel::Comment> owned = package->getOwnedComments(scope.root);
  const std::size_t before = heapInUse();
  for (auto _ : state) owned.push_back(zorbel::Comment::create(scope.model));
  reportBytes(state, before);
}
// The same at three sizes: a Comment costs the same however many came before it.
BENCHMARK(BM_CreateCommentInPackage)->Arg(100'000)->Iterations(100'000);
BENCHMARK(BM_CreateCommentInPackage)->Arg(1'000'000)->Iterations(1'000'000);
BENCHMARK(BM_CreateCommentInPackage)->Arg(10'000'000)->Iterations(10'000'000);

// A model built bottom-up: N Comments made first, each a root object of the model, then
// given to a package as owned comments in the order they were made, each leaving the
// root objects from the front. One iteration builds the whole model; the counters give
// the time and the heap per element.
void BM_BuildModelBottomUp(benchmark::State& state) {
  const auto n = static_cast<std::size_t>(state.range(0));
  ScopedModel scope;
  std::vector<zorbel::Comment> comments;
  comments.reserve(n);
  const std::size_t before = heapInUse();
  for (auto _ : state) {
    for (std::size_t i = 0; i < n; ++i) comments.push_back(zorbel::Comment::create(scope.model));
    zorbel::Package package = zorbel::Package::create(scope.model);
    Kelpa::Sequence<zorbel::Comment> owned = package->getOwnedComments(scope.root);
    for (const zorbel::Comment& c : comments) owned.push_back(c);
    benchmark::DoNotOptimize(owned.size());
  }
  const double elements = static_cast<double>(n) * static_cast<double>(state.iterations());
  state.counters["bytes_per_element"] = static_cast<double>(heapInUse() - before) / elements;
  benchsupport::reportPerElement(state, static_cast<double>(n));
}
BENCHMARK(BM_BuildModelBottomUp)->Arg(100'000)->Arg(1'000'000)->Arg(10'000'000)->Iterations(1);

void BM_CreateClass(benchmark::State& state) {
  ScopedModel scope;
  const std::size_t before = heapInUse();
  for (auto _ : state) benchmark::DoNotOptimize(zorbel::Class::create(scope.model));
  reportBytes(state, before);
}
BENCHMARK(BM_CreateClass)->Iterations(200'000);

void BM_CreateProperty(benchmark::State& state) {
  ScopedModel scope;
  const std::size_t before = heapInUse();
  for (auto _ : state) benchmark::DoNotOptimize(zorbel::Property::create(scope.model));
  reportBytes(state, before);
}
BENCHMARK(BM_CreateProperty)->Iterations(200'000);

constexpr std::size_t kPool = 4096;

struct Properties {
  Properties() {
    for (std::size_t i = 0; i < kPool; ++i) items.push_back(zorbel::Property::create(scope.model));
  }
  ScopedModel scope;
  std::vector<zorbel::Property> items;
};

void BM_SetPropertyIsDerived(benchmark::State& state) {
  Properties p;
  std::size_t i = 0;
  for (auto _ : state) {
    p.items[i % kPool]->setIsDerived(p.scope.root, zorbel::Boolean((i / kPool) % 2 == 0));
    ++i;
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_SetPropertyIsDerived);

void BM_GetPropertyIsDerived(benchmark::State& state) {
  Properties p;
  std::size_t i = 0;
  for (auto _ : state) benchmark::DoNotOptimize(p.items[i++ % kPool]->isDerived(p.scope.root));
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_GetPropertyIsDerived);

void BM_SetPropertyAggregation(benchmark::State& state) {
  Properties p;
  std::size_t i = 0;
  for (auto _ : state) {
    p.items[i % kPool]->setAggregation(p.scope.root, zorbel::AggregationKind((i / kPool) % 3));
    ++i;
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_SetPropertyAggregation);

void BM_GetPropertyAggregation(benchmark::State& state) {
  Properties p;
  std::size_t i = 0;
  for (auto _ : state) benchmark::DoNotOptimize(p.items[i++ % kPool]->getAggregation(p.scope.root));
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_GetPropertyAggregation);

void BM_SetReference(benchmark::State& state) {
  Properties p;
  zorbel::Class a = zorbel::Class::create(p.scope.model);
  zorbel::Class b = zorbel::Class::create(p.scope.model);
  std::size_t i = 0;
  for (auto _ : state) {
    p.items[i % kPool]->setType(p.scope.root, (i / kPool) % 2 == 0 ? a : b);
    ++i;
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_SetReference);

void BM_GetReference(benchmark::State& state) {
  Properties p;
  zorbel::Class a = zorbel::Class::create(p.scope.model);
  for (auto& item : p.items) item->setType(p.scope.root, a);
  std::size_t i = 0;
  for (auto _ : state) benchmark::DoNotOptimize(p.items[i++ % kPool]->getType(p.scope.root));
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_GetReference);

constexpr int kSequence = 100'000;

void BM_SequenceAppend(benchmark::State& state) {
  ScopedModel scope;
  std::vector<zorbel::Comment> elements;
  for (int i = 0; i < kSequence; ++i) elements.push_back(zorbel::Comment::create(scope.model));
  zorbel::Comment owner = zorbel::Comment::create(scope.model);
  Kelpa::Sequence<zorbel::Element> annotated = owner->getAnnotatedElements(scope.root);
  std::size_t i = 0;
  for (auto _ : state) annotated.push_back(elements[i++]);
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_SequenceAppend)->Iterations(kSequence);

void BM_SequenceIterate(benchmark::State& state) {
  ScopedModel scope;
  zorbel::Comment owner = zorbel::Comment::create(scope.model);
  Kelpa::Sequence<zorbel::Element> annotated = owner->getAnnotatedElements(scope.root);
  for (int i = 0; i < kSequence; ++i) annotated.push_back(zorbel::Comment::create(scope.model));
  for (auto _ : state) {
    std::size_t n = 0;
    for (const zorbel::Element& e : annotated) n += e.isNull() ? 0 : 1;
    benchmark::DoNotOptimize(n);
  }
  state.SetItemsProcessed(state.iterations() * kSequence);
}
BENCHMARK(BM_SequenceIterate);

// Up to a secondary base of a multiple-base class, and back down.
void BM_CastMultipleBase(benchmark::State& state) {
  ScopedModel scope;
  zorbel::Property p = zorbel::Property::create(scope.model);
  const CV::ClassInfo& up = CV::classInfoOf<zorbel::NSInterface::MultiplicityElementIntf>();
  const CV::ClassInfo& down = CV::classInfoOf<zorbel::NSInterface::PropertyIntf>();
  for (auto _ : state) {
    Kelpa::ReferenceCountingIntf* m = p->cast(up);
    benchmark::DoNotOptimize(m->cast(down));
  }
  state.SetItemsProcessed(state.iterations() * 2);
}
BENCHMARK(BM_CastMultipleBase);

// A visitor with a method for NamedElement only: a Property goes up its linearisation.
void BM_VisitorDispatch(benchmark::State& state) {
  ScopedModel scope;
  zorbel::Property p = zorbel::Property::create(scope.model);
  const CV::ClassInfo& named = CV::classInfoOf<zorbel::NSInterface::NamedElementIntf>();
  CV::LightVector<CV::LightVector<unsigned long>> table(named.domain + 1);
  table[named.domain].resize(named.cls + 1);
  table[named.domain][named.cls] = 1;
  for (auto _ : state) benchmark::DoNotOptimize(p->getVisitMethod(table));
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_VisitorDispatch);

}  // namespace

// Writes that keep both ends of an association, ownership moves, union reads and
// destruction, one operation per iteration unless stated. The fixtures are built before
// the timed loop, so these run a fixed number of iterations. Run from a Release build:
//   build/release/bench/zorbel-bench --benchmark_filter='Ordering|Association|Owner|Owned|Destroy'
//       --benchmark_repetitions=5 --benchmark_report_aggregates_only=true
// The fixtures reach a million elements. What they free is handed out again, scattered,
// to whatever runs next in the same process, so for figures to compare, run each
// benchmark in a process of its own (one --benchmark_filter per run).
#include <vector>

#include "BenchSupport.h"

namespace {

using benchsupport::heapInUse;
using benchsupport::reportBytes;
using benchsupport::ScopedModel;

// Occurrences and orderings in groups of kGroup per Interaction, the Interactions in one
// package: occurrence i and ordering i share a group. With linked, ordering i runs from
// occurrence i (before) to occurrence i + 1 (after); the last wraps to the first.
constexpr std::size_t kGroup = 100;

struct OrderingModel {
  OrderingModel(std::size_t n, std::size_t extraOccurrences, bool linked) {
    const zorbel::Package top = zorbel::Package::create(scope.model);
    Kelpa::Sequence<zorbel::PackageableElement> packaged = top->getPackagedElements(scope.root);
    const std::size_t occurrences = n + extraOccurrences;
    os.reserve(occurrences);
    go.reserve(n);
    zorbel::Interaction group;
    for (std::size_t i = 0; i < occurrences; ++i) {
      if (i % kGroup == 0) {
        group = zorbel::Interaction::create(scope.model);
        packaged.push_back(group);
      }
      os.push_back(zorbel::OccurrenceSpecification::create(scope.model));
      group->getFragments(scope.root).push_back(os.back());
      if (i < n) {
        go.push_back(zorbel::GeneralOrdering::create(scope.model));
        group->getGeneralOrderings(scope.root).push_back(go.back());
      }
    }
    if (!linked) return;
    for (std::size_t i = 0; i < n; ++i) {
      go[i]->setBefore(scope.root, os[i]);
      go[i]->setAfter(scope.root, os[(i + 1) % n]);
    }
  }
  ScopedModel scope;
  std::vector<zorbel::OccurrenceSpecification> os;
  std::vector<zorbel::GeneralOrdering> go;
};

constexpr std::size_t kLinks = 1'000'000;

// before := occurrence on a fresh ordering; the occurrence's toAfter list takes it.
// bytes_per_element is the heap of the link: the occurrence's list and its entry.
void BM_LinkGeneralOrderingBefore(benchmark::State& state) {
  OrderingModel m(kLinks, 0, false);
  const Kelpa::Deviant root = m.scope.root;
  std::size_t i = 0;
  const std::size_t before = heapInUse();
  for (auto _ : state) {
    m.go[i]->setBefore(root, m.os[i]);
    ++i;
  }
  reportBytes(state, before);
}
BENCHMARK(BM_LinkGeneralOrderingBefore)->Iterations(kLinks);

// The same store with the opposite left alone: the baseline of the link above.
void BM_SetOnlyGeneralOrderingBefore(benchmark::State& state) {
  OrderingModel m(kLinks, 0, false);
  const Kelpa::Deviant root = m.scope.root;
  std::size_t i = 0;
  const std::size_t before = heapInUse();
  for (auto _ : state) {
    m.go[i]->setOnlyBefore(root, m.os[i]);
    ++i;
  }
  reportBytes(state, before);
}
BENCHMARK(BM_SetOnlyGeneralOrderingBefore)->Iterations(kLinks);

// before moves from occurrence i to occurrence i + 1: i loses the ordering, i + 1 gains it.
void BM_RepointGeneralOrderingBefore(benchmark::State& state) {
  OrderingModel m(kLinks, 1, false);
  const Kelpa::Deviant root = m.scope.root;
  for (std::size_t i = 0; i < kLinks; ++i) m.go[i]->setBefore(root, m.os[i]);
  std::size_t i = 0;
  for (auto _ : state) {
    m.go[i]->setBefore(root, m.os[i + 1]);
    ++i;
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_RepointGeneralOrderingBefore)->Iterations(kLinks);

// Through the multi-valued end: the occurrence's toAfter takes the ordering, whose
// before follows. The sequence is asked for on every call, as a client would.
void BM_AssociationSequenceAppend(benchmark::State& state) {
  OrderingModel m(kLinks, 0, false);
  const Kelpa::Deviant root = m.scope.root;
  std::size_t i = 0;
  for (auto _ : state) {
    m.os[i]->getToAfters(root).push_back(m.go[i]);
    ++i;
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_AssociationSequenceAppend)->Iterations(kLinks);

// The reverse: toAfter loses its only ordering, whose before is cleared.
void BM_AssociationSequenceErase(benchmark::State& state) {
  OrderingModel m(kLinks, 0, false);
  const Kelpa::Deviant root = m.scope.root;
  for (std::size_t i = 0; i < kLinks; ++i) m.go[i]->setBefore(root, m.os[i]);
  std::size_t i = 0;
  for (auto _ : state) {
    m.os[i]->getToAfters(root).erase(0);
    ++i;
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_AssociationSequenceErase)->Iterations(kLinks);

// Comments move between two packages' ownedComment lists. front: from A to B in A's
// order, so each leaves the head of A. back: from B to A in reverse order, so each
// leaves the tail of B. The argument is the number of comments.
enum class Taken { front, back };

void BM_MoveBetweenOwners(benchmark::State& state, Taken taken) {
  const auto n = static_cast<std::size_t>(state.range(0));
  ScopedModel scope;
  const zorbel::Package a = zorbel::Package::create(scope.model);
  const zorbel::Package b = zorbel::Package::create(scope.model);
  Kelpa::Sequence<zorbel::Comment> from = (taken == Taken::front ? a : b)->getOwnedComments(scope.root);
  Kelpa::Sequence<zorbel::Comment> to = (taken == Taken::front ? b : a)->getOwnedComments(scope.root);
  std::vector<zorbel::Comment> comments;
  comments.reserve(n);
  for (std::size_t i = 0; i < n; ++i) {
    comments.push_back(zorbel::Comment::create(scope.model));
    from.push_back(comments.back());
  }
  std::size_t i = 0;
  for (auto _ : state) {
    to.push_back(comments[taken == Taken::front ? i : n - 1 - i]);
    ++i;
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK_CAPTURE(BM_MoveBetweenOwners, front, Taken::front)
    ->Arg(10'000)->Iterations(10'000)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_MoveBetweenOwners, front, Taken::front)
    ->Arg(100'000)->Iterations(100'000)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_MoveBetweenOwners, back, Taken::back)
    ->Arg(10'000)->Iterations(10'000);
BENCHMARK_CAPTURE(BM_MoveBetweenOwners, back, Taken::back)
    ->Arg(100'000)->Iterations(100'000);

// A class with 100 attributes and 100 operations; one iteration visits all 200, so
// items are elements visited.
constexpr int kFeatures = 100;

struct FeaturedClass {
  FeaturedClass() {
    for (int i = 0; i < kFeatures; ++i) {
      cls->getZorbel_Class_OwnedAttributes(scope.root).push_back(zorbel::Property::create(scope.model));
      cls->getOwnedOperations(scope.root).push_back(zorbel::Operation::create(scope.model));
    }
  }
  ScopedModel scope;
  zorbel::Class cls = zorbel::Class::create(scope.model);
};

void BM_IterateOwnedElements(benchmark::State& state) {
  FeaturedClass f;
  for (auto _ : state) {
    for (const zorbel::Element& e : f.cls->getOwnedElements(f.scope.root))
      benchmark::DoNotOptimize(e.get());
  }
  state.SetItemsProcessed(state.iterations() * 2 * kFeatures);
}
BENCHMARK(BM_IterateOwnedElements);

// The same elements read from the two properties that hold them: the union's baseline.
void BM_IterateOwnedElementsContributors(benchmark::State& state) {
  FeaturedClass f;
  for (auto _ : state) {
    for (const zorbel::Property& p : f.cls->getZorbel_Class_OwnedAttributes(f.scope.root))
      benchmark::DoNotOptimize(p.get());
    for (const zorbel::Operation& o : f.cls->getOwnedOperations(f.scope.root))
      benchmark::DoNotOptimize(o.get());
  }
  state.SetItemsProcessed(state.iterations() * 2 * kFeatures);
}
BENCHMARK(BM_IterateOwnedElementsContributors);

// A subset view walked in order: the nested packages of a package that holds n packages
// and n classes, alternating. One view is held across iterations, as a client holds it;
// items are packages visited, so a walk that counts from the front each step shows as
// time per item growing with n.
void BM_IterateNestedPackages(benchmark::State& state) {
  const auto n = static_cast<int>(state.range(0));
  ScopedModel scope;
  const zorbel::Package outer = zorbel::Package::create(scope.model);
  Kelpa::Sequence<zorbel::PackageableElement> packaged = outer->getPackagedElements(scope.root);
  for (int i = 0; i < n; ++i) {
    packaged.push_back(zorbel::Class::create(scope.model));
    packaged.push_back(zorbel::Package::create(scope.model));
  }
  const Kelpa::Sequence<zorbel::Package> nested = outer->getNestedPackages(scope.root);
  for (auto _ : state) {
    for (const zorbel::Package& p : nested) benchmark::DoNotOptimize(p.get());
  }
  state.SetItemsProcessed(state.iterations() * n);
}
BENCHMARK(BM_IterateNestedPackages)->Arg(100)->Arg(1000);

// Per-element figures of a timed operation that covers n elements.
void reportPerElement(benchmark::State& state, std::size_t n) {
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * n));
  state.counters["time_per_element"] =
      benchmark::Counter(static_cast<double>(state.iterations() * n),
                         benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

// One destroy of a package that holds n comments, per element. The package sits in
// another, as in a real model.
void BM_DestroyPackageOfComments(benchmark::State& state) {
  const auto n = static_cast<std::size_t>(state.range(0));
  ScopedModel scope;
  const zorbel::Package top = zorbel::Package::create(scope.model);
  zorbel::Package package = zorbel::Package::create(scope.model);
  top->getPackagedElements(scope.root).push_back(package);
  {
    Kelpa::Sequence<zorbel::Comment> owned = package->getOwnedComments(scope.root);
    for (std::size_t i = 0; i < n; ++i) owned.push_back(zorbel::Comment::create(scope.model));
  }
  const std::size_t before = heapInUse();
  for (auto _ : state) package->destroy(scope.root);
  package = zorbel::Package();
  reportPerElement(state, n);
  state.counters["bytes_freed_per_element"] =
      static_cast<double>(before - heapInUse()) / static_cast<double>(n);
}
BENCHMARK(BM_DestroyPackageOfComments)
    ->Arg(10'000)->Arg(100'000)->Arg(1'000'000)->Iterations(1)->Unit(benchmark::kMillisecond);

// Linked orderings destroyed one by one: each leaves both occurrences' lists and its
// Interaction's generalOrdering list.
void BM_DestroyGeneralOrdering(benchmark::State& state) {
  const auto n = static_cast<std::size_t>(state.range(0));
  OrderingModel m(n, 0, true);
  const Kelpa::Deviant root = m.scope.root;
  std::size_t i = 0;
  for (auto _ : state) {
    m.go[i]->destroy(root);
    ++i;
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_DestroyGeneralOrdering)->Arg(10'000)->Iterations(10'000);
BENCHMARK(BM_DestroyGeneralOrdering)->Arg(100'000)->Iterations(100'000);
BENCHMARK(BM_DestroyGeneralOrdering)->Arg(1'000'000)->Iterations(1'000'000);

// The same with orderings and occurrences owned by nobody: they are the model's root
// objects, and each destroy takes its ordering out of that list.
void BM_DestroyUnownedGeneralOrdering(benchmark::State& state) {
  const auto n = static_cast<std::size_t>(state.range(0));
  ScopedModel scope;
  std::vector<zorbel::OccurrenceSpecification> os;
  std::vector<zorbel::GeneralOrdering> go;
  for (std::size_t i = 0; i < n; ++i) {
    os.push_back(zorbel::OccurrenceSpecification::create(scope.model));
    go.push_back(zorbel::GeneralOrdering::create(scope.model));
  }
  for (std::size_t i = 0; i < n; ++i) {
    go[i]->setBefore(scope.root, os[i]);
    go[i]->setAfter(scope.root, os[(i + 1) % n]);
  }
  std::size_t i = 0;
  for (auto _ : state) {
    go[i]->destroy(scope.root);
    ++i;
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_DestroyUnownedGeneralOrdering)->Arg(10'000)->Iterations(10'000);
BENCHMARK(BM_DestroyUnownedGeneralOrdering)->Arg(30'000)->Iterations(30'000);

}  // namespace

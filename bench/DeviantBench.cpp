// Deviants and transactions: reads in a deviation, its first write of an element (the
// copy of the state), writes in a root transaction, undo, commit with deviations present
// and abandon. The fixtures are built before the timed loop; the bulk cases (undo,
// commit, abandon) time one call over a whole transaction in a single iteration and
// count its writes as items, so items_per_second gives the cost per write. Run each in a
// process of its own, from a Release build:
//   build/release/bench/zorbel-bench --benchmark_filter=^BM_UndoBodyWrites
//       --benchmark_repetitions=5 --benchmark_report_aggregates_only=true
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "BenchSupport.h"

namespace {

using benchsupport::heapInUse;
using benchsupport::reportBytes;
using benchsupport::ScopedModel;
using Kelpa::Deviant;

// Comments in a model, with distinct body texts for them; with setInRoot, each Comment
// holds its text in the root.
struct Pool {
  Pool(std::size_t n, bool setInRoot) {
    comments.reserve(n);
    bodies.reserve(n);
    for (std::size_t i = 0; i < n; ++i) {
      comments.push_back(zorbel::Comment::create(scope.model));
      bodies.emplace_back("comment body number " + std::to_string(i));
      if (setInRoot) comments.back()->setBody(scope.root, bodies.back());
    }
  }
  ScopedModel scope;
  std::vector<zorbel::Comment> comments;
  std::vector<zorbel::String> bodies;
};

// Reads cycle over a pool small enough to stay in cache, as BM_GetBody does.
constexpr std::size_t kReadPool = 4096;

// The baseline of the two deviation reads below.
void BM_ReadInRoot(benchmark::State& state) {
  Pool pool(kReadPool, true);
  const Deviant root = pool.scope.root;
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(pool.comments[i]->getBody(root));
    i = (i + 1) % kReadPool;
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_ReadInRoot);

// The deviation has written nothing: every read falls back to the root's state.
void BM_ReadInDeviantOnFallback(benchmark::State& state) {
  Pool pool(kReadPool, true);
  const Deviant d = pool.scope.model->createDeviant();
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(pool.comments[i]->getBody(d));
    i = (i + 1) % kReadPool;
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_ReadInDeviantOnFallback);

// The deviation has written every Comment and reads its own copies.
void BM_ReadInDeviantWithState(benchmark::State& state) {
  Pool pool(kReadPool, true);
  const Deviant d = pool.scope.model->createDeviant();
  for (std::size_t i = 0; i < kReadPool; ++i)
    pool.comments[i]->setBody(d, zorbel::String("deviation body " + std::to_string(i)));
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(pool.comments[i]->getBody(d));
    i = (i + 1) % kReadPool;
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_ReadInDeviantWithState);

constexpr std::size_t kFirstWrites = 100'000;

// The first write of an element in a deviation copies the root's state into it.
// The value written is short enough to need no heap of its own, so bytes_per_element
// is what the deviation holds per element written: the copied state and its entry.
void writeComment(const zorbel::Comment& c, Deviant d, const zorbel::String& value) {
  c->setBody(d, value);
}
void writeClass(const zorbel::Class& c, Deviant d, const zorbel::String& value) {
  c->setName(d, value);
}

template <class Element>
void firstWrite(benchmark::State& state,
                void (*write)(const Element&, Deviant, const zorbel::String&)) {
  ScopedModel scope;
  std::vector<Element> elements;
  elements.reserve(kFirstWrites);
  for (std::size_t i = 0; i < kFirstWrites; ++i) elements.push_back(Element::create(scope.model));
  const Deviant d = scope.model->createDeviant();
  const zorbel::String value("draft");
  std::size_t i = 0;
  const std::size_t before = heapInUse();
  for (auto _ : state) {
    write(elements[i], d, value);
    ++i;
  }
  reportBytes(state, before);
}

void BM_FirstWriteInDeviant(benchmark::State& state, void (*run)(benchmark::State&)) {
  run(state);
}
void firstWriteComment(benchmark::State& state) {
  firstWrite<zorbel::Comment>(state, &writeComment);
}
void firstWriteClass(benchmark::State& state) {
  firstWrite<zorbel::Class>(state, &writeClass);
}
BENCHMARK_CAPTURE(BM_FirstWriteInDeviant, Comment, &firstWriteComment)->Iterations(kFirstWrites);
BENCHMARK_CAPTURE(BM_FirstWriteInDeviant, Class, &firstWriteClass)->Iterations(kFirstWrites);

constexpr std::size_t kTransactionWrites = 100'000;

// setBody of a distinct text on distinct Comments inside one root transaction: each
// write saves the Comment's old state for undo. bytes_per_element is measured after the
// commit (outside the timed loop): the new text and the saved state the undo step keeps.
void BM_WriteBodyInTransaction(benchmark::State& state) {
  Pool pool(kTransactionWrites, true);
  std::vector<zorbel::String> next;
  next.reserve(kTransactionWrites);
  for (std::size_t i = 0; i < kTransactionWrites; ++i)
    next.emplace_back("changed body number " + std::to_string(i));
  const Deviant root = pool.scope.root;
  const std::size_t before = heapInUse();
  Kelpa::Transaction t(pool.scope.model);
  std::size_t i = 0;
  for (auto _ : state) {
    pool.comments[i]->setBody(root, next[i]);
    ++i;
  }
  t.commit();
  reportBytes(state, before);
}
BENCHMARK(BM_WriteBodyInTransaction)->Iterations(kTransactionWrites);

// A root transaction of kTransactionWrites body writes, open; the caller commits or
// abandons it.
struct OpenTransaction {
  OpenTransaction() : pool(kTransactionWrites, true) {
    next.reserve(kTransactionWrites);
    for (std::size_t i = 0; i < kTransactionWrites; ++i)
      next.emplace_back("changed body number " + std::to_string(i));
    t.emplace(pool.scope.model);
    for (std::size_t i = 0; i < kTransactionWrites; ++i)
      pool.comments[i]->setBody(pool.scope.root, next[i]);
  }
  // Every Comment holds its old text again.
  bool putBack() const {
    for (std::size_t i = 0; i < kTransactionWrites; ++i)
      if (!(pool.comments[i]->getBody(pool.scope.root) == pool.bodies[i])) return false;
    return true;
  }
  Pool pool;
  std::vector<zorbel::String> next;
  std::optional<Kelpa::Transaction> t;
};

// Undo of one committed transaction of kTransactionWrites body writes; the undo alone
// is timed.
void BM_UndoBodyWrites(benchmark::State& state) {
  OpenTransaction open;
  open.t->commit();
  for (auto _ : state) open.pool.scope.model->undo(open.pool.scope.root);
  if (!open.putBack()) state.SkipWithError("undo left a body changed");
  state.SetItemsProcessed(static_cast<std::int64_t>(kTransactionWrites));
}
BENCHMARK(BM_UndoBodyWrites)->Iterations(1);

// Abandon of an open transaction of kTransactionWrites body writes.
void BM_AbandonTransaction(benchmark::State& state) {
  OpenTransaction open;
  for (auto _ : state) open.t->abandon();
  if (!open.putBack()) state.SkipWithError("abandon left a body changed");
  state.SetItemsProcessed(static_cast<std::int64_t>(kTransactionWrites));
}
BENCHMARK(BM_AbandonTransaction)->Iterations(1);

constexpr std::size_t kCommitWrites = 10'000;

// Commit of a root transaction of kCommitWrites body writes, with range(0) deviations
// that have written nothing and so read the root. The commit alone is timed, per Comment
// written; bytes_per_element is the heap the commit adds, per Comment written.
void BM_CommitWithDeviants(benchmark::State& state) {
  Pool pool(kCommitWrites, true);
  std::vector<Deviant> deviations;
  for (std::int64_t k = 0; k < state.range(0); ++k)
    deviations.push_back(pool.scope.model->createDeviant());
  std::vector<zorbel::String> next;
  next.reserve(kCommitWrites);
  for (std::size_t i = 0; i < kCommitWrites; ++i)
    next.emplace_back("changed body number " + std::to_string(i));
  Kelpa::Transaction t(pool.scope.model);
  for (std::size_t i = 0; i < kCommitWrites; ++i)
    pool.comments[i]->setBody(pool.scope.root, next[i]);
  const std::size_t before = heapInUse();
  for (auto _ : state) t.commit();
  // Signed: without deviations the commit frees the transaction's index of saved states.
  const auto added = static_cast<std::ptrdiff_t>(heapInUse()) - static_cast<std::ptrdiff_t>(before);
  state.counters["bytes_per_element"] =
      static_cast<double>(added) / static_cast<double>(kCommitWrites);
  // The deviations still read the texts from before the transaction.
  if (!deviations.empty() && !(pool.comments[0]->getBody(deviations.back()) == pool.bodies[0]))
    state.SkipWithError("a deviation sees the committed text");
  state.SetItemsProcessed(static_cast<std::int64_t>(kCommitWrites));
}
BENCHMARK(BM_CommitWithDeviants)->Arg(0)->Arg(1)->Arg(10)->Arg(100)->Iterations(1);

}  // namespace

// Stored sequences and the model's root objects after erasures anywhere: what a client
// sees (order, positions, iteration, lookup, refusal of duplicates, counts) must not
// depend on how the sequence keeps its elements.
#include <gtest/gtest.h>

#include <cstdio>
#include <functional>
#include <random>
#include <set>
#include <sstream>
#include <vector>

#include "../support/SeededRuns.h"

#include <Kelpa/Model.h>

#include "TestElement.h"

using Kelpa::Deviant;
using test::Note;

namespace {

const bool kKernelUp = Kelpa::initialize();

class KelpaSequence : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(kKernelUp); }
  void TearDown() override { model->destroyModel(); }
  Kelpa::Model model = Kelpa::NSInterface::FactoryIntf::createNewModel();
  Deviant root = model.getDeviant();
};

// The two kinds of stored sequence, filled with fresh notes of model.
enum class Kind { Stored, Roots };

std::vector<Note> fill(const Kelpa::Model& model, Kind kind, Kelpa::MultiIndexImpl<Note>& stored,
                       Kelpa::Generic::SequenceIntf*& seq, int n) {
  std::vector<Note> notes;
  for (int i = 0; i < n; ++i) notes.push_back(Note::create(model));
  if (kind == Kind::Roots) {
    seq = model->getRootObjects(model.getDeviant()).get();
  } else {
    seq = stored.sequence();
    for (const Note& x : notes) seq->generic_push_back(model.getDeviant(), x);
  }
  return notes;
}

// Everything a client can ask of seq agrees with expected; "" or what differs.
std::string differences(Kelpa::Generic::SequenceIntf* seq, Deviant d,
                        const std::vector<Note>& expected) {
  std::ostringstream out;
  const int n = static_cast<int>(expected.size());
  if (seq->generic_size() != n) out << "size " << seq->generic_size() << " not " << n << "; ";
  if (seq->generic_empty() != (n == 0)) out << "empty wrong; ";
  if (n != seq->generic_size()) return out.str();
  // By index from the front, from the back and hopping about.
  for (int i = 0; i < n; ++i)
    if (seq->generic_at(i, d).get() != expected[i].get()) out << "at(" << i << ") wrong; ";
  for (int i = n - 1; i >= 0; --i)
    if (seq->generic_at(i, d).get() != expected[i].get()) out << "at(" << i << ") backwards; ";
  for (int i = 0; i < n; ++i) {
    const int j = (i * 7 + 3) % n;
    if (seq->generic_at(j, d).get() != expected[j].get()) out << "at(" << j << ") hopping; ";
  }
  for (int i = 0; i < n; ++i)
    if (seq->generic_indexOf(expected[i]) != i) out << "indexOf " << i << " wrong; ";
  int i = 0;
  Kelpa::Generic::IteratorIntf* it = seq->generic_begin(d);
  Kelpa::Generic::IteratorIntf* end = seq->generic_end(d);
  it->incRef();
  end->incRef();
  for (; !it->generic_equal(end); it->generic_next(), ++i)
    if (i >= n || it->generic_get(d).get() != expected[i].get()) out << "iteration " << i << "; ";
  it->decRef();
  end->decRef();
  if (n > 0) {
    if (seq->generic_front(d).get() != expected.front().get()) out << "front; ";
    if (seq->generic_back(d).get() != expected.back().get()) out << "back; ";
  }
  // Present elements are refused again, wherever the insertion aims.
  for (int k = 0; k < n; ++k) {
    const int count = expected[k]->numRef();
    seq->generic_push_back(d, expected[k]);
    seq->generic_insert(d, 0, expected[k]);
    if (expected[k]->numRef() != count) out << "duplicate counted; ";
  }
  if (seq->generic_size() != n) out << "duplicate taken; ";
  for (int k = 0; k < n; ++k)
    if (seq->generic_at(k, d).get() != expected[k].get()) out << "duplicate moved " << k << "; ";
  return out.str();
}

TEST_F(KelpaSequence, EveryLengthAfterErasuresInTheMiddleAndAtBothEnds) {
  for (Kind kind : {Kind::Stored, Kind::Roots}) {
    for (int n = 0; n <= 9; ++n) {
      Kelpa::Model m = Kelpa::NSInterface::FactoryIntf::createNewModel();
      const Deviant d = m.getDeviant();
      {
        Kelpa::MultiIndexImpl<Note> stored;
        Kelpa::Generic::SequenceIntf* seq = nullptr;
        std::vector<Note> expected = fill(m, kind, stored, seq, n);
        const std::vector<Note> all = expected;
        const std::string what = (kind == Kind::Roots ? "roots" : "stored") +
                                 std::string(" of ") + std::to_string(n);
        ASSERT_EQ(differences(seq, d, expected), "") << what;
        // Middle, front, back by turns, each by a different route.
        for (int step = 0; !expected.empty(); ++step) {
          const int size = static_cast<int>(expected.size());
          const int at = step % 3 == 0 ? size / 2 : step % 3 == 1 ? 0 : size - 1;
          const int count = expected[at]->numRef();
          if (step % 2 == 0)
            seq->generic_eraseAt(d, at);
          else
            EXPECT_TRUE(seq->generic_remove(d, expected[at]));
          EXPECT_EQ(expected[at]->numRef(), count - 1) << what;
          EXPECT_FALSE(seq->generic_contains(expected[at])) << what;
          EXPECT_FALSE(seq->generic_remove(d, expected[at])) << what;
          expected.erase(expected.begin() + at);
          ASSERT_EQ(differences(seq, d, expected), "") << what << " after step " << step;
        }
        // Back in, newest first (an append of a key below the others'), at the front, the
        // back and the middle.
        for (std::size_t k = all.size(); k-- > 0;) {
          const int at = k % 3 == 0 ? 0 : k % 3 == 1 ? static_cast<int>(expected.size())
                                                     : static_cast<int>(expected.size()) / 2;
          seq->generic_insert(d, at, all[k]);
          expected.insert(expected.begin() + at, all[k]);
        }
        ASSERT_EQ(differences(seq, d, expected), "") << what << " refilled";
      }
      m->destroyModel();
    }
  }
}

TEST_F(KelpaSequence, CopyAfterErasuresKeepsOrderAndCountsItsOwn) {
  Kelpa::MultiIndexImpl<Note> stored;
  Kelpa::Generic::SequenceIntf* seq = nullptr;
  std::vector<Note> expected = fill(model, Kind::Stored, stored, seq, 12);
  for (int at : {0, 5, 9, 3}) {
    seq->generic_eraseAt(root, at);
    expected.erase(expected.begin() + at);
  }
  seq->generic_remove(root, expected.back());
  expected.pop_back();
  const int count = expected[0]->numRef();
  Kelpa::MultiIndexImpl<Note> copy(stored);
  EXPECT_EQ(expected[0]->numRef(), count + 1);
  EXPECT_EQ(differences(copy.sequence(), root, expected), "");
  // The copy is a sequence of its own.
  copy.sequence()->generic_eraseAt(root, 0);
  EXPECT_EQ(differences(seq, root, expected), "");
  Kelpa::MultiIndexImpl<Note> assigned;
  assigned = stored;
  EXPECT_EQ(differences(assigned.sequence(), root, expected), "");
  EXPECT_EQ(expected[0]->numRef(), count + 1);  // the first copy let go of it
}

// What a stored list gives as its stamp: 0 while empty, a value never given before after
// each write of its elements or their order, the same one across reads and writes that
// change nothing. A copy is another list and gets a stamp of its own.
TEST_F(KelpaSequence, AStoredListTakesAFreshStampOnEveryWrite) {
  Kelpa::MultiIndexImpl<Note> stored;
  Kelpa::Generic::SequenceIntf* seq = stored.sequence();
  std::vector<Note> notes;
  for (int i = 0; i < 6; ++i) notes.push_back(Note::create(model));
  const auto stampOf = [](const Kelpa::Generic::SequenceIntf* s) {
    std::vector<std::uint64_t> words;
    EXPECT_TRUE(s->generic_stamp(words));
    EXPECT_EQ(words.size(), 1u);
    return words.empty() ? 0 : words[0];
  };
  EXPECT_EQ(stampOf(seq), 0u);
  std::set<std::uint64_t> seen{0};
  const auto changes = [&](const char* what, const std::function<void()>& write) {
    write();
    EXPECT_TRUE(seen.insert(stampOf(seq)).second) << what;
  };
  const auto keeps = [&](const char* what, const std::function<void()>& call) {
    const std::uint64_t before = stampOf(seq);
    call();
    EXPECT_EQ(stampOf(seq), before) << what;
  };
  // An iterator call on seq, its result released.
  const auto atBegin = [&](auto&& call) {
    Kelpa::Generic::IteratorIntf* it = seq->generic_begin(root);
    it->incRef();
    Kelpa::Generic::IteratorIntf* result = call(it);
    result->incRef();
    result->decRef();
    it->decRef();
  };

  changes("push_back", [&] { seq->generic_push_back(root, notes[0]); });
  changes("insert at", [&] { seq->generic_insert(root, 0, notes[1]); });
  changes("push_front", [&] { seq->generic_push_front(root, notes[2]); });
  changes("insert before an iterator",
          [&] { atBegin([&](auto* it) { return seq->generic_insert(root, it, notes[3]); }); });
  changes("insert at the end", [&] { seq->generic_insert(root, 4, notes[4]); });
  keeps("duplicates", [&] {
    seq->generic_push_back(root, notes[0]);
    seq->generic_insert(root, 0, notes[4]);
    seq->generic_replace(root, 0, notes[0]);  // already elsewhere
    seq->generic_replace(root, 1, notes[2]);  // the same
  });
  keeps("reads", [&] {
    (void)seq->generic_at(1, root);
    (void)seq->generic_indexOf(notes[0]);
    (void)seq->generic_contains(notes[5]);
    EXPECT_FALSE(seq->generic_remove(root, notes[5]));
  });
  changes("replace", [&] { seq->generic_replace(root, 0, notes[5]); });
  changes("erase at", [&] { seq->generic_eraseAt(root, 1); });
  changes("remove", [&] { EXPECT_TRUE(seq->generic_remove(root, notes[0])); });
  changes("erase at an iterator",
          [&] { atBegin([&](auto* it) { return seq->generic_erase(root, it); }); });
  changes("pop_back", [&] { seq->generic_pop_back(root); });
  ASSERT_EQ(seq->generic_size(), 1);
  changes("push_back again", [&] { seq->generic_push_back(root, notes[0]); });
  const std::uint64_t filled = stampOf(seq);

  Kelpa::MultiIndexImpl<Note> copy(stored);
  EXPECT_TRUE(seen.insert(stampOf(copy.sequence())).second);
  EXPECT_EQ(stampOf(seq), filled);
  Kelpa::MultiIndexImpl<Note> assigned;
  assigned = stored;
  EXPECT_TRUE(seen.insert(stampOf(assigned.sequence())).second);

  changes("erase a range", [&] {  // the first of the two
    Kelpa::Generic::IteratorIntf* first = seq->generic_begin(root);
    Kelpa::Generic::IteratorIntf* last = seq->generic_begin(root);
    first->incRef();
    last->incRef();
    last->generic_next();
    Kelpa::Generic::IteratorIntf* next = seq->generic_erase(root, first, last);
    next->incRef();
    next->decRef();
    first->decRef();
    last->decRef();
  });
  ASSERT_EQ(seq->generic_size(), 1);
  seq->generic_pop_front(root);
  EXPECT_EQ(stampOf(seq), 0u);
  changes("push_back after emptying", [&] { seq->generic_push_back(root, notes[1]); });
  changes("clear and refill", [&] {
    seq->generic_clear(root);
    EXPECT_EQ(stampOf(seq), 0u);
    seq->generic_push_back(root, notes[1]);
  });
}

// Random edits of the root objects against a vector: the remembered position must stay
// right whatever moves around it.
TEST_F(KelpaSequence, RootObjectsFollowRandomEditsLikeAVector) {
  testsupport::runSeeds("ROOTS", 20, 300, [](std::uint64_t seed, int steps, bool verbose) {
    Kelpa::Model m = Kelpa::NSInterface::FactoryIntf::createNewModel();
    const Deviant d = m.getDeviant();
    std::string failure;
    {
      Kelpa::Sequence<Kelpa::ClassObject> roots = m->getRootObjects(d);
      Kelpa::Generic::SequenceIntf* seq = roots.get();
      std::vector<Note> expected, out;
      std::mt19937_64 random(seed);
      auto pick = [&](std::size_t n) { return static_cast<int>(random() % n); };
      for (int step = 1; step <= steps && failure.empty(); ++step) {
        const int size = static_cast<int>(expected.size());
        const int op = pick(8);
        std::string done;
        if (op == 0 || size == 0) {
          expected.push_back(Note::create(m));
          done = "create";
        } else if (op == 1 && !out.empty()) {
          const int at = pick(size + 1);
          seq->generic_insert(d, at, out.back());
          expected.insert(expected.begin() + at, out.back());
          out.pop_back();
          done = "insert at " + std::to_string(at);
        } else if (op == 2) {
          const int at = pick(size);
          out.push_back(expected[at]);
          seq->generic_eraseAt(d, at);
          expected.erase(expected.begin() + at);
          done = "erase at " + std::to_string(at);
        } else if (op == 3) {
          const int at = pick(size);
          out.push_back(expected[at]);
          seq->generic_remove(d, expected[at]);
          expected.erase(expected.begin() + at);
          done = "remove " + std::to_string(at);
        } else if (op == 4 && !out.empty()) {
          const int at = pick(size);
          seq->generic_replace(d, at, out.back());
          std::swap(expected[at], out.back());
          done = "replace " + std::to_string(at);
        } else {
          const int at = pick(size);
          if (seq->generic_at(at, d).get() != expected[at].get()) failure = "at wrong";
          if (op == 5 && seq->generic_indexOf(expected[at]) != at) failure = "indexOf wrong";
          done = "read " + std::to_string(at);
        }
        if (verbose) std::printf("step %d: %s\n", step, done.c_str());
        // The full check reads every position: now and then, so that edits also meet a
        // position remembered from a single read.
        if (failure.empty() && (step % 7 == 0 || step == steps))
          failure = differences(seq, d, expected);
        if (!failure.empty()) failure += " at " + done + testsupport::replayLine("ROOTS", seed, step);
      }
    }
    m->destroyModel();
    return failure;
  });
}

}  // namespace

#include "RootObjectList.h"

#include <cstdlib>
#include <iterator>
#include <vector>

#include <Kelpa/Asserter.h>

#include "RefSequenceSupport.h"

namespace Kelpa::detail {

namespace {
using refsequence::checkIndex;
using refsequence::fail;
using refsequence::positionOf;
using Position = RootObjectList::Position;
using Iterator = refsequence::PositionIterator<Position>;

RootObjectList::Key classObjectOf(const Object& value) {
  return value.isNull() ? nullptr : castTo<NSInterface::ClassObjectIntf>(value.get());
}
}  // namespace

RootObjectList::~RootObjectList() {
  List taken;
  taken.swap(fList);
  for (Key k : taken) k->decRef();
}

Position RootObjectList::seek(int index) const {
  const int n = size();
  if (index == n) return fList.end();
  Position at;
  int from;
  const int fromCursor = fCursorIndex < 0 ? n : std::abs(index - fCursorIndex);
  if (fromCursor <= index && fromCursor <= n - index) {
    at = fCursor;
    from = fCursorIndex;
  } else if (index <= n - index) {
    at = fList.begin();
    from = 0;
  } else {
    at = fList.end();
    from = n;
  }
  for (; from < index; ++from) ++at;
  for (; from > index; --from) --at;
  fCursorIndex = index;
  fCursor = at;
  return at;
}

int RootObjectList::indexOf(Position target) const {
  // Outwards from the target, one step each way per round, until a way meets the first
  // element, the last one or the cursor.
  const Position first = fList.begin();
  const Position last = std::prev(fList.end());
  const bool cursor = fCursorIndex >= 0;
  Position back = target;
  Position ahead = target;
  for (int steps = 0;; ++steps) {
    if (cursor && back == fCursor) return fCursorIndex + steps;
    if (cursor && ahead == fCursor) return fCursorIndex - steps;
    if (back == first) return steps;
    if (ahead == last) return size() - 1 - steps;
    --back;
    ++ahead;
  }
}

Position RootObjectList::insertAt(Position position, int index, Key key) {
  auto [at, inserted] = fList.insert(position, key);
  if (!inserted) return at;
  key->incRef();
  if (fCursorIndex >= 0) {
    if (index < 0 && position != fList.end())
      forgetCursor();
    else if (index >= 0 && index <= fCursorIndex)
      ++fCursorIndex;
  }
  return at;
}

Position RootObjectList::eraseAt(Position position, int index) {
  Key k = *position;
  if (fCursorIndex >= 0) {
    if (position == fCursor) {
      ++fCursor;  // the next element takes the index
      if (fCursor == fList.end()) forgetCursor();
    } else if (index < 0) {
      forgetCursor();
    } else if (index < fCursorIndex) {
      --fCursorIndex;
    }
  }
  Position next = fList.erase(position);
  k->decRef();
  return next;
}

Object RootObjectList::generic_at(int index, const Deviant& d) const {
  checkIndex(index, size());
  return Object(*seek(index), d);
}

Object RootObjectList::generic_front(const Deviant& d) const {
  if (fList.empty()) fail(__LINE__, "sequence is empty");
  return Object(fList.front(), d);
}

Object RootObjectList::generic_back(const Deviant& d) const {
  if (fList.empty()) fail(__LINE__, "sequence is empty");
  return Object(fList.back(), d);
}

Generic::IteratorIntf* RootObjectList::generic_end(const Deviant&) const {
  return new Iterator(fList.end());
}

Generic::IteratorIntf* RootObjectList::generic_begin(const Deviant&) const {
  return new Iterator(fList.begin());
}

void RootObjectList::generic_clear(const Deviant&) {
  // Released after unlinking: a released element may be destroyed, and its destruction
  // must not find itself still listed.
  List taken;
  taken.swap(fList);
  forgetCursor();
  for (Key k : taken) k->decRef();
}

void RootObjectList::generic_insert(const Deviant&, int index, const Object& value) {
  checkIndex(index, size() + 1);
  Key key = keyOf(value);
  insertAt(seek(index), index, key);
}

Generic::IteratorIntf* RootObjectList::generic_insert(const Deviant&, Generic::IteratorIntf* before,
                                                      const Object& value) {
  Key key = keyOf(value);
  return new Iterator(insertAt(positionOf<Position>(before), -1, key));
}

Generic::IteratorIntf* RootObjectList::generic_erase(const Deviant&,
                                                     Generic::IteratorIntf* position) {
  Position pos = positionOf<Position>(position);
  if (pos == fList.end()) return new Iterator(pos);
  return new Iterator(eraseAt(pos, -1));
}

Generic::IteratorIntf* RootObjectList::generic_erase(const Deviant&, Generic::IteratorIntf* first,
                                                     Generic::IteratorIntf* last) {
  Position from = positionOf<Position>(first);
  Position to = positionOf<Position>(last);
  std::vector<Key> released(from, to);
  forgetCursor();
  Position next = fList.erase(from, to);
  for (Key k : released) k->decRef();
  return new Iterator(next);
}

void RootObjectList::generic_eraseAt(const Deviant&, int index) {
  checkIndex(index, size());
  eraseAt(seek(index), index);
}

void RootObjectList::generic_pop_back(const Deviant&) {
  if (fList.empty()) fail(__LINE__, "sequence is empty");
  eraseAt(std::prev(fList.end()), size() - 1);
}

void RootObjectList::generic_pop_front(const Deviant&) {
  if (fList.empty()) fail(__LINE__, "sequence is empty");
  eraseAt(fList.begin(), 0);
}

void RootObjectList::generic_push_back(const Deviant&, const Object& value) {
  insertAt(fList.end(), size(), keyOf(value));
}

void RootObjectList::generic_push_front(const Deviant&, const Object& value) {
  insertAt(fList.begin(), 0, keyOf(value));
}

void RootObjectList::generic_replace(const Deviant&, int index, const Object& value) {
  checkIndex(index, size());
  Key key = keyOf(value);
  Position at = seek(index);
  Key old = *at;
  if (old == key) return;
  if (!fList.replace(at, key)) return;  // already elsewhere in the list
  key->incRef();
  old->decRef();
}

bool RootObjectList::generic_contains(const Object& value) const {
  Key key = classObjectOf(value);
  return key && fList.get<1>().count(key) != 0;
}

int RootObjectList::generic_indexOf(const Object& value) const {
  Key key = classObjectOf(value);
  if (!key) return -1;
  auto& byKey = fList.get<1>();
  auto found = byKey.find(key);
  if (found == byKey.end()) return -1;
  Position at = fList.project<0>(found);
  const int index = indexOf(at);
  fCursorIndex = index;
  fCursor = at;
  return index;
}

bool RootObjectList::generic_accepts(const Object& value) const {
  return fTraits->tryCast(value.get()) != nullptr;
}

bool RootObjectList::generic_remove(const Deviant&, const Object& value) {
  Key key = classObjectOf(value);
  return key && removeKey(key);
}

bool RootObjectList::removeKey(Key key) {
  auto& byKey = fList.get<1>();
  auto found = byKey.find(key);
  if (found == byKey.end()) return false;
  eraseAt(fList.project<0>(found), -1);
  return true;
}

std::string RootObjectList::getTypeName() const {
  return fTraits->typeName;
}

}  // namespace Kelpa::detail

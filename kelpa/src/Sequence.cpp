#include <Kelpa/Sequence.h>

#include <Kelpa/Asserter.h>

#include <typeinfo>

namespace Kelpa {

namespace {
constexpr Where kSequenceHeader{"kelpa/Kelpa/Sequence_h"};
constexpr Where kNullSequenceSource{"kelpa/kernel/containers/sequence/GenericNullSequence"};

[[noreturn]] void refuseChange() {
  raise(kNullSequenceSource, __LINE__, "the empty sequence cannot be changed");
}
}  // namespace

void detail::raiseNullSequence() {
  raise(kSequenceHeader, 60, "Cannot access NULL sequence. Use MakeSequence to create sequences.");
}

void detail::raiseNotAValue(const char* typeName) {
  const std::string text = std::string("sequence element is no value of ") + typeName;
  raise(kSequenceHeader, __LINE__, text.c_str());
}

namespace Generic {

void IteratorIntf::decRef() {
  if (--fRefCount <= 0) delete this;
}

bool SequenceIntf::generic_accepts(const Object& value) const {
  return !value.isNull();
}

bool SequenceIntf::generic_remove(const Deviant& d, const Object& value) {
  const int index = generic_indexOf(value);
  if (index < 0) return false;
  generic_eraseAt(d, index);
  return true;
}

bool SequenceIntf::specialized_equal(const Deviant&, const SequenceIntf*, const Deviant&,
                                     bool& handled) const {
  handled = false;
  return false;
}

void SequenceIntf::specialized_assign(const Deviant&, const SequenceIntf*, const Deviant&,
                                      bool& handled) {
  handled = false;
}

bool SequenceIntf::generic_stamp(std::vector<std::uint64_t>&) const {
  return false;
}

bool SequenceIntf::generic_equal(const Deviant& d, const SequenceIntf* other,
                                 const Deviant& otherDeviant) const {
  bool handled = true;
  const bool equal = specialized_equal(d, other, otherDeviant, handled);
  if (handled) return equal;
  const int n = generic_size();
  if (n != other->generic_size()) return false;
  for (int i = 0; i < n; ++i)
    if (generic_at(i, d).get() != other->generic_at(i, otherDeviant).get()) return false;
  return true;
}

void SequenceIntf::generic_assign(const Deviant& d, const SequenceIntf* other,
                                  const Deviant& otherDeviant) {
  bool handled = true;
  specialized_assign(d, other, otherDeviant, handled);
  if (handled) return;
  generic_clear(d);
  const int n = other->generic_size();
  for (int i = 0; i < n; ++i) generic_push_back(d, other->generic_at(i, otherDeviant));
}

GenericNullSequence* GenericNullSequence::getSingleton() {
  static auto* singleton = new GenericNullSequence();
  return singleton;
}

Object GenericNullSequence::generic_at(int index, const Deviant&) const {
  raise(kNullSequenceSource, __LINE__,
        index < 0 ? "sequence index must be positive" : "sequence index out of bounds");
}
Object GenericNullSequence::generic_front(const Deviant&) const {
  raise(kNullSequenceSource, __LINE__, "sequence is empty");
}
Object GenericNullSequence::generic_back(const Deviant&) const {
  raise(kNullSequenceSource, __LINE__, "sequence is empty");
}

namespace {
class NullIterator final : public IteratorIntf {
 public:
  Object generic_get(const Deviant&) const override {
    raise(kNullSequenceSource, __LINE__, "sequence is empty");
  }
  void generic_next() override {}
  bool generic_equal(const IteratorIntf* other) const override {
    return other != nullptr && typeid(*other) == typeid(NullIterator);
  }
};
}  // namespace

IteratorIntf* GenericNullSequence::generic_end(const Deviant&) const {
  return new NullIterator();
}
IteratorIntf* GenericNullSequence::generic_begin(const Deviant&) const {
  return new NullIterator();
}
void GenericNullSequence::generic_clear(const Deviant&) {}
void GenericNullSequence::generic_insert(const Deviant&, int, const Object&) {
  refuseChange();
}
IteratorIntf* GenericNullSequence::generic_insert(const Deviant&, IteratorIntf*, const Object&) {
  refuseChange();
}
IteratorIntf* GenericNullSequence::generic_erase(const Deviant&, IteratorIntf*) {
  refuseChange();
}
IteratorIntf* GenericNullSequence::generic_erase(const Deviant&, IteratorIntf*, IteratorIntf*) {
  refuseChange();
}
void GenericNullSequence::generic_eraseAt(const Deviant&, int) {
  refuseChange();
}
void GenericNullSequence::generic_pop_back(const Deviant&) {
  raise(kNullSequenceSource, __LINE__, "sequence is empty");
}
void GenericNullSequence::generic_pop_front(const Deviant&) {
  raise(kNullSequenceSource, __LINE__, "sequence is empty");
}
void GenericNullSequence::generic_push_back(const Deviant&, const Object&) {
  refuseChange();
}
void GenericNullSequence::generic_push_front(const Deviant&, const Object&) {
  refuseChange();
}
void GenericNullSequence::generic_replace(const Deviant&, int, const Object&) {
  refuseChange();
}

}  // namespace Generic
}  // namespace Kelpa

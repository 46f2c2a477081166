#pragma once
// The stored container of a multi-valued property of values (strings, booleans, tool
// infos): insertion order kept, equal values refused, ordered by the value's operator<.
// Values cross the generic interface boxed as Objects of the type's registered name.
//
// The Boost container lives in Kelpa/detail/MultiIndexPrimitivesImpl.h, which only the
// translation units that instantiate a T include.
#include <Kelpa/Sequence.h>

namespace Kelpa {

namespace MultiIndexImplInternal {

template <class T>
class MultiIndexImplForPrimitives : public Generic::SequenceIntf {
 public:
  MultiIndexImplForPrimitives() noexcept = default;
  MultiIndexImplForPrimitives(const MultiIndexImplForPrimitives& other);
  MultiIndexImplForPrimitives& operator=(const MultiIndexImplForPrimitives& other);
  ~MultiIndexImplForPrimitives() override;

  Object generic_at(int index, const Deviant& d) const override;
  Object generic_front(const Deviant& d) const override;
  Object generic_back(const Deviant& d) const override;
  Generic::IteratorIntf* generic_end(const Deviant& d) const override;
  Generic::IteratorIntf* generic_begin(const Deviant& d) const override;
  void generic_clear(const Deviant& d) override;
  int generic_size() const override { return size(); }
  bool generic_empty() const override { return size() == 0; }
  void generic_insert(const Deviant& d, int index, const Object& value) override;
  Generic::IteratorIntf* generic_insert(const Deviant& d, Generic::IteratorIntf* before,
                                        const Object& value) override;
  Generic::IteratorIntf* generic_erase(const Deviant& d, Generic::IteratorIntf* position) override;
  Generic::IteratorIntf* generic_erase(const Deviant& d, Generic::IteratorIntf* first,
                                       Generic::IteratorIntf* last) override;
  void generic_eraseAt(const Deviant& d, int index) override;
  void generic_pop_back(const Deviant& d) override;
  void generic_pop_front(const Deviant& d) override;
  void generic_push_back(const Deviant& d, const Object& value) override;
  void generic_push_front(const Deviant& d, const Object& value) override;
  void generic_replace(const Deviant& d, int index, const Object& value) override;
  bool generic_contains(const Object& value) const override;
  int generic_indexOf(const Object& value) const override;
  std::string getTypeName() const override;

  // Direct forms on values.
  int size() const noexcept;
  const T& valueAt(int index) const;
  bool append(const T& value);
  bool erase(const T& value);
  bool contains(const T& value) const;
  // The same values in the same order.
  bool sameValues(const MultiIndexImplForPrimitives& other) const;
  bool specialized_equal(const Deviant& d, const SequenceIntf* other, const Deviant& otherDeviant,
                         bool& handled) const override;

  struct Container;

 private:
  Container* container();
  bool insertAt(int index, const T& value);

  Container* fContainer = nullptr;
};

}  // namespace MultiIndexImplInternal

}  // namespace Kelpa

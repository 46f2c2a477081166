#pragma once
// Definitions of MultiIndexImplForPrimitives<T>; included only where a T is
// instantiated, so that Boost.MultiIndex stays out of the public headers.
#include <boost/multi_index/identity.hpp>
#include <boost/multi_index/ordered_index.hpp>
#include <boost/multi_index/random_access_index.hpp>
#include <boost/multi_index_container.hpp>

#include <Kelpa/Asserter.h>
#include <Kelpa/MultiIndexPrimitives.h>
#include <Kelpa/Values.h>
#include <Tovi/Any.h>

namespace Kelpa::MultiIndexImplInternal {

template <class T>
struct MultiIndexImplForPrimitives<T>::Container
    : boost::multi_index::multi_index_container<
          T, boost::multi_index::indexed_by<
                 boost::multi_index::random_access<>,
                 boost::multi_index::ordered_unique<boost::multi_index::identity<T>>>> {};

namespace primitives {
inline constexpr const char* kSource =
    "kelpa/kernel/containers/sequence/multi_index/MultiIndexImplForPrimitives";
[[noreturn, gnu::cold]] inline void fail(int line, const char* message) {
  Asserter::Make<Exception>(false, "%s", message).handle(kSource, line, "");
  __builtin_unreachable();
}
inline void checkIndex(int index, int limit) {
  if (index < 0) fail(__LINE__, "sequence index must be positive");
  if (index >= limit) fail(__LINE__, "sequence index out of bounds");
}
template <class T>
T unbox(const Object& value) {
  const Tovi::any* held = valueOf(value);
  if (!held) throw Tovi::bad_any_cast();
  return Tovi::any_cast<T>(*held);
}
template <class T>
Object box(const T& value) {
  return ValueObjectFactory::create(T::getTypeName(), Tovi::any(value));
}

template <class Position>
class Iterator final : public Generic::IteratorIntf {
 public:
  explicit Iterator(Position p) : fPosition(p) {}
  Object generic_get(const Deviant&) const override { return box(*fPosition); }
  void generic_next() override { ++fPosition; }
  bool generic_equal(const IteratorIntf* other) const override {
    const auto* o = dynamic_cast<const Iterator*>(other);
    return o && o->fPosition == fPosition;
  }
  Position fPosition;
};
}  // namespace primitives

template <class T>
MultiIndexImplForPrimitives<T>::MultiIndexImplForPrimitives(const MultiIndexImplForPrimitives& o)
    : Generic::SequenceIntf(o) {
  if (o.fContainer) fContainer = new Container(*o.fContainer);
}

template <class T>
MultiIndexImplForPrimitives<T>& MultiIndexImplForPrimitives<T>::operator=(
    const MultiIndexImplForPrimitives& o) {
  if (this != &o) {
    Container* copy = o.fContainer ? new Container(*o.fContainer) : nullptr;
    delete fContainer;
    fContainer = copy;
  }
  return *this;
}

template <class T>
MultiIndexImplForPrimitives<T>::~MultiIndexImplForPrimitives() {
  delete fContainer;
}

template <class T>
bool MultiIndexImplForPrimitives<T>::sameValues(const MultiIndexImplForPrimitives& other) const {
  const int n = size();
  if (n != other.size()) return false;
  for (int i = 0; i < n; ++i) {
    const T& a = (*fContainer)[static_cast<std::size_t>(i)];
    const T& b = (*other.fContainer)[static_cast<std::size_t>(i)];
    if (a < b || b < a) return false;
  }
  return true;
}

// Values are compared as values; boxes of equal values are different objects.
template <class T>
bool MultiIndexImplForPrimitives<T>::specialized_equal(const Deviant&, const SequenceIntf* other,
                                                       const Deviant&, bool& handled) const {
  const auto* o = dynamic_cast<const MultiIndexImplForPrimitives*>(other);
  handled = o != nullptr;
  return o && sameValues(*o);
}

template <class T>
typename MultiIndexImplForPrimitives<T>::Container* MultiIndexImplForPrimitives<T>::container() {
  if (!fContainer) fContainer = new Container();
  return fContainer;
}

template <class T>
int MultiIndexImplForPrimitives<T>::size() const noexcept {
  return fContainer ? static_cast<int>(fContainer->size()) : 0;
}

template <class T>
const T& MultiIndexImplForPrimitives<T>::valueAt(int index) const {
  primitives::checkIndex(index, size());
  return (*fContainer)[static_cast<std::size_t>(index)];
}

template <class T>
bool MultiIndexImplForPrimitives<T>::insertAt(int index, const T& value) {
  Container* c = container();
  return c->insert(c->begin() + index, value).second;
}

template <class T>
bool MultiIndexImplForPrimitives<T>::append(const T& value) {
  return insertAt(size(), value);
}

template <class T>
bool MultiIndexImplForPrimitives<T>::erase(const T& value) {
  return fContainer && fContainer->template get<1>().erase(value) != 0;
}

template <class T>
bool MultiIndexImplForPrimitives<T>::contains(const T& value) const {
  return fContainer && fContainer->template get<1>().count(value) != 0;
}

template <class T>
Object MultiIndexImplForPrimitives<T>::generic_at(int index, const Deviant&) const {
  return primitives::box(valueAt(index));
}

template <class T>
Object MultiIndexImplForPrimitives<T>::generic_front(const Deviant&) const {
  if (size() == 0) primitives::fail(__LINE__, "sequence is empty");
  return primitives::box(fContainer->front());
}

template <class T>
Object MultiIndexImplForPrimitives<T>::generic_back(const Deviant&) const {
  if (size() == 0) primitives::fail(__LINE__, "sequence is empty");
  return primitives::box(fContainer->back());
}

template <class T>
Generic::IteratorIntf* MultiIndexImplForPrimitives<T>::generic_end(const Deviant&) const {
  auto* self = const_cast<MultiIndexImplForPrimitives*>(this);
  return new primitives::Iterator<typename Container::iterator>(self->container()->end());
}

template <class T>
Generic::IteratorIntf* MultiIndexImplForPrimitives<T>::generic_begin(const Deviant&) const {
  auto* self = const_cast<MultiIndexImplForPrimitives*>(this);
  return new primitives::Iterator<typename Container::iterator>(self->container()->begin());
}

template <class T>
void MultiIndexImplForPrimitives<T>::generic_clear(const Deviant&) {
  if (fContainer) fContainer->clear();
}

template <class T>
void MultiIndexImplForPrimitives<T>::generic_insert(const Deviant&, int index, const Object& v) {
  primitives::checkIndex(index, size() + 1);
  insertAt(index, primitives::unbox<T>(v));
}

template <class T>
Generic::IteratorIntf* MultiIndexImplForPrimitives<T>::generic_insert(const Deviant&,
                                                                      Generic::IteratorIntf* before,
                                                                      const Object& v) {
  using It = primitives::Iterator<typename Container::iterator>;
  auto* at = dynamic_cast<It*>(before);
  if (!at) primitives::fail(__LINE__, "iterator of another sequence");
  return new It(container()->insert(at->fPosition, primitives::unbox<T>(v)).first);
}

template <class T>
Generic::IteratorIntf* MultiIndexImplForPrimitives<T>::generic_erase(
    const Deviant&, Generic::IteratorIntf* position) {
  using It = primitives::Iterator<typename Container::iterator>;
  auto* at = dynamic_cast<It*>(position);
  if (!at) primitives::fail(__LINE__, "iterator of another sequence");
  return new It(container()->erase(at->fPosition));
}

template <class T>
Generic::IteratorIntf* MultiIndexImplForPrimitives<T>::generic_erase(const Deviant&,
                                                                     Generic::IteratorIntf* first,
                                                                     Generic::IteratorIntf* last) {
  using It = primitives::Iterator<typename Container::iterator>;
  auto* from = dynamic_cast<It*>(first);
  auto* to = dynamic_cast<It*>(last);
  if (!from || !to) primitives::fail(__LINE__, "iterator of another sequence");
  return new It(container()->erase(from->fPosition, to->fPosition));
}

template <class T>
void MultiIndexImplForPrimitives<T>::generic_eraseAt(const Deviant&, int index) {
  primitives::checkIndex(index, size());
  fContainer->erase(fContainer->begin() + index);
}

template <class T>
void MultiIndexImplForPrimitives<T>::generic_pop_back(const Deviant& d) {
  if (size() == 0) primitives::fail(__LINE__, "sequence is empty");
  generic_eraseAt(d, size() - 1);
}

template <class T>
void MultiIndexImplForPrimitives<T>::generic_pop_front(const Deviant& d) {
  if (size() == 0) primitives::fail(__LINE__, "sequence is empty");
  generic_eraseAt(d, 0);
}

template <class T>
void MultiIndexImplForPrimitives<T>::generic_push_back(const Deviant&, const Object& v) {
  append(primitives::unbox<T>(v));
}

template <class T>
void MultiIndexImplForPrimitives<T>::generic_push_front(const Deviant&, const Object& v) {
  insertAt(0, primitives::unbox<T>(v));
}

template <class T>
void MultiIndexImplForPrimitives<T>::generic_replace(const Deviant&, int index, const Object& v) {
  primitives::checkIndex(index, size());
  fContainer->replace(fContainer->begin() + index, primitives::unbox<T>(v));
}

template <class T>
bool MultiIndexImplForPrimitives<T>::generic_contains(const Object& v) const {
  const Tovi::any* held = valueOf(v);
  const T* value = held ? Tovi::any_cast<T>(held) : nullptr;
  return value && contains(*value);
}

template <class T>
int MultiIndexImplForPrimitives<T>::generic_indexOf(const Object& v) const {
  const Tovi::any* held = valueOf(v);
  const T* value = held ? Tovi::any_cast<T>(held) : nullptr;
  if (!value || !fContainer) return -1;
  auto& byValue = fContainer->template get<1>();
  auto it = byValue.find(*value);
  if (it == byValue.end()) return -1;
  return static_cast<int>(fContainer->template project<0>(it) - fContainer->begin());
}

template <class T>
std::string MultiIndexImplForPrimitives<T>::getTypeName() const {
  const std::string name = T::getTypeName();  // "zorbel.String" -> "zorbel.SequenceOfString"
  const std::size_t dot = name.find('.');
  return name.substr(0, dot) + ".SequenceOf" + name.substr(dot + 1);
}

}  // namespace Kelpa::MultiIndexImplInternal

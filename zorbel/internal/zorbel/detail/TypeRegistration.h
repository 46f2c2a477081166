#pragma once
// The type names the library registers with the kernel at start-up, so that values,
// iterators and sequences of its types can be made by name.
#include <cstddef>

#include <Kelpa/Deviant.h>

#pragma GCC visibility push(hidden)

namespace zorbel::detail {

// How many names there are.
std::size_t registeredTypeNameCount();
// Registers every name in order; a value type's own name as its meta type, seen in root.
// Registering again replaces the entries.
void registerTypeNames(Kelpa::Deviant root);
// The exact inverse, in the same order.
void unregisterTypeNames();

}  // namespace zorbel::detail

#pragma GCC visibility pop

#pragma once

namespace zorbel::detail {

// Enters the TypeInfo of the four primitive types and the eight enumerations in the kernel's
// type registry under their type names, so that the kernel can box, parse and print them.
// Registering again replaces the entries.
void registerValueTypes();
void unregisterValueTypes();

}  // namespace zorbel::detail

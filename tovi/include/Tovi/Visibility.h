#pragma once
// A name that stays inside the library (or program) that compiles it: not in its dynamic
// symbol table, so that nothing links against it and calls to it bind directly. The
// header templates that each library instantiates for itself are declared so; every
// library then holds its own copies, which is safe for them because none keeps state
// whose address or identity another library could see.
#define TOVI_LOCAL __attribute__((visibility("hidden")))
// A name that a library exports on purpose, wherever it is defined.
#define TOVI_EXPORT __attribute__((visibility("default")))

#pragma once
// The checks that the generated stub sweep (StubSweep.cpp and one file per group) calls
// for every raising function of every concrete metaclass: a stub raises
// Kelpa::UnImplementedException itself, not a kind of it, with the text of its feature and
// the path of the class that declares it, whether it is called through the class's
// interface or reached by the kernel's reflection.
#include <gtest/gtest.h>

#include <Kelpa/Model.h>

namespace zorbel::stubs {

// One row of the table of stubs: the text and the source path its functions raise with.
struct Stub {
  const char* message;
  const char* source;
};

// The rows, in the generator's order; defined by the generated StubSweep.cpp.
extern const Stub kStubs[];

// The calls made so far, each checked. Use as
//   try { call; t.returned(stub, what); } catch (...) { t.raised(stub, what); }
struct Tally {
  int count = 0;
  // The call came back: a stub that does not raise.
  void returned(const Stub& stub, const char* what);
  // In a handler: the exception in flight is the stub's.
  void raised(const Stub& stub, const char* what);
};

// What a group's sweep checked: calls through the interfaces, and reflective calls.
struct Counts {
  int typed = 0;
  int reflective = 0;
};

}  // namespace zorbel::stubs

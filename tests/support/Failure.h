#pragma once
// What the tests check of a failure: the exact text of the Kelpa::Exception raised.
#include <string>

#include <Kelpa/Exception.h>

namespace testsupport {

// Runs f and returns the text of the Kelpa::Exception it raises.
template <class F>
std::string failureOf(F&& f) {
  try {
    f();
  } catch (const Kelpa::Exception& e) {
    return e.what();
  }
  return "<no exception>";
}

// The failure text up to its line number, which is the raising code's own business:
// "Assertion failed: <message> at <path>:".
template <class F>
std::string failureAt(F&& f) {
  const std::string text = failureOf(f);
  return text.substr(0, text.rfind(':', text.size() - 3) + 1);
}

}  // namespace testsupport

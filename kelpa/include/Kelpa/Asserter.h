#pragma once
// Failure reporting. A failed check reads
//   "Assertion failed: <message> at <path>:<line>: <suffix>"
// where <path> is the logical source path of the raising code (for example
// "zorbel/NSImplementation/CommentImpl"), never the compiler's file name.
//
// Call sites use the small helpers at the bottom:
//   Kelpa::raise(kWhere, __LINE__, "text");                 // always
//   Kelpa::raiseIf(!ok, kWhere, __LINE__, "text");          // on a false condition
// which are cold, out of line, and format only when they fire.
#include <Kelpa/Exception.h>
#include <Tovi/Visibility.h>

namespace Kelpa {

template <class E>
class AsserterEx {
 public:
  explicit AsserterEx(bool condition) : fCondition(condition) {}
  // Throws E with the composed text unless the condition held.
  void handle(const char* file, int line, const char* suffix) const;

 private:
  bool fCondition;
};

class Asserter {
 public:
  explicit Asserter(bool condition);
  // Shared buffer that receives the formatted message of the last assertion made.
  static char fLogBuf[4096];

  template <class E = Exception>
  static AsserterEx<E> Make(bool condition, const char* format, ...)
      __attribute__((format(printf, 2, 3)));
  template <class E = Exception>
  static AsserterEx<E> MakeAlways(const char* format, ...) __attribute__((format(printf, 1, 2)));

  // Formats into fLogBuf; used by Make and MakeAlways.
  static void format(const char* format, __builtin_va_list args);
  // Composes the final text from fLogBuf and throws through thrower.
  using Thrower = void (*)(const std::string&);
  [[noreturn]] static void fail(const char* file, int line, const char* suffix, Thrower thrower);

  bool fCondition;
};

template <class E>
AsserterEx<E> Asserter::Make(bool condition, const char* fmt, ...) {
  __builtin_va_list args;
  __builtin_va_start(args, fmt);
  format(fmt, args);
  __builtin_va_end(args);
  return AsserterEx<E>(condition);
}

template <class E>
AsserterEx<E> Asserter::MakeAlways(const char* fmt, ...) {
  __builtin_va_list args;
  __builtin_va_start(args, fmt);
  format(fmt, args);
  __builtin_va_end(args);
  return AsserterEx<E>(false);
}

namespace detail {
template <class E>
[[noreturn]] TOVI_LOCAL void throwAs(const std::string& text) {
  throw E(text);
}
}  // namespace detail

template <class E>
void AsserterEx<E>::handle(const char* file, int line, const char* suffix) const {
  if (!fCondition) Asserter::fail(file, line, suffix, &detail::throwAs<E>);
}

// The logical source path of a raising unit, e.g. Where{"zorbel/Integer"}.
struct Where {
  const char* path;
};

[[noreturn, gnu::cold]] void raise(Where where, int line, const char* message);
[[noreturn, gnu::cold]] void raiseUnImplemented(Where where, int line, const char* message);

inline void raiseIf(bool failed, Where where, int line, const char* message) {
  if (__builtin_expect(failed, false)) raise(where, line, message);
}

// The message of a null handle, raised from the handle headers.
inline constexpr const char* kNullRefMessage =
    "Cannot access NULL ref. Use isValid() before calling methods";
TOVI_LOCAL inline constexpr Where kModelHeader{"kelpa/Kelpa/Model_h"};
TOVI_LOCAL inline constexpr Where kPackageHeader{"kelpa/Kelpa/MPackage_h"};
[[noreturn, gnu::cold]] void raiseNullRef(Where where = kModelHeader, int line = 84);

}  // namespace Kelpa

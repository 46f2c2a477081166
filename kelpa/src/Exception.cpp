#include <Kelpa/Asserter.h>
#include <Kelpa/Exception.h>

#include <cstdarg>
#include <cstdio>
#include <string>

namespace Kelpa {

Exception::Exception(const std::string& message) : std::runtime_error(message) {}
Exception::~Exception() = default;

UnImplementedException::UnImplementedException(const std::string& message) : Exception(message) {}
UnImplementedException::~UnImplementedException() = default;

char Asserter::fLogBuf[4096];

Asserter::Asserter(bool condition) : fCondition(condition) {}

void Asserter::format(const char* fmt, __builtin_va_list args) {
  std::vsnprintf(fLogBuf, sizeof fLogBuf, fmt, args);
}

void Asserter::fail(const char* file, int line, const char* suffix, Thrower thrower) {
  std::string text = "Assertion failed: ";
  text += fLogBuf;
  text += " at ";
  text += file;
  text += ':';
  text += std::to_string(line);
  text += ": ";
  text += suffix ? suffix : "";
  thrower(text);
  __builtin_unreachable();
}

void raise(Where where, int line, const char* message) {
  Asserter::MakeAlways<Exception>("%s", message).handle(where.path, line, "");
  __builtin_unreachable();
}

void raiseUnImplemented(Where where, int line, const char* message) {
  Asserter::MakeAlways<UnImplementedException>("%s", message).handle(where.path, line, "");
  __builtin_unreachable();
}

void raiseNullRef(Where where, int line) {
  raise(where, line, kNullRefMessage);
}

}  // namespace Kelpa

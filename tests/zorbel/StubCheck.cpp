#include "StubCheck.h"

#include <cctype>
#include <exception>
#include <string>
#include <typeinfo>

#include <Kelpa/Exception.h>

namespace zorbel::stubs {

namespace {

// "Assertion failed: <message> at <source>:<line>: ", with a line number of its own.
void expectText(const std::string& text, const Stub& stub, const char* what) {
  const std::string head =
      std::string("Assertion failed: ") + stub.message + " at " + stub.source + ":";
  if (text.compare(0, head.size(), head) != 0) {
    ADD_FAILURE() << what << ": the text is\n  " << text << "\nnot\n  " << head << "<line>: ";
    return;
  }
  std::size_t end = head.size();
  while (end < text.size() && std::isdigit(static_cast<unsigned char>(text[end]))) ++end;
  EXPECT_TRUE(end > head.size() && text[head.size()] != '0' && text.substr(end) == ": ")
      << what << ": no line number and end after the path in\n  " << text;
}

}  // namespace

void Tally::returned(const Stub& stub, const char* what) {
  ++count;
  ADD_FAILURE() << what << ": returned, where it should raise \"" << stub.message << "\"";
}

void Tally::raised(const Stub& stub, const char* what) {
  ++count;
  try {
    throw;
  } catch (const Kelpa::UnImplementedException& e) {
    EXPECT_TRUE(typeid(e) == typeid(Kelpa::UnImplementedException))
        << what << ": raises " << typeid(e).name() << ", a kind of UnImplementedException";
    expectText(e.what(), stub, what);
  } catch (const std::exception& e) {
    ADD_FAILURE() << what << ": raises " << typeid(e).name() << ": " << e.what();
  } catch (...) {
    ADD_FAILURE() << what << ": raises something other than a std::exception";
  }
}

}  // namespace zorbel::stubs

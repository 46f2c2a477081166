#include <zorbel/detail/ValueSupport.h>

#include <cstdint>
#include <memory>
#include <sstream>

#include <Kelpa/Asserter.h>
#include <Tovi/Strings.h>

namespace zorbel::detail {

namespace {
constexpr const char* kInternalAssertion =
    "Internal assertion without a message detected in FTL generated code! Please fix me asap";
}

std::string sourcePathOf(const std::string& typeName) {
  std::string path = typeName;
  if (const auto dot = path.find('.'); dot != std::string::npos) path[dot] = '/';
  return path;
}

void raiseInternalAssertion(const std::string& typeName, int line) {
  const std::string path = sourcePathOf(typeName);
  Kelpa::raise(Kelpa::Where{path.c_str()}, line, kInternalAssertion);
}

void requireNoErrors(const Tovi::ErrorHolder& errors, const std::string& typeName) {
  if (errors.hasError()) raiseInternalAssertion(typeName, kErrorsNotEmptyLine);
}

void addConversionError(Tovi::ErrorHolder& errors, const std::string& typeName,
                        const std::string& text, const char* target) {
  errors.addError(std::make_unique<Tovi::SimpleErrorDescription>(
      Tovi::CodeLocation(sourcePathOf(typeName), kParseFailureLine),
      ConvertStdStringToToviString("Can't convert string '" + text + "' to " + target)));
}

template <class T>
bool readNumber(const std::string& text, T& number) {
  std::istringstream in(text);
  if (text.size() > 1 && text.compare(0, 2, "0x") == 0) in >> std::hex;
  return static_cast<bool>(in >> number);
}

template <class T>
std::string printNumber(T number, const std::string& typeName) {
  std::ostringstream out;
  out << number;
  if (!out) raiseInternalAssertion(typeName, kBadStreamLine);
  return out.str();
}

template bool readNumber(const std::string&, std::int32_t&);
template bool readNumber(const std::string&, std::uint32_t&);
template std::string printNumber(std::int32_t, const std::string&);
template std::string printNumber(std::uint32_t, const std::string&);

const Tovi::any* boxedValue(const Kelpa::ImmutableObject& object, std::string (*typeName)()) {
  if (object.isNull() || !object->deviant_isValid(object.getDeviant())) return nullptr;
  const auto* value =
      Kelpa::detail::castTo<const Kelpa::NSInterface::ValueObjectIntf>(object.get());
  if (!value) raiseInternalAssertion(typeName(), kNotAValueLine);
  // The caller's handle keeps the object, and so the any, alive.
  return &value->getValue();
}

}  // namespace zorbel::detail

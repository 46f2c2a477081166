#include "Tovi/Error.h"

#include <utility>

#include "Tovi/Strings.h"

namespace Tovi {

CodeLocation::CodeLocation(const std::string& file, unsigned int line) : fFile(file), fLine(line) {}

ErrorDescription::~ErrorDescription() = default;

SimpleErrorDescription::SimpleErrorDescription(const CodeLocation& location,
                                               const std::u16string& message)
    : fLocation(location), fMessage(message) {}

std::u16string SimpleErrorDescription::getMessage() const {
  return fMessage;
}

CodeLocation SimpleErrorDescription::getLocation() const {
  return fLocation;
}

ErrorHolder::ErrorHolder() = default;
ErrorHolder::~ErrorHolder() = default;
ErrorHolder::ErrorHolder(ErrorHolder&&) noexcept = default;
ErrorHolder& ErrorHolder::operator=(ErrorHolder&&) noexcept = default;

void ErrorHolder::addError(std::unique_ptr<ErrorDescription> error) {
  if (error) fErrors.push_back(std::move(error));
}

std::string ErrorHolder::getMessage() const {
  std::string message;
  for (const auto& error : fErrors) {
    if (!message.empty()) message += "; ";
    message += utf16ToUtf8(error->getMessage());
  }
  return message;
}

ConversionError::ConversionError(const ErrorHolder& errors)
    : std::runtime_error(errors.getMessage()) {}

}  // namespace Tovi

#pragma once

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace Tovi {

class CodeLocation {
 public:
  CodeLocation(const std::string& file, unsigned int line);

  const std::string& file() const { return fFile; }
  unsigned int line() const { return fLine; }

 private:
  std::string fFile;
  unsigned int fLine;
};

class ErrorDescription {
 public:
  virtual ~ErrorDescription();
  virtual std::u16string getMessage() const = 0;
  virtual CodeLocation getLocation() const = 0;
};

class SimpleErrorDescription : public ErrorDescription {
 public:
  SimpleErrorDescription(const CodeLocation& location, const std::u16string& message);

  std::u16string getMessage() const override;
  CodeLocation getLocation() const override;

 private:
  CodeLocation fLocation;
  std::u16string fMessage;
};

// Collects the errors of an operation that reports them instead of throwing.
class ErrorHolder {
 public:
  ErrorHolder();
  ~ErrorHolder();
  ErrorHolder(const ErrorHolder&) = delete;
  ErrorHolder& operator=(const ErrorHolder&) = delete;
  ErrorHolder(ErrorHolder&&) noexcept;
  ErrorHolder& operator=(ErrorHolder&&) noexcept;

  bool hasError() const { return !fErrors.empty(); }
  // A null error is ignored.
  void addError(std::unique_ptr<ErrorDescription> error);
  const std::vector<std::unique_ptr<ErrorDescription>>& errors() const { return fErrors; }
  // All messages as UTF-8, joined by "; ".
  std::string getMessage() const;
  void clear() { fErrors.clear(); }

 private:
  std::vector<std::unique_ptr<ErrorDescription>> fErrors;
};

// Thrown by the default conversion-failure handler of TypeInfo.
class ConversionError : public std::runtime_error {
 public:
  explicit ConversionError(const ErrorHolder& errors);
};

}  // namespace Tovi

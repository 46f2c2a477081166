#pragma once
// Exceptions of the kernel. Every failure the kernel or the metamodel raises is a
// Kelpa::Exception; a feature that is deliberately absent raises the subclass
// UnImplementedException, so callers may catch it apart.
#include <stdexcept>
#include <string>

namespace Kelpa {

class Exception : public std::runtime_error {
 public:
  explicit Exception(const std::string& message);
  ~Exception() override;
};

class UnImplementedException : public Exception {
 public:
  explicit UnImplementedException(const std::string& message);
  ~UnImplementedException() override;
};

}  // namespace Kelpa

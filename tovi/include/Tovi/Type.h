#pragma once

#include <memory>
#include <string>

#include "Tovi/Any.h"
#include "Tovi/ByteArray.h"
#include "Tovi/Error.h"

namespace Tovi {

class TypeInfo;

// Describes a value type: how to convert its values to and from text and bytes, and how to make
// and check them. Other libraries derive from this, so the order of the virtual functions is part
// of the binary interface; append, never reorder.
class Type {
 public:
  virtual any convertFromString(const std::string& text, ErrorHolder& errors) const = 0;
  virtual std::string convertToString(const any& value) const = 0;
  // The bytes taken as UTF-8 text.
  virtual any convertFromByteArray(const ByteArray& bytes, ErrorHolder& errors) const;
  virtual ByteArray convertToByteArray(const any& value) const;
  virtual any convertFromUString(const std::u16string& text, ErrorHolder& errors) const;
  virtual std::u16string convertToUString(const any& value) const;
  virtual any defaultConstruct() const = 0;
  // Holds a plain value of the type defaultConstruct() makes.
  virtual bool isValid(const any& value) const;
  // Same dynamic type.
  virtual bool isEqualTo(const Type* other) const;
  // A strict weak order over dynamic types, matching isEqualTo.
  virtual bool isLessThan(const Type* other) const;
  virtual Type* clone() const = 0;
  virtual ~Type();

  // Takes ownership of type.
  static TypeInfo CreateTypeInfo(Type* type);

 protected:
  Type() = default;
  Type(const Type&) = default;
  Type& operator=(const Type&) = default;
};

// A copyable handle to a Type; copies share it.
class TypeInfo {
 public:
  // Called with the errors of a failed one-argument conversion; must throw.
  using ConversionFailureHandler = void (*)(const ErrorHolder&);

  TypeInfo();
  explicit TypeInfo(std::shared_ptr<const Type> type);
  TypeInfo(const TypeInfo&);
  TypeInfo(TypeInfo&&) noexcept;
  TypeInfo& operator=(const TypeInfo&);
  TypeInfo& operator=(TypeInfo&&) noexcept;
  ~TypeInfo();

  // Installs the handler used by the one-argument conversions and returns the previous one.
  // nullptr restores the default, which throws ConversionError.
  static ConversionFailureHandler setConversionFailureHandler(ConversionFailureHandler handler);

  std::string convertToString(const any& value) const;
  std::u16string convertToUString(const any& value) const;
  any convertFromString(const std::string& text) const;
  any convertFromString(const std::string& text, ErrorHolder& errors) const;
  any convertFromUString(const std::u16string& text) const;
  any convertFromUString(const std::u16string& text, ErrorHolder& errors) const;
  ByteArray convertToByteArray(const any& value) const;
  any convertFromByteArray(const ByteArray& bytes, ErrorHolder& errors) const;
  any defaultConstruct() const;
  bool isValid(const any& value) const;

  const Type* getType() const { return fType.get(); }
  bool isNull() const { return fType == nullptr; }

 private:
  // Throws std::logic_error on a null TypeInfo.
  const Type& type() const;

  std::shared_ptr<const Type> fType;
};

}  // namespace Tovi

#pragma once
#include <cstdint>
#include <string>

#include <Kelpa/Values.h>
#include <Tovi/Type.h>

namespace zorbel {

// The UML UnlimitedNatural: an unsigned 32-bit number whose all-ones value is the unlimited
// "*". There is no implicit conversion to the number, so that the unlimited value cannot
// slip into arithmetic as 4294967295.
class UnlimitedNatural {
 public:
  static constexpr std::uint32_t kUnlimited = 0xFFFFFFFFu;

  constexpr UnlimitedNatural() noexcept = default;
  constexpr UnlimitedNatural(std::uint32_t value) noexcept : fValue(value) {}
  // Parses as fromString does; text that is no number raises Tovi::bad_any_cast.
  explicit UnlimitedNatural(const std::string& text);
  explicit UnlimitedNatural(const std::u16string& text);
  // The value boxed in object; 0 for a null handle or an object that does not exist in its
  // deviant.
  explicit UnlimitedNatural(const Kelpa::Object& object);
  explicit UnlimitedNatural(const Kelpa::ImmutableObject& object);
  explicit UnlimitedNatural(const Kelpa::ValueObject& object);
  explicit UnlimitedNatural(const Kelpa::ImmutableValueObject& object);

  static constexpr UnlimitedNatural unlimited() noexcept { return UnlimitedNatural(kUnlimited); }

  constexpr std::uint32_t getValue() const noexcept { return fValue; }
  constexpr bool isUnlimited() const noexcept { return fValue == kUnlimited; }
  constexpr explicit operator std::uint32_t() const noexcept { return fValue; }
  operator Kelpa::Object() const;
  operator Kelpa::ValueObject() const;

  static std::string getTypeName() { return "zorbel.UnlimitedNatural"; }
  static const Tovi::TypeInfo& getTypeInfo();
  // The data type of the meta package that describes this type.
  static Kelpa::MetaHandle<Kelpa::NSInterface::TypeIntf> MetaDataType();
  Kelpa::MetaHandle<Kelpa::NSInterface::TypeIntf> getMetaDataType() const;
  // "*" for the unlimited value, decimal otherwise.
  Kelpa::String toString() const;
  // "*" and "-1" are unlimited; otherwise decimal, or hexadecimal after "0x".
  static UnlimitedNatural fromString(const Kelpa::String& text);

  friend constexpr bool operator==(UnlimitedNatural a, UnlimitedNatural b) noexcept {
    return a.fValue == b.fValue;
  }
  friend constexpr bool operator==(UnlimitedNatural a, std::uint32_t b) noexcept {
    return a.fValue == b;
  }

 private:
  std::uint32_t fValue = 0;
};

class UnlimitedNaturalTypeInfo final : public Tovi::Type {
 public:
  static Tovi::TypeInfo Create();

  Tovi::any convertFromString(const std::string& text, Tovi::ErrorHolder& errors) const override;
  std::string convertToString(const Tovi::any& value) const override;
  Tovi::any defaultConstruct() const override;
  Tovi::Type* clone() const override;
  ~UnlimitedNaturalTypeInfo() override;
};

}  // namespace zorbel

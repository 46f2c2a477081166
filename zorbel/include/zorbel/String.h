#pragma once
#include <concepts>
#include <cstddef>
#include <memory>
#include <string>

#include <Kelpa/Values.h>
#include <Tovi/Type.h>

namespace zorbel {

// The UML String: UTF-16 text. The narrow (UTF-8) form is made only when someone asks for
// it and then kept beside the text, owned by this object alone.
class String {
 public:
  String() noexcept = default;
  String(const char* utf8);
  String(const char16_t* text);
  // Keeps utf8 as the narrow form, so that c_str() gives back these very bytes.
  String(const std::string& utf8);
  String(const std::u16string& text) : fText(text) {}
  String(std::u16string&& text) noexcept : fText(std::move(text)) {}
  String(const Kelpa::String& text) : fText(text.ustr()) {}
  // The text boxed in object; empty for a null handle or an object that does not exist in
  // its deviant.
  explicit String(const Kelpa::Object& object);
  explicit String(const Kelpa::ImmutableObject& object);
  explicit String(const Kelpa::ValueObject& object);
  explicit String(const Kelpa::ImmutableValueObject& object);

  // A copy starts without a narrow form of its own.
  String(const String& other) : fText(other.fText) {}
  String(String&& other) noexcept = default;
  String& operator=(const String& other);
  String& operator=(String&& other) noexcept = default;
  ~String() = default;

  const std::u16string& ustr() const noexcept { return fText; }
  // The narrow form, made on first use. It changes the object, so it is not safe on an
  // object that other threads use.
  const char* c_str() const;
  // A narrow copy; the kept narrow form if there is one, without making one.
  std::string to_string() const;
  bool empty() const noexcept { return fText.empty(); }
  // In UTF-16 code units.
  std::size_t size() const noexcept { return fText.size(); }

  operator Kelpa::String() const { return Kelpa::String(fText); }
  operator Kelpa::Object() const;
  operator Kelpa::ValueObject() const;

  static std::string getTypeName() { return "zorbel.String"; }
  static const Tovi::TypeInfo& getTypeInfo();
  // The data type of the meta package that describes this type.
  static Kelpa::MetaHandle<Kelpa::NSInterface::TypeIntf> MetaDataType();
  Kelpa::MetaHandle<Kelpa::NSInterface::TypeIntf> getMetaDataType() const;
  // A copy of the text.
  Kelpa::String toString() const { return Kelpa::String(fText); }
  static String fromString(const Kelpa::String& text);

  static std::string to_string(const std::u16string& text);
  static std::u16string to_ustring(const std::string& utf8);

  // By UTF-16 code units.
  friend bool operator==(const String& a, const String& b) noexcept { return a.fText == b.fText; }
  friend bool operator<(const String& a, const String& b) noexcept { return a.fText < b.fText; }
  // Exactly a Kelpa::String: anything else converts to String above.
  template <std::same_as<Kelpa::String> K>
  friend bool operator==(const String& a, const K& b) noexcept {
    return a.fText == b.ustr();
  }

 private:
  std::u16string fText;
  mutable std::unique_ptr<std::string> fNarrow;
};

class StringTypeInfo final : public Tovi::Type {
 public:
  static Tovi::TypeInfo Create();

  Tovi::any convertFromString(const std::string& text, Tovi::ErrorHolder& errors) const override;
  std::string convertToString(const Tovi::any& value) const override;
  // Never fails.
  Tovi::any convertFromUString(const std::u16string& text,
                               Tovi::ErrorHolder& errors) const override;
  Tovi::any defaultConstruct() const override;
  Tovi::Type* clone() const override;
  ~StringTypeInfo() override;
};

}  // namespace zorbel

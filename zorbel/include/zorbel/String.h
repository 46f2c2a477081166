#pragma once
#include <concepts>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include <Kelpa/Values.h>
#include <Tovi/SharedText.h>
#include <Tovi/Type.h>

namespace zorbel {

// The UML String: immutable UTF-16 text in a buffer that copies share (Tovi::SharedText), so
// that a copy, such as a getter's result, is a pointer and a count; the empty string holds
// no buffer. The narrow (UTF-8) form is made only when someone asks for it and then kept
// with the text for all copies.
class String {
 public:
  String() noexcept = default;
  String(const char* utf8);
  String(const char16_t* text);
  // c_str() and to_string() give back these very bytes: kept as given when they are no
  // well-formed UTF-8; otherwise the narrow form made from the text is the same.
  String(const std::string& utf8);
  String(const std::u16string& text) : fText(text) {}
  explicit String(std::u16string_view text) : fText(text) {}
  String(const Kelpa::String& text);
  // The text boxed in object; empty for a null handle or an object that does not exist in
  // its deviant.
  explicit String(const Kelpa::Object& object);
  explicit String(const Kelpa::ImmutableObject& object);
  explicit String(const Kelpa::ValueObject& object);
  explicit String(const Kelpa::ImmutableValueObject& object);

  // A copy shares the text and its narrow form; only bytes kept as given that are no
  // well-formed UTF-8 stay with this object, and a copy makes its narrow form from the text.
  String(const String& other) = default;
  String(String&& other) noexcept = default;
  String& operator=(const String& other) = default;
  String& operator=(String&& other) noexcept = default;
  ~String() = default;

  // Valid while this string, or a copy sharing its text, lives unchanged.
  std::u16string_view ustr() const noexcept { return fText.view(); }
  // The narrow form, made on first use and kept for every copy; valid as ustr() is.
  const char* c_str() const { return fText.narrow(); }
  // A narrow copy; the kept narrow form if there is one, without making one.
  std::string to_string() const;
  bool empty() const noexcept { return fText.empty(); }
  // In UTF-16 code units.
  std::size_t size() const noexcept { return fText.size(); }

  operator Kelpa::String() const;
  operator Kelpa::Object() const;
  operator Kelpa::ValueObject() const;

  static std::string getTypeName() { return "zorbel.String"; }
  static const Tovi::TypeInfo& getTypeInfo();
  // The data type of the meta package that describes this type.
  static Kelpa::MetaHandle<Kelpa::NSInterface::TypeIntf> MetaDataType();
  Kelpa::MetaHandle<Kelpa::NSInterface::TypeIntf> getMetaDataType() const;
  // The text as the kernel's String, sharing the buffer.
  Kelpa::String toString() const { return *this; }
  static String fromString(const Kelpa::String& text);

  static std::string to_string(std::u16string_view text);
  static std::u16string to_ustring(const std::string& utf8);

  // By UTF-16 code units.
  friend bool operator==(const String& a, const String& b) noexcept { return a.fText == b.fText; }
  friend bool operator<(const String& a, const String& b) noexcept { return a.fText < b.fText; }
  // Exactly a Kelpa::String: anything else converts to String above.
  template <std::same_as<Kelpa::String> K>
  friend bool operator==(const String& a, const K& b) noexcept {
    return a.fText == b.text();
  }

 private:
  Tovi::SharedText fText;
};
static_assert(sizeof(String) == sizeof(void*));

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

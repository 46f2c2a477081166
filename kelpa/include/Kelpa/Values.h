#pragma once
#include <atomic>
// The kernel's own value types and the boxing of values into Objects.
//
// A value crosses to the kernel as a Tovi::any inside a ValueObject; the
// ValueObjectFactory makes such objects by registered type name, and the
// TypeInfoRegistry maps each name to the Tovi::TypeInfo that parses and prints it.
#include <cstdint>
#include <memory>
#include <string>

#include <Kelpa/Handles.h>
#include <Tovi/Any.h>
#include <Tovi/SharedText.h>

namespace Tovi {
class TypeInfo;
}

namespace Kelpa {

// UTF-16 text with a narrow (UTF-8) form made on first request. Immutable text in a buffer
// that copies share (Tovi::SharedText), as zorbel's String keeps it: conversions between
// the two share the buffer too.
class String {
 public:
  String() noexcept = default;
  String(const char* utf8);
  String(const std::string& utf8);
  String(const std::u16string& text) : fText(text) {}
  explicit String(Tovi::SharedText text) noexcept : fText(std::move(text)) {}

  operator Object() const;
  // Valid while this string, or a copy sharing its text, lives unchanged.
  std::u16string_view ustr() const noexcept { return fText.view(); }
  const Tovi::SharedText& text() const noexcept { return fText; }
  // The narrow form, made on first use and kept for every copy; valid as ustr() is.
  const char* c_str() const { return fText.narrow(); }
  // A narrow copy, made from the text (the kept narrow form is not made for it).
  std::string str() const { return to_string(fText.view()); }
  bool empty() const noexcept { return fText.empty(); }

  static std::string to_string(std::u16string_view text);
  static std::u16string to_ustring(const std::string& utf8);
  static std::string getTypeName() { return "Kelpa.String"; }
  static const Tovi::TypeInfo& getTypeInfo();

  friend bool operator==(const String& a, const String& b) noexcept { return a.fText == b.fText; }
  friend bool operator<(const String& a, const String& b) noexcept { return a.fText < b.fText; }

 private:
  Tovi::SharedText fText;
};

class Integer {
 public:
  constexpr Integer() noexcept = default;
  constexpr Integer(int value) noexcept : fValue(value) {}
  constexpr std::int32_t getValue() const noexcept { return fValue; }
  constexpr operator std::int32_t() const noexcept { return fValue; }
  operator Object() const;
  static std::string getTypeName() { return "Kelpa.Integer"; }
  static const Tovi::TypeInfo& getTypeInfo();

 private:
  std::int32_t fValue = 0;
};

class Boolean {
 public:
  constexpr Boolean() noexcept = default;
  constexpr Boolean(bool value) noexcept : fValue(value) {}
  constexpr bool getValue() const noexcept { return fValue; }
  constexpr operator bool() const noexcept { return fValue; }
  operator Object() const;
  static std::string getTypeName() { return "Kelpa.Boolean"; }
  static const Tovi::TypeInfo& getTypeInfo();

 private:
  bool fValue = false;
};

// What an external tool records about an element: the tool's name and its text.
class ExternalToolInfo {
 public:
  ExternalToolInfo() = default;
  ExternalToolInfo(String toolName, String info)
      : fToolName(std::move(toolName)), fInfo(std::move(info)) {}
  const String& getToolName() const noexcept { return fToolName; }
  const String& getInfo() const noexcept { return fInfo; }
  operator Object() const;
  static std::string getTypeName() { return "Kelpa.ExternalToolInfo"; }
  static const Tovi::TypeInfo& getTypeInfo();

  friend bool operator==(const ExternalToolInfo& a, const ExternalToolInfo& b) noexcept {
    return a.fToolName == b.fToolName && a.fInfo == b.fInfo;
  }
  // Orders the tool-info tables: by tool, then by text.
  friend bool operator<(const ExternalToolInfo& a, const ExternalToolInfo& b) noexcept {
    if (a.fToolName == b.fToolName) return a.fInfo < b.fInfo;
    return a.fToolName < b.fToolName;
  }

 private:
  String fToolName;
  String fInfo;
};

namespace util {
std::u16string UTF8ToUString(const char* utf8);
}

namespace NSInterface {

// A boxed value: its registered type name and the any that holds it.
class ValueObjectIntf : public ObjectIntf {
 public:
  virtual const Tovi::any& getValue() const = 0;
  virtual const std::string& getTypeName() const = 0;
};

}  // namespace NSInterface

// The descriptions registered under the names of the iterators and sequences of a type.
// They keep the element type they were made with (which may be an empty handle: the
// name then tells it) and make no values: default construction gives an empty any, and
// text converts to nothing.
class IteratorType {
 public:
  static Tovi::TypeInfo Create(const MetaHandle<NSInterface::TypeIntf>& elementType);
};
class SequenceType {
 public:
  static Tovi::TypeInfo Create(const MetaHandle<NSInterface::TypeIntf>& elementType);
};

class ValueObjectFactory {
 public:
  static bool isValueObjectType(const std::string& name);
  // The default value of the type.
  static ValueObject create(const std::string& name);
  // value must hold the type's own C++ type.
  static ValueObject create(const std::string& name, const Tovi::any& value);
  // Parses text with the type's TypeInfo; a parse failure raises.
  // A value that the caller vouches is of the registered type name: no look-up, no
  // check, the value moved in. name must live as long as the process; the box keeps a
  // pointer to it. For the library's own value types boxing themselves.
  static ValueObject createTrusted(const std::string& name, Tovi::any&& value);
  static ValueObject createFromString(const std::string& name, const String& text);
};

template <class Intf>
class MetaHandle;
namespace NSInterface {
class TypeIntf;
class DataTypeIntf;
}  // namespace NSInterface

namespace detail {
// Counts the changes of the type registry; starts at 1.
extern std::atomic<unsigned> typeRegistryGeneration;
}  // namespace detail

class TypeInfoRegistry {
 public:
  // Changes whenever a name is registered or unregistered, so that a caller may keep
  // what it found until then.
  static unsigned generation() noexcept {
    return detail::typeRegistryGeneration.load(std::memory_order_acquire);
  }
  static void registerTypeInfo(const std::string& name, const Tovi::TypeInfo& info);
  static void unregisterTypeInfo(const std::string& name);
  // A name with its TypeInfo and the data type of the meta-registry that describes it.
  static void registerMetaType(const std::string& name, const Tovi::TypeInfo& info,
                               const MetaHandle<NSInterface::DataTypeIntf>& type);
  static void unregisterMetaType(const std::string& name);
  // The meta type registered under name, or a null handle.
  static MetaHandle<NSInterface::TypeIntf> getMetaType(const std::string& name);
  // The registered TypeInfo, or null.
  static const Tovi::TypeInfo* findTypeInfo(const std::string& name);
  static std::size_t size();
};

// The any held by a value object, read as T. A null or dead object, or one that is
// no value, gives ok = false.
const Tovi::any* valueOf(const ImmutableObject& object);

}  // namespace Kelpa

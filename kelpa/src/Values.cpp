#include <Kelpa/Values.h>
#include <Tovi/SmallObjects.h>

#include <unordered_map>
#include <sstream>

#include <Kelpa/Asserter.h>
#include <Kelpa/Meta.h>
#include <Tovi/Error.h>
#include <Tovi/Strings.h>
#include <Tovi/Type.h>

#include "KernelCast.h"

namespace Kelpa {

namespace {
constexpr Where kFactorySource{"kelpa/kernel/values/ValueObjectFactory"};

// A boxed value; counted, and freed with its last handle.
class ValueObjectImpl final : public NSInterface::ValueObjectIntf {
 public:
  ValueObjectImpl(std::string typeName, const Tovi::any& value)
      : fOwnName(std::move(typeName)), fTypeName(&fOwnName), fValue(value) {}
  // A name that lives as long as the process, and is not copied.
  ValueObjectImpl(const std::string* lastingName, Tovi::any&& value)
      : fTypeName(lastingName), fValue(std::move(value)) {}
  static void* operator new(std::size_t n) { return Tovi::detail::allocateSmall(n); }
  static void operator delete(void* p, std::size_t n) noexcept { Tovi::detail::deallocateSmall(p, n); }

  void incRef() override { ++fRefCount; }
  void decRef() override {
    if (--fRefCount == 0) delete this;
  }
  int numRef() const override { return fRefCount; }
  ReferenceCountingIntf* cast(const ClassInfo& info) const override {
    return detail::castAlongChain<NSInterface::ValueObjectIntf, NSInterface::ObjectIntf,
                                  ReferenceCountingIntf>(this, info);
  }
  std::string getRuvoName(bool) const override { return *fTypeName; }
  Kelpa::String toString(Deviant) const override;
  Object getEmptyValue() override { return Object(); }
  const Tovi::any& getValue() const override { return fValue; }
  const std::string& getTypeName() const override { return *fTypeName; }

 private:
  std::string fOwnName;
  const std::string* fTypeName;
  Tovi::any fValue;
  int fRefCount = 0;
};

// Hashed: a value's text form looks its type up by name each time.
std::unordered_map<std::string, Tovi::TypeInfo>& typeInfos() {
  static auto* map = new std::unordered_map<std::string, Tovi::TypeInfo>();
  return *map;
}

const Tovi::TypeInfo& requireTypeInfo(const std::string& name) {
  const Tovi::TypeInfo* info = TypeInfoRegistry::findTypeInfo(name);
  if (!info) {
    const std::string text = "unknown value type '" + name + "'";
    raise(kFactorySource, __LINE__, text.c_str());
  }
  return *info;
}

Kelpa::String ValueObjectImpl::toString(Deviant) const {
  return Kelpa::String(requireTypeInfo(*fTypeName).convertToString(fValue));
}

// Text forms of the kernel's own values.
class StringType final : public Tovi::Type {
 public:
  Tovi::any convertFromString(const std::string& text, Tovi::ErrorHolder&) const override {
    return Tovi::any(Kelpa::String(text));
  }
  std::string convertToString(const Tovi::any& value) const override {
    return Tovi::any_cast<Kelpa::String>(value).str();
  }
  Tovi::any defaultConstruct() const override { return Tovi::any(Kelpa::String()); }
  Tovi::Type* clone() const override { return new StringType(); }
};

class IntegerType final : public Tovi::Type {
 public:
  Tovi::any convertFromString(const std::string& text, Tovi::ErrorHolder& errors) const override {
    std::istringstream in(text);
    std::int32_t value = 0;
    if (!(in >> value)) {
      errors.addError(std::make_unique<Tovi::SimpleErrorDescription>(
          Tovi::CodeLocation("kelpa/kernel/values/Integer", __LINE__),
          Tovi::ConvertStdStringToToviString("Can't convert string '" + text + "' to INT32_T")));
      return Tovi::any();
    }
    return Tovi::any(Kelpa::Integer(value));
  }
  std::string convertToString(const Tovi::any& value) const override {
    return std::to_string(Tovi::any_cast<Kelpa::Integer>(value).getValue());
  }
  Tovi::any defaultConstruct() const override { return Tovi::any(Kelpa::Integer()); }
  Tovi::Type* clone() const override { return new IntegerType(); }
};

class BooleanType final : public Tovi::Type {
 public:
  Tovi::any convertFromString(const std::string& text, Tovi::ErrorHolder& errors) const override {
    if (text == "true") return Tovi::any(Kelpa::Boolean(true));
    if (text == "false") return Tovi::any(Kelpa::Boolean(false));
    errors.addError(std::make_unique<Tovi::SimpleErrorDescription>(
        Tovi::CodeLocation("kelpa/kernel/values/Boolean", __LINE__),
        Tovi::ConvertStdStringToToviString("Can't convert string '" + text + "' to bool")));
    return Tovi::any();
  }
  std::string convertToString(const Tovi::any& value) const override {
    return Tovi::any_cast<Kelpa::Boolean>(value).getValue() ? "true" : "false";
  }
  Tovi::any defaultConstruct() const override { return Tovi::any(Kelpa::Boolean()); }
  Tovi::Type* clone() const override { return new BooleanType(); }
};

// "tool=info"; the tool's name holds no '='.
class ExternalToolInfoType final : public Tovi::Type {
 public:
  Tovi::any convertFromString(const std::string& text, Tovi::ErrorHolder& errors) const override {
    const std::size_t eq = text.find('=');
    if (eq == std::string::npos) {
      errors.addError(std::make_unique<Tovi::SimpleErrorDescription>(
          Tovi::CodeLocation("kelpa/kernel/values/ExternalToolInfo", __LINE__),
          Tovi::ConvertStdStringToToviString("Can't convert string '" + text +
                                             "' to ExternalToolInfo")));
      return Tovi::any();
    }
    return Tovi::any(ExternalToolInfo(String(text.substr(0, eq)), String(text.substr(eq + 1))));
  }
  std::string convertToString(const Tovi::any& value) const override {
    const auto& info = Tovi::any_cast<ExternalToolInfo>(value);
    return info.getToolName().str() + "=" + info.getInfo().str();
  }
  Tovi::any defaultConstruct() const override { return Tovi::any(ExternalToolInfo()); }
  Tovi::Type* clone() const override { return new ExternalToolInfoType(); }
};

// One-argument conversions that fail raise the kernel's exception.
[[noreturn]] void raiseConversionFailure(const Tovi::ErrorHolder& errors) {
  throw Exception(errors.getMessage());
}
}  // namespace

void registerKernelValueTypes() {
  Tovi::TypeInfo::setConversionFailureHandler(&raiseConversionFailure);
  TypeInfoRegistry::registerTypeInfo(String::getTypeName(), String::getTypeInfo());
  TypeInfoRegistry::registerTypeInfo(Integer::getTypeName(), Integer::getTypeInfo());
  TypeInfoRegistry::registerTypeInfo(Boolean::getTypeName(), Boolean::getTypeInfo());
  TypeInfoRegistry::registerTypeInfo(ExternalToolInfo::getTypeName(),
                                     ExternalToolInfo::getTypeInfo());
}

String::String(const char* utf8) : fText(Tovi::SharedText::fromUtf8(utf8 ? utf8 : "")) {}
String::String(const std::string& utf8) : fText(Tovi::SharedText::fromUtf8(utf8)) {}

String::operator Object() const {
  return ValueObjectFactory::create(getTypeName(), Tovi::any(*this));
}

std::string String::to_string(std::u16string_view text) {
  return Tovi::utf16ToUtf8(text);
}
std::u16string String::to_ustring(const std::string& utf8) {
  return Tovi::utf8ToUtf16(utf8);
}

const Tovi::TypeInfo& String::getTypeInfo() {
  static const Tovi::TypeInfo info = Tovi::Type::CreateTypeInfo(new StringType());
  return info;
}

Integer::operator Object() const {
  return ValueObjectFactory::create(getTypeName(), Tovi::any(*this));
}
const Tovi::TypeInfo& Integer::getTypeInfo() {
  static const Tovi::TypeInfo info = Tovi::Type::CreateTypeInfo(new IntegerType());
  return info;
}

Boolean::operator Object() const {
  return ValueObjectFactory::create(getTypeName(), Tovi::any(*this));
}
const Tovi::TypeInfo& Boolean::getTypeInfo() {
  static const Tovi::TypeInfo info = Tovi::Type::CreateTypeInfo(new BooleanType());
  return info;
}

ExternalToolInfo::operator Object() const {
  return ValueObjectFactory::create(getTypeName(), Tovi::any(*this));
}
const Tovi::TypeInfo& ExternalToolInfo::getTypeInfo() {
  static const Tovi::TypeInfo info = Tovi::Type::CreateTypeInfo(new ExternalToolInfoType());
  return info;
}

std::u16string util::UTF8ToUString(const char* utf8) {
  return Tovi::utf8ToUtf16(utf8 ? utf8 : "");
}

namespace {
bool describesElements(const Tovi::Type* type);
}  // namespace

// Only names of values: the names of sequences, iterators and element classes are
// registered too, but nothing can be made of them here.
bool ValueObjectFactory::isValueObjectType(const std::string& name) {
  const Tovi::TypeInfo* info = TypeInfoRegistry::findTypeInfo(name);
  return info && !describesElements(info->getType());
}

ValueObject ValueObjectFactory::create(const std::string& name) {
  return create(name, requireTypeInfo(name).defaultConstruct());
}

ValueObject ValueObjectFactory::create(const std::string& name, const Tovi::any& value) {
  if (!requireTypeInfo(name).isValid(value)) {
    const std::string text = "value of another type given for '" + name + "'";
    raise(kFactorySource, __LINE__, text.c_str());
  }
  return ValueObject(new ValueObjectImpl(name, value), Deviant());
}

ValueObject ValueObjectFactory::createTrusted(const std::string& name, Tovi::any&& value) {
  return ValueObject(new ValueObjectImpl(&name, std::move(value)), Deviant());
}

ValueObject ValueObjectFactory::createFromString(const std::string& name, const String& text) {
  return create(name, requireTypeInfo(name).convertFromUString(std::u16string(text.ustr())));
}

namespace detail {
std::atomic<unsigned> typeRegistryGeneration{1};
}  // namespace detail

void TypeInfoRegistry::registerTypeInfo(const std::string& name, const Tovi::TypeInfo& info) {
  typeInfos().insert_or_assign(name, info);
  detail::typeRegistryGeneration.fetch_add(1, std::memory_order_acq_rel);
}

void TypeInfoRegistry::unregisterTypeInfo(const std::string& name) {
  typeInfos().erase(name);
  detail::typeRegistryGeneration.fetch_add(1, std::memory_order_acq_rel);
}

const Tovi::TypeInfo* TypeInfoRegistry::findTypeInfo(const std::string& name) {
  auto& map = typeInfos();
  auto it = map.find(name);
  return it == map.end() ? nullptr : &it->second;
}

std::size_t TypeInfoRegistry::size() {
  return typeInfos().size();
}

const Tovi::any* valueOf(const ImmutableObject& object) {
  if (object.isNull() || !object->deviant_isValid(object.getDeviant())) return nullptr;
  const auto* value = detail::castTo<const NSInterface::ValueObjectIntf>(object.get());
  return value ? &value->getValue() : nullptr;
}

ImmutableValueObject::ImmutableValueObject(const NSInterface::ValueObjectIntf* p, Deviant d)
    : ImmutableObject(p, d) {}
ImmutableValueObject::ImmutableValueObject(const ImmutableObject& o)
    : ImmutableObject(detail::castTo<const NSInterface::ValueObjectIntf>(o.get()), o.getDeviant()) {
}
ValueObject::~ValueObject() = default;

namespace {
// An iterator or sequence type: its element type and its kind.
class ElementsType final : public Tovi::Type {
 public:
  ElementsType(const char* kind, const NSInterface::TypeIntf* element) : fKind(kind), fElement(element) {}
  Tovi::any convertFromString(const std::string&, Tovi::ErrorHolder&) const override { return {}; }
  std::string convertToString(const Tovi::any&) const override { return {}; }
  Tovi::any defaultConstruct() const override { return {}; }
  bool isValid(const Tovi::any&) const override { return false; }
  bool isEqualTo(const Tovi::Type* other) const override {
    const auto* o = dynamic_cast<const ElementsType*>(other);
    return o && o->fKind == fKind && o->fElement == fElement;
  }
  Tovi::Type* clone() const override { return new ElementsType(fKind, fElement); }

 private:
  const char* fKind;
  const NSInterface::TypeIntf* fElement;
};

bool describesElements(const Tovi::Type* type) {
  return dynamic_cast<const ElementsType*>(type) != nullptr;
}
}  // namespace

Tovi::TypeInfo IteratorType::Create(const MetaHandle<NSInterface::TypeIntf>& elementType) {
  return Tovi::Type::CreateTypeInfo(new ElementsType("iterator", elementType.get()));
}
Tovi::TypeInfo SequenceType::Create(const MetaHandle<NSInterface::TypeIntf>& elementType) {
  return Tovi::Type::CreateTypeInfo(new ElementsType("sequence", elementType.get()));
}

}  // namespace Kelpa

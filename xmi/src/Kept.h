#pragma once
// The content that a read kept on an element as text, read back for writing.
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include <zorbel/xmi/Xmi.h>

namespace zorbel::xmi {

inline constexpr std::string_view kKeptTool = "xmi";
inline constexpr std::string_view kUuidTool = "xmi-uuid";
inline constexpr std::string_view kLibraryTool = "xmi-library";
// The info of the library tool on the primitive types library and its types.
inline constexpr const char* kPrimitiveLibrary = "PrimitiveTypes";

struct KeptRecord {
  std::string kind;  // child, attr, doc, docattr
  std::size_t position = 0;
  std::string payload;
};

// The text of records, as the reader stores it: "@<kind> <position> <length>\n<payload>\n"
// each, the length in bytes so that a payload may hold anything.
std::string formatKept(const std::vector<KeptRecord>& records);

// The records of one kept text; raises Error if it is not in that format.
std::vector<KeptRecord> parseKept(std::string_view text);

// All records the element keeps in its deviant d; raises Error, naming the element, if
// they were changed into something else.
std::vector<KeptRecord> keptOf(const Kelpa::NSInterface::ClassObjectIntf* element,
                               Kelpa::Deviant d);

// The info of the element's first tool info of that tool, or empty.
std::string toolInfo(const Kelpa::NSInterface::ClassObjectIntf* element, Kelpa::Deviant d,
                     std::string_view tool);

// Whether uri names XMI or the UML metamodel itself, in any version of either dialect
// (not a profile's namespace).
bool isUmlOrXmiNamespace(std::string_view uri);

// The address of the library document that holds element (without "#"), or empty if
// the element is not in a library that documents refer to by address.
std::string libraryUriOf(const Kelpa::NSInterface::ClassObjectIntf* element, Kelpa::Deviant d,
                         Dialect dialect);

}  // namespace zorbel::xmi

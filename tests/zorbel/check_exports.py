#!/usr/bin/env python3
"""Lists the free names (functions and variables at namespace scope) that a shared library
exports, and fails when any is not on the allowed list.

Members of classes, their vtables and type information are not free names and are left
alone: a class is exported whole. Nor are weak definitions: those are the copies of inline
functions and templates from the public headers, which every client compiles for itself
(an unoptimised build keeps many that an optimised one inlines), and the sanitizers' own
names. Usage: check_exports.py LIBRARY ALLOWED..."""
import re
import subprocess
import sys

# The namespaces of the three libraries and the XMI module; a name whose scope is one of these is free.
NAMESPACES = {
    "", "std",
    "Tovi", "Tovi::detail",
    "Kelpa", "Kelpa::detail", "Kelpa::detail::refsequence", "Kelpa::assignment", "Kelpa::NSInterface",
    "Kelpa::Generic", "Kelpa::CooperativeVisitor", "Kelpa::CooperativeVisitor::internal",
    "Kelpa::MultiIndexImplInternal", "Kelpa::MultiIndexImplForRefsHelper", "Kelpa::MetaFlag",
    "Kelpa::reflect", "Kelpa::util", "Kelpa::primitives",
    "zorbel", "zorbel::detail", "zorbel::detail::meta", "zorbel::stubs", "zorbel::NSInterface",
    "zorbel::NSImplementation", "zorbel::NSImplementation::NSDeviant", "zorbel::NSMetaRegistry",
    "zorbel::xmi", "zorbel::xmi::detail",
}
NOT_NAMES = ("typeinfo ", "vtable ", "VTT ", "construction vtable ", "guard variable ",
             "non-virtual thunk ", "virtual thunk ", "covariant return thunk ", "TLS ")


def strip_brackets(text):
    """The text without template arguments and without what follows the name's '('."""
    out, depth = [], 0
    i = 0
    while i < len(text):
        ch = text[i]
        if depth == 0 and text.startswith("operator", i):
            # An operator's name may hold brackets of its own ("operator<", "operator()"):
            # it runs whole to the '(' of its parameters.
            start = i + len("operator()") if text.startswith("operator()", i) else i
            end = text.find("(", start)
            out.append(text[i:end if end >= 0 else len(text)])
            break
        if ch == "<":
            depth += 1
        elif ch == ">":
            depth -= 1
        elif ch == "(" and depth == 0:
            break
        elif depth == 0:
            out.append(ch)
        i += 1
    return "".join(out)


def qualified_name(symbol):
    # An ABI tag ("writeString[abi:cxx11]") is part of the symbol, not of the name.
    name = re.sub(r"\[abi:[^\]]*\]", "", strip_brackets(symbol))
    # A template function's demangled name starts with its return type.
    if " " in name and "operator" not in name:
        name = name.rsplit(" ", 1)[1]
    if "operator" in name:
        name = name[: name.index("operator")] + "operator"
    return name


def free_names(library):
    listing = subprocess.run(["nm", "-D", "--defined-only", "-C", library], check=True,
                             capture_output=True, text=True).stdout
    names = set()
    for line in listing.splitlines():
        parts = line.split(" ", 2)
        if len(parts) < 3 or parts[1] in "UwvVW":
            continue
        symbol = parts[2]
        if symbol.startswith("__"):
            continue
        if symbol.startswith(NOT_NAMES):
            continue
        name = qualified_name(symbol)
        scope = name.rsplit("::", 1)[0] if "::" in name else ""
        if scope in NAMESPACES and not name.startswith("std::"):
            names.add(name)
    return names


def main():
    library, allowed = sys.argv[1], set(sys.argv[2:])
    names = free_names(library)
    extra = sorted(names - allowed)
    missing = sorted(allowed - names)
    for name in extra:
        print(f"exported but not allowed: {name}")
    for name in missing:
        print(f"allowed but not exported: {name}")
    if extra or missing:
        return 1
    print(f"{len(names)} free names, all allowed")
    return 0


if __name__ == "__main__":
    sys.exit(main())

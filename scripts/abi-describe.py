#!/usr/bin/env python3
"""Describes the binary interface of a library: its exported symbols, and the layout of its public classes.

usage: scripts/abi-describe.py symbols LIBRARY     the exported symbols, one line each
       scripts/abi-describe.py classes LIBRARY     sizes, bases, members and virtual functions; needs debug information
       scripts/abi-describe.py private LIBRARY     exported symbols that no program can use; needs debug information
A library can replace an older one if its description contains every line of the older one's.
"""
import re
import subprocess
import sys
import xml.etree.ElementTree as ElementTree

PUBLIC_HEADER = re.compile(r"/(core|system|thread|net|bus|containers|database|ui)/\w+\.h$")
BYTE = 8  # bits


def output_of(*command, text=None):
    return subprocess.run(command, input=text, check=True, capture_output=True, text=True).stdout


def symbols(library):
    """An object's size counts: a program may hold a copy of it, and a class's table of virtual functions is one."""
    lines = []
    for line in output_of("readelf", "--dyn-syms", "--wide", library).splitlines():
        fields = line.split()
        if len(fields) < 8 or fields[4] not in ("GLOBAL", "WEAK", "UNIQUE") or fields[6] in ("UND", "ABS"):
            continue
        kind, name = fields[3], fields[7]
        size = int(fields[2], 0) if kind == "OBJECT" else ""
        lines.append(f"{kind} {size} {name}".replace("  ", " "))
    described = zip(demangled(lines), lines)
    return [f"{readable}  {line}" for readable, line in sorted(described)]


def demangled(lines):
    names = [line.split()[-1].split("@")[0] for line in lines]
    return output_of("c++filt", text="\n".join(names)).splitlines()


class Types:
    """The names of types, as one writes them in C++."""

    def __init__(self, tree):
        self.elements = {e.get("id"): e for e in tree.iter() if e.get("id")}
        self.names = {}

    def add_name(self, element, name):
        self.names[element.get("id")] = name

    def name(self, identifier):
        element = self.elements.get(identifier)
        if element is None:
            return "void"
        spell = getattr(self, "_" + element.tag.replace("-", "_"), self._named)
        return spell(element)

    def _named(self, element):
        return self.names.get(element.get("id")) or element.get("name")

    def _pointer_type_def(self, element):
        return self.name(element.get("type-id")) + "*"

    def _reference_type_def(self, element):
        return self.name(element.get("type-id")) + ("&" if element.get("kind") == "lvalue" else "&&")

    def _qualified_type_def(self, element):
        words = [word for word in ("const", "volatile") if element.get(word) == "yes"]
        return " ".join([self.name(element.get("type-id")), *words])

    def _array_type_def(self, element):
        counts = "".join(f"[{part.get('length')}]" for part in element.iter("subrange"))
        return self.name(element.get("type-id")) + counts

    def _function_type(self, element):
        taken = ", ".join(self.name(part.get("type-id")) for part in element.findall("parameter"))
        return f"{self.name(element.find('return').get('type-id'))}({taken})"


def is_public(element):
    return bool(PUBLIC_HEADER.search(element.get("filepath", ""))) and element.get("is-declaration-only") != "yes"


def scopes(element, outer=""):
    """Every class, union and enumeration below the element, with its full name."""
    for part in element:
        if part.tag in ("class-decl", "union-decl", "enum-decl", "namespace-decl"):
            name = f"{outer}{part.get('name')}"
            if part.tag != "namespace-decl":
                yield name, part
            yield from scopes(part, name + "::")
        else:
            yield from scopes(part, outer)


def place(element):
    """Where a base or a member lies; nothing for a static one."""
    bits = element.get("layout-offset-in-bits")
    return None if bits is None else int(bits) // BYTE


def describe_class(name, element, types):
    yield 0, 0, f"{name}: {int(element.get('size-in-bits', 0)) // BYTE} bytes"
    for base in element.findall("base-class"):
        yield 1, place(base), f"{name}: base {types.name(base.get('type-id'))} at {place(base)}"
    for member in element.findall("data-member"):
        variable = member.find("var-decl")
        if place(member) is not None:
            yield 2, place(member), f"{name}: at {place(member)} {types.name(variable.get('type-id'))} {variable.get('name')}"
    yield from describe_functions(name, element, types)


def describe_functions(name, element, types):
    """The results of all, since they are no part of a symbol's name; and the slots of those that are virtual."""
    for member in element.findall("member-function"):
        function = member.find("function-decl")
        if function.get("elf-symbol-id") and not member.get("constructor") and not member.get("destructor"):
            result = types.name(function.find("return").get("type-id"))
            yield 4, 0, f"{name}: returns {result} from {function.get('mangled-name')}"
        slot = int(member.get("vtable-offset", -1))
        if slot >= 0:
            yield 3, slot, f"{name}: virtual {slot} {function.get('mangled-name')}"


def describe_enumeration(name, element):
    for part in element.findall("enumerator"):
        yield 5, int(part.get("value")), f"{name}: {part.get('name')} = {part.get('value')}"


def classes(library):
    tree = ElementTree.fromstring(output_of("abidw", "--no-corpus-path", library))
    types = Types(tree)
    found = list(scopes(tree))
    for name, element in found:
        types.add_name(element, name)
    described = set()
    for name, element in found:
        if is_public(element):
            parts = describe_enumeration(name, element) if element.tag == "enum-decl" else describe_class(name, element, types)
            described.update((name, *part) for part in parts)
    return output_of("c++filt", text="\n".join(line for *_, line in sorted(described))).splitlines()


def private_members(element, types):
    """The names of private static members and private functions, but not of virtual ones, which tables refer to.

    abidw calls every static constant private, so constants are left out.
    """
    for member in element.findall("data-member"):
        if member.get("access") == "private" and member.get("static") == "yes":
            variable = member.find("var-decl")
            if not types.name(variable.get("type-id")).endswith("const"):
                yield variable.get("mangled-name")
    for member in element.findall("member-function"):
        if member.get("access") == "private" and member.get("vtable-offset") is None:
            yield member.find("function-decl").get("mangled-name")


def private(library):
    tree = ElementTree.fromstring(output_of("abidw", "--no-corpus-path", library))
    types = Types(tree)
    inside = {name for _, element in scopes(tree) for name in private_members(element, types)}
    exported = [line.split()[-1].split("@")[0] for line in symbols(library)]
    readable = output_of("c++filt", text="\n".join(exported)).splitlines()
    return [text for name, text in zip(exported, readable) if name in inside or "jay::detail::" in text]


DESCRIPTIONS = {"symbols": symbols, "classes": classes, "private": private}


def main():
    if len(sys.argv) != 3 or sys.argv[1] not in DESCRIPTIONS:
        sys.exit(__doc__)
    for line in DESCRIPTIONS[sys.argv[1]](sys.argv[2]):
        print(line)


if __name__ == "__main__":
    main()

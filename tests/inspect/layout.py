"""Runs in gdb: prints the layout of the classes and enumerations of namespace tarvo that the debug
information of an object describes.

    gdb -nx -batch -iex "python headers = 'include'" -x layout.py OBJECT

Each class is a line with its size and alignment; the lines after it are its bases and members with offset
and size in bytes. Each enumeration is a line with its size; the lines after it are its values. Classes of a
header that are not described are an error.
"""

import pathlib
import re

import gdb


def types():
    """The types by name; those that are only declared, which have no size, are left out."""
    found = {}
    for line in gdb.execute("info types ^tarvo::", to_string=True).splitlines():
        match = re.match(r"\d+:\s+(tarvo::.*);$", line)
        if match:
            kind = gdb.lookup_type(match[1])
            if kind.code in (gdb.TYPE_CODE_STRUCT, gdb.TYPE_CODE_UNION, gdb.TYPE_CODE_ENUM) and kind.sizeof:
                found[match[1]] = kind
    return found


def lines_of(name, kind):
    if kind.code == gdb.TYPE_CODE_ENUM:
        yield f"{name}: size {kind.sizeof}"
        for value in kind.fields():
            yield f"  {value.name.split('::')[-1]} = {value.enumval}"
        return
    yield f"{name}: size {kind.sizeof}, alignment {kind.alignof}"
    for member in kind.fields():
        if hasattr(member, "bitpos"):
            what = "base " + member.name.split("<")[0] if member.is_base_class else member.name
            yield f"  {member.bitpos // 8} {what}: {member.type.sizeof}"


def main():
    found = types()
    for header in sorted(pathlib.Path(headers).rglob("*.hpp")):
        text = header.read_text(encoding="utf-8")
        for name in re.findall(r"^(?:class|struct) (?:KELINFRA_API )?(\w+)[^;]*$", text, re.MULTILINE):
            if not any(re.search(rf"::{name}(<.*>)?$", known) for known in found):
                print(f"{header}: the class {name} is not described")
    for name in sorted(found):
        print("\n".join(lines_of(name, found[name])))


main()

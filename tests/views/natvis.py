"""Runs in gdb: checks that a natvis file is well-formed, contains only elements of natvis, and names only
members that exist in the debug information of the program and the library that gdb has loaded. It prints the
number of members that it looked up.

The file is in the variable KELINFRA_NATVIS; KELINFRA_VIEWED lists the classes that need a view.
"""

import os
import re
import xml.etree.ElementTree

import gdb

SPACE = "{http://schemas.microsoft.com/vstudio/debugger/natvis/2010}"
# Each element of natvis that the file may contain, and where its expressions are.
TEXTS = {"DisplayString"}
EXPRESSIONS = {"Item", "ExpandedItem", "Size", "HeadPointer", "NextPointer", "ValueNode", "ValuePointer"}
OTHERS = {"AutoVisualizer", "Type", "AlternativeType", "Expand", "LinkedListItems", "ArrayItems"}
FORMAT = re.compile(r",(?:\[(.*)\])?(?:su|s8|s|en|d|x)?$")
NAMES = re.compile(r"(?<![\w.>])[A-Za-z_]\w*(?:(?:\.|->)[A-Za-z_]\w*)*")
problems, looked_up = [], 0


def class_of(kind):
    kind = kind.strip_typedefs().unqualified()
    while kind.code in (gdb.TYPE_CODE_PTR, gdb.TYPE_CODE_REF):
        kind = kind.target().strip_typedefs().unqualified()
    return kind


def member(kind, name):
    """The type of a member, also of a base class or an unnamed union."""
    for field in kind.fields():
        if field.name == name:
            return field.type
        if field.is_base_class or not field.name:
            found = member(class_of(field.type), name)
            if found is not None:
                return found
    return None


def check(kind, expression, where):
    global looked_up
    for chain in NAMES.findall(expression):
        current = kind
        for name in re.split(r"\.|->", chain):
            if name in ("nullptr", "xFFFFFFFFFFFFFFFF"):
                break
            looked_up += 1
            try:
                current = member(class_of(current), name)
            except TypeError:
                current = None
            if current is None:
                problems.append(f"{where}: there is no member {name} in {chain}")
                break


def expressions_of(element):
    tag = element.tag.replace(SPACE, "")
    if "Condition" in element.attrib:
        yield element.attrib["Condition"]
    found = re.findall(r"{([^{}]*)}", element.text or "") if tag in TEXTS else []
    if tag in EXPRESSIONS:
        found = [element.text]
    for expression in found:
        length = FORMAT.search(expression)
        yield FORMAT.sub("", expression)
        if length and length[1]:
            yield length[1]


def named(name):
    # The program contains objects of templates.
    objects = {"tarvo::oss::SizeableBuffer<*,*>": "sizeable", "tarvo::oss::DefaultAlternateBuffer<*>": "heap"}
    return gdb.parse_and_eval(objects[name]).type if name in objects else gdb.lookup_type(name)


def check_type(view):
    names = [other.attrib["Name"] for other in [view, *view.findall(SPACE + "AlternativeType")]]
    if names[0].startswith("icu_"):
        names = [name for name in names if name == os.environ["KELINFRA_TEXT_CLASS"]]
    try:
        kinds = [named(name) for name in names]
        if not kinds or any(not kind.strip_typedefs().fields() for kind in kinds):
            raise gdb.error
    except gdb.error:
        problems.append(f"{view.attrib['Name']}: there is no such class")
        return
    for element in view.iter():
        kind = kinds[0]
        if element.tag in (SPACE + "NextPointer", SPACE + "ValueNode"):
            kind = member(kind, view.find(f".//{SPACE}HeadPointer").text)
        for expression in expressions_of(element):
            check(kind, expression, view.attrib["Name"])


def main():
    tree = xml.etree.ElementTree.parse(os.environ["KELINFRA_NATVIS"])
    for element in tree.iter():
        if element.tag not in {SPACE + name for name in TEXTS | EXPRESSIONS | OTHERS}:
            problems.append(f"{element.tag} is not an element of natvis")
    views = list(tree.iter(SPACE + "Type"))
    for view in views:
        check_type(view)
    viewed = {view.attrib["Name"] for view in views}
    problems.extend(f"there is no view of {name}" for name in os.environ["KELINFRA_VIEWED"].split()
                    if name not in viewed)
    for problem in problems:
        print("natvis:", problem)
    print(f"natvis: {len(views)} classes, {looked_up} members, {len(problems)} problems")


main()

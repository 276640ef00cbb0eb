#!/usr/bin/env python3
"""Reads the version resource of a Windows library from the bytes of the file.

    versionResource.py LIBRARY VERSION ROOT

Fails unless both binary versions are VERSION followed by .0, and the texts name VERSION, the file itself,
KELINFRA, and the copyright and the licence in ROOT/.reuse/dep5.
"""

import pathlib
import re
import struct
import sys

RT_VERSION = 16
SIGNATURE = 0xFEEF04BD


def resources(image):
    """(virtual address, offset in the file) of the section with the resources."""
    header = struct.unpack_from("<I", image, 0x3C)[0]
    if image[header:header + 4] != b"PE\0\0":
        sys.exit("not a PE file")
    count, optional = struct.unpack_from("<H12xH", image, header + 6)
    for number in range(count):
        entry = header + 24 + optional + 40 * number
        if image[entry:entry + 8].rstrip(b"\0") == b".rsrc":
            address, offset = struct.unpack_from("<I4xI", image, entry + 12)
            return address, offset
    sys.exit("the file has no resources")


def version_resource(image):
    """The bytes of the version resource."""
    address, base = resources(image)
    wanted, offset = RT_VERSION, base
    while True:  # type, name, language
        named, numbered = struct.unpack_from("<12xHH", image, offset)
        entries = [struct.unpack_from("<II", image, offset + 16 + 8 * i) for i in range(named + numbered)]
        found = [place for number, place in entries if wanted in (None, number)]
        if not found:
            sys.exit("the file has no version resource")
        wanted = None
        if not found[0] & 0x80000000:
            data, size = struct.unpack_from("<II", image, base + found[0])
            return image[base + data - address:][:size]
        offset = base + (found[0] & 0x7FFFFFFF)


def main():
    library, version, root = sys.argv[1:]
    legal = (pathlib.Path(root) / ".reuse" / "dep5").read_text()
    holder, licence = (re.search(f"^{field}: *(.*)$", legal, re.M)[1] for field in ("Copyright", "License"))
    resource = version_resource(pathlib.Path(library).read_bytes())
    fixed = resource.index(struct.pack("<I", SIGNATURE))
    expected = tuple(int(part) for part in (version + ".0").split("."))
    faults = []
    for name, place in (("file", fixed + 8), ("product", fixed + 16)):
        minor, major, build, patch = struct.unpack_from("<HHHH", resource, place)
        if (major, minor, patch, build) != expected:
            faults.append(f"the binary {name} version is {(major, minor, patch, build)}, not {expected}")
    text = resource.decode("utf-16-le", "replace")
    texts = {"FileVersion": version, "ProductVersion": version, "ProductName": "KELINFRA",
             "OriginalFilename": pathlib.Path(library).name,
             "LegalCopyright": f"Copyright {holder}, {licence}"}
    for name, value in texts.items():
        begin = text.find(name + "\0")
        found = text[begin + len(name):].lstrip("\0").split("\0")[0] if begin >= 0 else None
        if found != value:
            faults.append(f"{name} is {found}, not {value}")
    if faults:
        sys.exit("\n".join(faults))


main()

"""Shows KELINFRA's classes in gdb.

The views read memory and never call a function of the program, so they work on core files, too. An object
that is damaged, not yet constructed or already destroyed is shown as a sentence. The texts that a view shows
are limited by "set print elements" and by LONGEST. `print /r` shows the members as they are.
"""

import itertools
import struct

import gdb
import gdb.printing

LONGEST = 4096  # bytes or code units of one text, and elements of one list


class Damaged(Exception):
    """The memory does not contain such an object. The text says why."""


def limit():
    """The number of elements that the user wants to see."""
    wanted = gdb.parameter("print elements")
    return LONGEST if not wanted else min(wanted, LONGEST)


# --- memory


def pointer_size():
    return gdb.lookup_type("char").pointer().sizeof


def memory(address, size):
    try:
        return bytes(gdb.selected_inferior().read_memory(address, size)) if size else b""
    except (gdb.MemoryError, gdb.error, OverflowError, ValueError):
        raise Damaged(f"the memory at {address:#x} cannot be read") from None


def order():
    return "<" if "little" in gdb.execute("show endian", to_string=True) else ">"


def numbers(address, form):
    """Reads the numbers that `form` lists, in the notation of Python's struct, without padding."""
    form = order() + form
    return struct.unpack(form, memory(address, struct.calcsize(form)))


def words(address, count):
    return numbers(address, {4: "I", 8: "Q"}[pointer_size()] * count)


def address_of(value):
    if value.address is None:
        raise Damaged("the object is not in memory")
    return int(value.address)


def described(kind):
    """Whether the debug information describes the class, and not only declares it."""
    try:
        return bool(kind.strip_typedefs().fields())
    except TypeError:
        return False


# The compiler describes a class with virtual functions only in the library's debug information. These are the
# offsets of the members that are read without it, on 64-bit systems, and their types.
OFFSETS = {
    "messages_": (8, None),  # of an exception
    "first_": (0, "Q"), "last_": (8, "Q"), "count_": (24, "i"),  # of a MessageList
    "storage_": (8, "Q"),  # of a ByteBuffer
    "data_": (8, "Q"), "capacity_": (40, "Q"), "usedSize_": (48, "Q"),  # of its storage
    "block_": (8, None),  # of a DataBuffer
    "inlineBytes": (0, None), "bytes": (4104, "Q"), "capacity": (4112, "i"), "length": (4116, "i"),
    "zeroFree": (4120, "i"), "written": (4124, "i"), "size": (4128, "Q"),  # of its block
    "ownsHandle_": (8, "B"), "handle_": (16, "Q"), "host_": (24, None), "port_": (88, "I"),  # of a Socket
}


class Members:
    """The members of an object, given as a value or, if nothing describes its class, as an address."""

    def __init__(self, place):
        self.value = place if isinstance(place, gdb.Value) and described(place.type) else None
        self.start = place if isinstance(place, int) else address_of(place)

    def address(self, name):
        if self.value is not None:
            return address_of(self.value[name])
        if pointer_size() != 8:
            raise Damaged("the library's debug information is needed to show it")
        return self.start + OFFSETS[name][0]

    def object(self, name):
        return Members(self.address(name) if self.value is None else self.value[name])

    def number(self, name):
        if self.value is not None:
            return int(self.value[name])
        return numbers(self.address(name), OFFSETS[name][1])[0]

    def pointed(self, name):
        """The object that a pointer points to."""
        if self.value is None:
            return Members(self.number(name))
        return Members(self.value[name].dereference())

    def numbers(self, *names):
        return [self.number(name) for name in names]

    def text(self, name):
        return text_of(self.address(name))


# --- texts

ESCAPES = {'"': '\\"', "\\": "\\\\", "\n": "\\n", "\r": "\\r", "\t": "\\t", "\0": "\\0"}


def escaped(character):
    if character in ESCAPES:
        return ESCAPES[character]
    if character.isprintable():
        try:
            character.encode(gdb.host_charset())
            return character
        except (UnicodeError, LookupError):
            pass
    code = ord(character)
    return f"\\x{code:02x}" if code < 0x80 else f"\\u{code:04x}" if code < 0x10000 else f"\\U{code:08x}"


def quoted(pieces, is_whole):
    return '"' + "".join(pieces) + '"' + ("" if is_whole else "...")


def bytes_of(address, length, decode=None):
    """`length` bytes in quotes. Bytes that are not text are shown as \\xNN."""
    shown = min(length, limit())
    raw = memory(address, shown)
    pieces = []
    if decode is None:
        pieces = [escaped(chr(byte)) if byte < 0x80 else f"\\x{byte:02x}" for byte in raw]
    else:
        # Bytes that are not well-formed become surrogates, which no well-formed text contains.
        for character in raw.decode(decode, "surrogateescape"):
            lone = 0xDC80 <= ord(character) <= 0xDCFF
            pieces.append(f"\\x{ord(character) - 0xDC00:02x}" if lone else escaped(character))
    return quoted(pieces, shown == length)


# An icu::UnicodeString: the pointer to its virtual functions, then 16 bits with flags and, if it is below
# 1024, the length. Next are the code units of a short text, or length, capacity and a pointer to the units.
BOGUS, SHORT, REFERENCES, READONLY, OPEN = 1, 2, 4, 8, 16
INLINE_UNITS = 27
TEXT_SIZE = 64


def text_of(address):
    pointer = pointer_size()
    (flags,) = numbers(address + pointer, "h")
    kind = flags & 31
    if kind == BOGUS:
        return "bogus"
    if kind & OPEN:
        return "a text whose buffer is open for writing"
    if kind not in (SHORT, REFERENCES, READONLY, 0):
        raise Damaged(f"a text has the flags {kind}")
    if kind == SHORT:
        length, capacity, units = flags >> 5, INLINE_UNITS, address + pointer + 2
    else:
        length, capacity = numbers(address + pointer + 4, "ii")
        (units,) = words(address + pointer + (16 if pointer == 8 else 12), 1)
        if flags >= 0:
            length = flags >> 5
    if length < 0 or length > capacity:
        raise Damaged(f"a text has the length {length} and the capacity {capacity}")
    shown = min(length, limit())
    raw = memory(units, 2 * shown)
    decoded = raw.decode("utf-16-le" if order() == "<" else "utf-16-be", "surrogatepass")
    return quoted(map(escaped, decoded), shown == length)


# --- lists and maps of libstdc++


def listed(value):
    """The addresses of the elements of a std::list."""
    try:
        head = address_of(value["_M_impl"]["_M_node"])
    except gdb.error:
        raise Damaged("its list is not one of libstdc++") from None
    node = head
    for _ in range(limit() + 1):
        following, _ = words(node, 2)
        if following == head:
            return
        if words(following, 2)[1] != node:
            raise Damaged("the links of a list do not match")
        node = following
        yield node + 2 * pointer_size()
    raise Damaged(f"it has more than {limit()} elements")


def in_order(root, count):
    """The addresses of the elements of a std::map in their order."""
    waiting, node, seen = [], root, 0
    while node or waiting:
        while node:
            waiting.append(node)
            if len(waiting) > 128:
                raise Damaged("the tree of the properties is too deep")
            node = words(node, 4)[2]
        node = waiting.pop()
        seen += 1
        if seen > count:
            raise Damaged(f"it has more than {count} properties")
        yield node + 4 * pointer_size()
        node = words(node, 4)[3]


# --- the classes


class View:
    """A view of one object. `summary` and `elements` may fail; the user reads a sentence then."""

    def __init__(self, value):
        self.value = value.referenced_value() if value.type.code == gdb.TYPE_CODE_REF else value

    def members(self):
        return Members(self.value)

    def elements(self):
        return iter(())

    def to_string(self):
        try:
            return self.summary()
        except Exception as error:  # an object may be damaged in any way
            return f"damaged: {error}"

    def children(self):
        try:
            yield from self.elements()
        except Exception:  # the summary has said it
            return


LEVELS = {1: "info", 2: "warning", 4: "error", 8: "severe"}


class MessageView(View):
    def summary(self):
        message = self.members()
        parts = [message.text("id_")]
        arguments = [text_of(address) for address in listed(self.value["arguments_"])]
        if arguments:
            parts[0] += " (" + ", ".join(arguments) + ")"
        text = message.text("text_")
        if text != '""':
            parts.append("text " + text)
        level, line = message.numbers("level_", "lineNumber_")
        parts.append(LEVELS.get(level, f"level {level}"))
        file = message.text("fileName_")
        if file != '""' or line:
            parts.append(f"{file}:{line}")
        return ", ".join(parts)


def counted(number, noun):
    return f"{number} {noun}" + ("" if number == 1 else "s")


class MessageListView(View):
    """A node is a Message and, after it, the address of the next node."""

    def nodes(self):
        node, last, count = self.members().numbers("first_", "last_", "count_")
        if count < 0:
            raise Damaged(f"its count is {count}")
        size = gdb.lookup_type("tarvo::oss::Message").sizeof
        before = 0
        for _ in range(min(count, limit())):
            if node == 0:
                raise Damaged(f"its count is {count}, but the links end earlier")
            yield node
            before, (node,) = node, words(node + size, 1)
        if count <= limit() and (node != 0 or before != last):
            raise Damaged(f"its count is {count}, but the links do not end there")

    def summary(self):
        # Reads all nodes, so that a damaged list is never summed up as a good one.
        for _ in self.nodes():
            pass
        return counted(self.members().number("count_"), "message")

    def elements(self):
        message = gdb.lookup_type("tarvo::oss::Message").pointer()
        for index, node in enumerate(list(self.nodes())):
            yield f"[{index}]", gdb.Value(node).cast(message).dereference()

    def display_hint(self):
        return "array"


class ExceptionView(MessageListView):
    def members(self):
        return super().members().object("messages_")

    def name(self):
        """The class is the one whose table of virtual functions the object points to."""
        (table,) = words(address_of(self.value), 1)
        symbol = gdb.execute(f"info symbol {table:#x}", to_string=True)
        if not symbol.startswith("vtable for "):
            raise Damaged("it has no table of virtual functions")
        return symbol[len("vtable for "):].split(" + ")[0]

    def summary(self):
        return f"{self.name()}, {super().summary()}"


class ByteBufferView(View):
    def summary(self):
        if self.members().number("storage_") == 0:
            raise Damaged("it has no storage object")
        data, capacity, used = self.members().pointed("storage_").numbers("data_", "capacity_", "usedSize_")
        if data == 0 and capacity == used == 0:
            return "0 bytes, without storage"
        if data == 0 or not 1 <= used <= capacity <= 1 << 30:
            raise Damaged(f"it has {used} bytes of {capacity} at {data:#x}")
        return f"{counted(used - 1, 'byte')}, capacity {capacity}: {bytes_of(data, used - 1)}"


class DataBufferView(View):
    charset = None

    def summary(self):
        block = self.members().object("block_")
        data, capacity, length, size = block.numbers("bytes", "capacity", "length", "size")
        zero_free, written = block.numbers("zeroFree", "written")
        if not (0 <= length <= capacity and 0 <= zero_free <= written <= capacity):
            raise Damaged(f"it has {length} bytes of {capacity}, of which {written} were written")
        if capacity >= size if size else data != block.address("inlineBytes"):
            raise Damaged(f"its {size} bytes on the heap are at {data:#x}")
        return f"{counted(length, 'byte')}, capacity {capacity}: {bytes_of(data, length, self.charset)}"


class UTF8StringView(DataBufferView):
    charset = "utf-8"


class SizeableBufferView(View):
    def state(self):
        data, capacity, size = self.members().numbers("data_", "capacity_", "size_")
        inline = data == address_of(self.value["inlineStore_"])
        if data == 0 and capacity == size == 0:
            return "size 0, without storage", 0
        if data == 0 or size > capacity or not (inline or data == int(self.value["heap_"]["data_"])):
            raise Damaged(f"it has {size} elements of {capacity} at {data:#x}")
        return f"size {size}, capacity {capacity}, {'inside the object' if inline else 'on the heap'}", size

    def summary(self):
        return self.state()[0]

    def elements(self):
        size = min(self.state()[1], limit())
        if size:
            data = self.value["data_"]
            array = data.type.target().array(size - 1)
            memory(int(data), array.sizeof)  # gdb would report an error for each element
            yield "data", data.cast(array.pointer()).dereference()


class PropertiesView(View):
    def tree(self):
        """The root and the number of properties; None without the library's debug information."""
        if not described(self.value.type):
            return None
        (properties,) = words(address_of(self.value["properties_"]), 1)
        if properties == 0:
            raise Damaged("it has no properties object")
        try:
            kind = gdb.lookup_type("tarvo::util::ExtendedProperties::PropertyMap")
        except gdb.error:
            return None
        if not described(kind):
            return None
        memory(properties, kind.sizeof)
        tree = gdb.Value(properties).cast(kind.pointer()).dereference()["map_"]["_M_t"]["_M_impl"]
        root = words(address_of(tree["_M_header"]), 4)[1]
        count = int(tree["_M_node_count"])
        if (root == 0) != (count == 0) or count > 1 << 40:
            raise Damaged(f"it has {count} properties and the root {root:#x}")
        return root, count

    def summary(self):
        tree = self.tree()
        if tree is None:
            return "properties; the library's debug information is needed to show them"
        root, count = tree
        if count <= limit():
            found = sum(1 for _ in in_order(root, count))
            if found != count:
                raise Damaged(f"it has {found} properties instead of {count}")
        names = counted(count, "property").replace("propertys", "properties")
        includes = [text_of(address) for address in listed(self.value["includes_"])]
        return names + (", includes " + ", ".join(includes) if includes else "")

    def elements(self):
        tree = self.tree()
        if tree is None:
            return
        for address in itertools.islice(in_order(*tree), limit()):
            yield "key", text_of(address)
            yield "value", text_of(address + TEXT_SIZE)

    def display_hint(self):
        return "map"


class SocketView(View):
    def summary(self):
        socket = self.members()
        owns = numbers(socket.address("ownsHandle_"), "B")[0]
        handle, port = socket.numbers("handle_", "port_")
        if owns > 1:
            raise Damaged(f"its flag of ownership is {owns}")
        none = handle == (1 << 64) - 1
        if owns and none:
            raise Damaged("it owns a handle that it does not have")
        state = "no handle" if none else f"handle {handle}, " + ("owned" if owns else "not owned")
        host = socket.text("host_")
        return state + (f", host {host}, port {port}" if host != '""' or port else "")


def views():
    printers = gdb.printing.RegexpCollectionPrettyPrinter("KELINFRA")
    for name, pattern, view in [
        ("Message", r"oss::Message", MessageView),
        ("MessageList", r"oss::MessageList", MessageListView),
        ("exceptions", r"(oss::(Base|NLS|IO|Socket)|util::(Properties|Base64))Exception", ExceptionView),
        ("ByteBuffer", r"oss::ByteBuffer", ByteBufferView),
        ("DataBuffer", r"oss::DataBuffer", DataBufferView),
        ("UTF8String", r"oss::UTF8String", UTF8StringView),
        ("SizeableBuffer", r"oss::SizeableBuffer<.*>", SizeableBufferView),
        ("ExtendedProperties", r"util::ExtendedProperties", PropertiesView),
        ("Socket", r"oss::Socket", SocketView),
    ]:
        printers.add_printer(name, f"^tarvo::{pattern}$", view)
    return printers


gdb.printing.register_pretty_printer(gdb.current_objfile(), views(), replace=True)

"""Arrow's C structures read through ctypes, value by value: what consumers do, the slow way."""

import ctypes
from ctypes import POINTER, c_char_p, c_int, c_int64, c_void_p


class ArrowSchema(ctypes.Structure):
    pass


class ArrowArray(ctypes.Structure):
    pass


class ArrowStream(ctypes.Structure):
    pass


ArrowSchema._fields_ = [
    ("format", c_char_p), ("name", c_char_p), ("metadata", c_void_p), ("flags", c_int64),
    ("n_children", c_int64), ("children", POINTER(POINTER(ArrowSchema))),
    ("dictionary", POINTER(ArrowSchema)), ("release", c_void_p), ("private_data", c_void_p),
]  # fmt: skip
ArrowArray._fields_ = [
    ("length", c_int64), ("null_count", c_int64), ("offset", c_int64), ("n_buffers", c_int64),
    ("n_children", c_int64), ("buffers", POINTER(c_void_p)),
    ("children", POINTER(POINTER(ArrowArray))), ("dictionary", POINTER(ArrowArray)),
    ("release", c_void_p), ("private_data", c_void_p),
]  # fmt: skip
ArrowStream._fields_ = [
    ("get_schema", ctypes.CFUNCTYPE(c_int, POINTER(ArrowStream), POINTER(ArrowSchema))),
    ("get_next", ctypes.CFUNCTYPE(c_int, POINTER(ArrowStream), POINTER(ArrowArray))),
    ("get_last_error", ctypes.CFUNCTYPE(c_char_p, POINTER(ArrowStream))),
    ("release", c_void_p), ("private_data", c_void_p),
]  # fmt: skip

NAMES = {
    ArrowSchema: b"arrow_schema",
    ArrowArray: b"arrow_array",
    ArrowStream: b"arrow_array_stream",
}
NUMBERS = {
    "c": ctypes.c_int8, "C": ctypes.c_uint8, "s": ctypes.c_int16, "S": ctypes.c_uint16,
    "i": ctypes.c_int32, "I": ctypes.c_uint32, "l": c_int64, "L": ctypes.c_uint64,
    "f": ctypes.c_float, "g": ctypes.c_double,
}  # fmt: skip
ctypes.pythonapi.PyCapsule_GetPointer.restype = c_void_p
ctypes.pythonapi.PyCapsule_GetPointer.argtypes = [ctypes.py_object, c_char_p]


def inside(capsule, kind):
    """The structure in a capsule."""
    return kind.from_address(ctypes.pythonapi.PyCapsule_GetPointer(capsule, NAMES[kind]))


def moved(capsule, kind):
    """The structure, moved out as consumers do it."""
    there, own = inside(capsule, kind), kind()
    ctypes.memmove(ctypes.byref(own), ctypes.byref(there), ctypes.sizeof(kind))
    there.release = None
    return own


def release(structure):
    ctypes.CFUNCTYPE(None, c_void_p)(structure.release)(ctypes.addressof(structure))
    assert not structure.release


def bit(address, i):
    return ctypes.c_uint8.from_address(address + i // 8).value >> i % 8 & 1 == 1


def number(kind, address, i):
    return kind.from_address(address + i * ctypes.sizeof(kind)).value


def value(schema, array, i):
    """Value i as a Python object."""
    if array.buffers[0] and not bit(array.buffers[0], i):
        return None
    form = schema.format.decode()
    if schema.dictionary:
        at = number(NUMBERS[form], array.buffers[1], i)
        return value(schema.dictionary[0], array.dictionary[0], at)
    if form == "+s":
        parts = range(schema.n_children)
        return {
            schema.children[k][0].name.decode(): value(
                schema.children[k][0], array.children[k][0], i
            )
            for k in parts
        }
    if form == "b":
        return bit(array.buffers[1], i)
    if form in NUMBERS:
        return number(NUMBERS[form], array.buffers[1], i)
    if form.startswith("+w:"):
        width = int(form[3:])
        begin, end = i * width, (i + 1) * width
    else:
        begin, end = (number(c_int64, array.buffers[1], k) for k in (i, i + 1))
    if form == "U":
        return ctypes.string_at(array.buffers[2] + begin, end - begin).decode()
    assert form in ("+L", form if form.startswith("+w:") else "")
    return [value(schema.children[0][0], array.children[0][0], k) for k in range(begin, end)]


def rows(capsules):
    """All values, and how many are said to be missing; the array is not released."""
    schema, array = inside(capsules[0], ArrowSchema), inside(capsules[1], ArrowArray)
    values = [value(schema, array, i) for i in range(array.length)]
    assert array.null_count == sum(one is None for one in values)
    return values

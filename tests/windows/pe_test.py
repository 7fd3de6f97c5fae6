#!/usr/bin/env python3
"""Reads a 64-bit Windows library: it exports one function, imports from the system alone, may be loaded anywhere, has no
executable data, no time of its own, and no path of the machine that built it.

usage: pe_test.py LIBRARY FUNCTION PATH
"""
import struct
import sys

SYSTEM_LIBRARIES = {"advapi32.dll", "kernel32.dll", "msvcrt.dll", "mpr.dll", "netapi32.dll", "ole32.dll", "shell32.dll",
                    "user32.dll", "userenv.dll", "version.dll", "winmm.dll", "ws2_32.dll"}
MACHINE_AMD64 = 0x8664
FORMAT_PE32_PLUS = 0x20B
FLAGS = {0x0020: "addresses in all 64 bits", 0x0040: "loading anywhere", 0x0100: "no executable data"}
EXPORTS, IMPORTS, _, _, _, RELOCATIONS = range(6)


class Library:
    def __init__(self, data):
        self.data = data
        header, = self.fields("<I", 0x3C)
        if data[:2] != b"MZ" or data[header:header + 4] != b"PE\0\0":
            sys.exit("not a Windows library")
        self.machine, sections, self.time, _, _, optional_bytes, _ = self.fields("<HHIIIHH", header + 4)
        optional = header + 24
        self.format, = self.fields("<H", optional)
        self.flags, = self.fields("<H", optional + 70)
        self.directories = [self.fields("<II", optional + 112 + 8 * i) for i in range(16)]
        # Address, length in memory, length and offset in the file.
        self.sections = [self.fields("<8sIIII", optional + optional_bytes + 40 * i) for i in range(sections)]

    def fields(self, layout, offset):
        return struct.unpack_from(layout, self.data, offset)

    def offset(self, address):
        for _, _, start, length, offset in self.sections:
            if start <= address < start + length:
                return offset + address - start
        sys.exit(f"no section has the address {address:#x}")

    def text(self, address):
        start = self.offset(address)
        return self.data[start:self.data.index(b"\0", start)].decode("ascii")

    def exports(self):
        table = self.offset(self.directories[EXPORTS][0])
        functions, names = self.fields("<II", table + 20)
        _, name_table, _ = self.fields("<III", table + 28)
        addresses = self.fields(f"<{names}I", self.offset(name_table))
        return functions, [self.text(address) for address in addresses]

    def imports(self):
        at = self.offset(self.directories[IMPORTS][0])
        while (name := self.fields("<IIIII", at)[3]) != 0:
            yield self.text(name)
            at += 20


def main():
    path, function, root = sys.argv[1:]
    with open(path, "rb") as file:
        library = Library(file.read())
    wrong = []
    if (library.machine, library.format) != (MACHINE_AMD64, FORMAT_PE32_PLUS):
        wrong.append("it is not for 64-bit Windows")
    if library.exports() != (1, [function]):
        wrong.append(f"it exports {library.exports()}")
    imports = list(library.imports())
    foreign = [name for name in imports if name.lower() not in SYSTEM_LIBRARIES]
    if foreign or not imports:
        wrong.append(f"it imports from {foreign or 'nothing'}")
    wrong += [f"{meaning}: not set" for flag, meaning in FLAGS.items() if not library.flags & flag]
    if library.directories[RELOCATIONS][1] == 0:
        wrong.append("without relocations it cannot be loaded anywhere")
    if library.time != 0:
        wrong.append(f"it carries the time {library.time}")
    for text in (root.encode(), root.encode("utf-16-le")):
        if text in library.data:
            at = library.data.index(text)
            wrong.append(f"it contains a path: {library.data[at:at + 100]}")
    if wrong:
        sys.exit(f"{path}: " + "\n".join(wrong))


main()

"""The headers of a Windows program, as far as the tests ask about them. Everything is read from the file's own bytes."""

import struct


class PortableExecutable:
    def __init__(self, data):
        self.data = data
        header = self.number("<I", 0x3C)
        if data[:2] != b"MZ" or data[header : header + 4] != b"PE\0\0":
            raise ValueError("not a Windows program")
        self.file_header = header + 4
        (self.machine, sections, self.time_stamp, self.symbols, self.symbol_count, optional_size, self.characteristics) = (
            struct.unpack_from("<HHIIIHH", data, self.file_header)
        )
        self.optional = self.file_header + 20
        self.is_64_bit = self.number("<H", self.optional) == 0x20B
        self.subsystem = self.number("<H", self.optional + 68)
        self.dll_characteristics = self.number("<H", self.optional + 70)
        self.directories = self.optional + (112 if self.is_64_bit else 96)
        self.sections = []
        for at in range(self.optional + optional_size, self.optional + optional_size + 40 * sections, 40):
            name, size, address, raw_size, raw = struct.unpack_from("<8sIIII", data, at)
            flags = self.number("<I", at + 36)
            self.sections.append((self.section_name(name), address, max(size, raw_size), raw, raw_size, flags))

    def number(self, form, at):
        return struct.unpack_from(form, self.data, at)[0]

    def section_name(self, name):
        """A longer name is an offset into the table behind the symbols."""
        text = name.rstrip(b"\0").decode("ascii")
        if not text.startswith("/"):
            return text
        at = self.symbols + 18 * self.symbol_count + int(text[1:])
        return self.text(at)

    def text(self, at):
        return self.data[at : self.data.index(b"\0", at)].decode("utf-8")

    def directory(self, index):
        """Address and size of a data directory: 0 exports, 1 imports, 2 resources, 5 relocations, 10 load configuration."""
        return struct.unpack_from("<II", self.data, self.directories + 8 * index)

    def offset(self, address):
        for _, start, size, raw, _, _ in self.sections:
            if start <= address < start + size:
                return address - start + raw
        raise ValueError(f"address {address:#x} lies in no section")

    def imports(self):
        """Names of the libraries, in the order of the import table."""
        address, _ = self.directory(1)
        names = []
        at = self.offset(address)
        while (name := self.number("<I", at + 12)) != 0:
            names.append(self.text(self.offset(name)))
            at += 20
        return names

    def section(self, name):
        for found, _, _, raw, size, _ in self.sections:
            if found == name:
                return self.data[raw : raw + size]
        return None

    def resources(self):
        """{(type, id): bytes}; the first language stands for all."""
        address, _ = self.directory(2)
        if address == 0:
            return {}
        base = self.offset(address)

        def entries(at):
            named, numbered = struct.unpack_from("<HH", self.data, at + 12)
            for entry in range(at + 16, at + 16 + 8 * (named + numbered), 8):
                key, below = struct.unpack_from("<II", self.data, entry)
                yield key, base + (below & 0x7FFFFFFF)

        found = {}
        for kind, ids in entries(base):
            for number, languages in entries(ids):
                _, leaf = next(entries(languages))
                data, size = struct.unpack_from("<II", self.data, leaf)
                found[kind, number] = self.data[self.offset(data) :][:size]
        return found


def version_texts(block):
    """(file version as four numbers, {name: text}) of a version resource."""
    texts = {}

    def align(at):
        return (at + 3) & ~3

    def walk(at):
        length, value_length, is_text = struct.unpack_from("<HHH", block, at)
        end = at + length
        name_end = at + 6
        while block[name_end : name_end + 2] != b"\0\0":
            name_end += 2
        name = block[at + 6 : name_end].decode("utf-16-le")
        value = align(name_end + 2)
        bytes_of_value = value_length * 2 if is_text else value_length
        if is_text and value_length > 0:
            texts[name] = block[value : value + bytes_of_value].decode("utf-16-le").rstrip("\0")
        child = align(value + bytes_of_value)
        while child < end:
            child = align(walk(child))
        return end

    walk(0)
    fixed = block.index(struct.pack("<I", 0xFEEF04BD))
    high, low = struct.unpack_from("<II", block, fixed + 8)
    return (high >> 16, high & 0xFFFF, low >> 16, low & 0xFFFF), texts

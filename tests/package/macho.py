"""Makes small programs for macOS that are right in every respect that a package is checked for, so
that a test can get one of them wrong. They have no code."""

import hashlib
import struct
from typing import NamedTuple, Tuple

X86_64, ARM64 = 0x01000007, 0x0100000C
SUBTYPES = {X86_64: 3, ARM64: 0}
SHIFTS = {X86_64: 12, ARM64: 14}


class Slice(NamedTuple):
    processor: int
    oldest: Tuple[int, int]
    kind: int = 2
    flags: int = 0x200085
    libraries: Tuple[str, ...] = ("/usr/lib/libsqlite3.dylib", "/usr/lib/libSystem.B.dylib")
    platform: int = 1
    texts: Tuple[str, ...] = ()
    signed: bool = True
    signature_flags: int = 0x20002
    tampered: bool = False


def command(number, data):
    data += bytes(-len(data) % 8)
    return struct.pack("<2I", number, 8 + len(data)) + data


def signature(code, flags):
    """An ad-hoc signature: one code directory with a hash of each page."""
    identifier = b"Tamsel\0"
    pages = [code[start:start + 4096] for start in range(0, len(code), 4096)]
    hashes = b"".join(hashlib.sha256(page).digest() for page in pages)
    start = 44 + len(identifier)
    directory = struct.pack(">9I4BI", 0xFADE0C02, start + len(hashes), 0x20001, flags, start, 44, 0,
                            len(pages), len(code), 32, 2, 0, 12, 0) + identifier + hashes
    return struct.pack(">5I", 0xFADE0CC0, 20 + len(directory), 1, 0, 20) + directory


def encoded(version):
    return version[0] << 16 | version[1] << 8


def code_of(part):
    commands = [command(0xC, struct.pack("<4I", 24, 0, 0, 0) + library.encode() + b"\0")
                for library in part.libraries]
    if part.processor == ARM64:
        commands.append(command(0x32, struct.pack("<4I", part.platform, encoded(part.oldest), 0, 0)))
    else:
        commands.append(command(0x24, struct.pack("<2I", encoded(part.oldest), 0)))
    body = "".join(text + "\0" for text in part.texts).encode() + bytes(9000)
    size = 32 + sum(map(len, commands)) + 16 * part.signed
    body += bytes(-(size + len(body)) % 16)
    signature_size = len(signature(bytes(size + len(body)), 0))
    if part.signed:
        commands.append(command(0x1D, struct.pack("<2I", size + len(body), signature_size)))
    header = struct.pack("<8I", 0xFEEDFACF, part.processor, SUBTYPES[part.processor], part.kind,
                         len(commands), sum(map(len, commands)), part.flags, 0)
    code = header + b"".join(commands) + body
    signed = signature(code, part.signature_flags) if part.signed else b""
    if part.tampered:
        code = code[:-1] + b"x"
    return code + signed


def universal(parts, aligned=True):
    """One program with these slices."""
    file = bytearray(struct.pack(">2I", 0xCAFEBABE, len(parts)) + bytes(20 * len(parts)))
    for number, part in enumerate(parts):
        shift = SHIFTS[part.processor] if aligned else 3
        file += bytes(-len(file) % (1 << shift))
        code = code_of(part)
        struct.pack_into(">5I", file, 8 + 20 * number, part.processor, SUBTYPES[part.processor], len(file),
                         len(code), shift)
        file += code
    return bytes(file)

#!/usr/bin/env python3
"""Two checks of tools/macos/check.sh that no LLVM tool makes.

  macho-check.py signature FILE
      Fails unless every slice of FILE (thin or universal) carries an ad-hoc
      code signature, as the linker makes it, whose CodeDirectory hashes
      match the bytes: each page of the signed range hashed with the
      directory's own hash, compared with its slot, the range ending where
      the signature begins. Prints one line per slice.
  macho-check.py tbd-symbols FILE TARGET
      Prints the symbols that a text-based link stub (.tbd, version 4)
      exports or re-exports for TARGET (x86_64-macos, arm64-macos), one a
      line: what a library promises to define.
"""
import hashlib
import re
import struct
import sys

FAT_MAGIC = 0xCAFEBABE
MH_MAGIC_64 = 0xFEEDFACF
LC_CODE_SIGNATURE = 0x1D
CSMAGIC_EMBEDDED_SIGNATURE = 0xFADE0CC0
CSMAGIC_CODEDIRECTORY = 0xFADE0C02
CSSLOT_CODEDIRECTORY = 0
CS_ADHOC = 0x2
HASHES = {1: ("sha1", 20), 2: ("sha256", 32), 3: ("sha256", 20), 4: ("sha384", 48)}
CPU_NAMES = {0x01000007: "x86_64", 0x0100000C: "arm64"}


class Failure(Exception):
    pass


def slices(data):
    """(name, bytes) of each Mach-O in data."""
    magic = struct.unpack_from(">I", data, 0)[0]
    if magic == FAT_MAGIC:
        count = struct.unpack_from(">I", data, 4)[0]
        found = []
        for i in range(count):
            cpu, _, offset, size, _ = struct.unpack_from(">iiIII", data, 8 + 20 * i)
            if offset + size > len(data):
                raise Failure(f"slice {i} runs past the end of the file")
            found.append((CPU_NAMES.get(cpu, hex(cpu)), data[offset:offset + size]))
        return found
    if struct.unpack_from("<I", data, 0)[0] == MH_MAGIC_64:
        cpu = struct.unpack_from("<i", data, 4)[0]
        return [(CPU_NAMES.get(cpu, hex(cpu)), data)]
    raise Failure("not a 64-bit Mach-O file")


def signature_range(macho):
    """(dataoff, datasize) of the slice's LC_CODE_SIGNATURE."""
    ncmds, sizeofcmds = struct.unpack_from("<II", macho, 16)
    offset = 32
    for _ in range(ncmds):
        cmd, cmdsize = struct.unpack_from("<II", macho, offset)
        if cmdsize < 8 or offset + cmdsize > 32 + sizeofcmds:
            raise Failure("a load command runs past the others")
        if cmd == LC_CODE_SIGNATURE:
            return struct.unpack_from("<II", macho, offset + 8)
        offset += cmdsize
    raise Failure("no code signature (LC_CODE_SIGNATURE)")


def check_slice(macho):
    """A line on the slice's signature; Failure when it does not hold."""
    dataoff, datasize = signature_range(macho)
    if dataoff + datasize > len(macho):
        raise Failure("the signature runs past the end of the slice")
    blob = macho[dataoff:dataoff + datasize]
    magic, _, count = struct.unpack_from(">III", blob, 0)
    if magic != CSMAGIC_EMBEDDED_SIGNATURE:
        raise Failure(f"the signature is no embedded signature (magic {magic:#x})")
    directory = None
    blobs = {}
    for i in range(count):
        kind, offset = struct.unpack_from(">II", blob, 12 + 8 * i)
        length = struct.unpack_from(">I", blob, offset + 4)[0]
        blobs[kind] = blob[offset:offset + length]
        if kind == CSSLOT_CODEDIRECTORY:
            directory = blobs[kind]
    if directory is None:
        raise Failure("the signature has no CodeDirectory")
    (magic, _, version, flags, hash_offset, ident_offset, special_slots, code_slots, code_limit,
     hash_size, hash_type, _, page_shift) = struct.unpack_from(">IIIIIIIIIBBBB", directory, 0)
    if magic != CSMAGIC_CODEDIRECTORY:
        raise Failure(f"the CodeDirectory's magic is {magic:#x}")
    if hash_type not in HASHES or HASHES[hash_type][1] != hash_size:
        raise Failure(f"unknown hash type {hash_type} of {hash_size} bytes")
    algorithm = HASHES[hash_type][0]
    if version >= 0x20300:
        code_limit = struct.unpack_from(">Q", directory, 56)[0] or code_limit
    # Everything before the signature is signed, and nothing after it.
    if code_limit != dataoff:
        raise Failure(f"the signed range ends at {code_limit}, the signature begins at {dataoff}")
    page_size = 1 << page_shift if page_shift else code_limit
    if code_slots != (code_limit + page_size - 1) // page_size:
        raise Failure(f"{code_slots} hash slots for {code_limit} bytes in pages of {page_size}")
    for page in range(code_slots):
        start = page * page_size
        want = directory[hash_offset + page * hash_size:hash_offset + (page + 1) * hash_size]
        got = hashlib.new(algorithm, macho[start:min(start + page_size, code_limit)]).digest()
        if got[:hash_size] != want:
            raise Failure(f"page {page} (bytes {start}-{min(start + page_size, code_limit) - 1}) "
                          f"does not match its hash")
    # The linker's signature signs the code alone: no Info.plist, no
    # requirements, nothing in a special slot that this check would skip.
    if special_slots != 0:
        raise Failure(f"{special_slots} special slots, which a linker's ad-hoc signature has not")
    if not flags & CS_ADHOC:
        raise Failure(f"not signed ad hoc (flags {flags:#x}), and no other signature is made here")
    identifier = directory[ident_offset:directory.index(b"\0", ident_offset)].decode()
    return (f"signed ad hoc as {identifier!r}: {code_slots} pages of {page_size} bytes, "
            f"{algorithm}, all match")


def signature(path):
    with open(path, "rb") as f:
        data = f.read()
    bad = 0
    try:
        found = slices(data)
    except (Failure, struct.error) as e:
        print(f"{path}: {e}")
        return 1
    for name, macho in found:
        try:
            print(f"{name}: {check_slice(macho)}")
        except (Failure, struct.error, ValueError) as e:
            print(f"{name}: {e}")
            bad = 1
    return bad


def tbd_symbols(path, target):
    with open(path) as f:
        text = f.read()
    symbols = set()
    # The exports and re-exports of each document: items of a target list
    # and symbol lists, each list in brackets, perhaps over several lines.
    for section in re.finditer(r"^(?:exports|reexports):\n((?:[ -].*\n?)*)", text, re.M):
        for item in re.split(r"\n?^  - ", section.group(1), flags=re.M):
            targets = re.search(r"targets:\s*\[([^\]]*)\]", item)
            if not targets or target not in re.split(r"[\s,]+", targets.group(1)):
                continue
            for names in re.finditer(r"(?<![\w-])(?:symbols|weak-symbols|thread-local-symbols):"
                                     r"\s*\[([^\]]*)\]", item):
                symbols.update(n.strip("'\"") for n in re.split(r"[\s,]+", names.group(1)) if n)
    for name in sorted(symbols):
        print(name)
    return 0 if symbols else 1


def main(argv):
    if len(argv) == 3 and argv[1] == "signature":
        return signature(argv[2])
    if len(argv) == 4 and argv[1] == "tbd-symbols":
        return tbd_symbols(argv[2], argv[3])
    print(__doc__, file=sys.stderr)
    return 2


if __name__ == "__main__":
    sys.exit(main(sys.argv))

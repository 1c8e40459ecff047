#!/usr/bin/env python3
"""Containers of the fast compression, packed and unpacked by Python's zlib.

make_containers.py               writes tests/data/containers.csv to standard output
make_containers.py --check FILE  FILE has lines "container|data" in hexadecimal; exits 1 unless each container holds its data
"""

import random
import struct
import sys
import zlib


def container(data, stream):
    return struct.pack("<BI3x", 1, len(data)) + stream


def level(data, number):
    return container(data, zlib.compress(data, number))


def flushed(data, mode):
    """A stream of several blocks."""
    packer = zlib.compressobj(1)
    half = len(data) // 2
    return container(data, packer.compress(data[:half]) + packer.flush(mode) + packer.compress(data[half:]) + packer.flush())


def strategy(data, window_bits, number):
    packer = zlib.compressobj(6, zlib.DEFLATED, window_bits, 8, number)
    return container(data, packer.compress(data) + packer.flush())


def make():
    text = b"to be or not to be, that is the question; "
    noise = random.Random(1).randbytes(300)
    rows = [
        ("one byte", 1, b"a", lambda data: level(data, 1)),
        ("all byte values", 1, bytes(range(256)), lambda data: level(data, 1)),
        ("text", 2000, text, lambda data: level(data, 1)),
        ("noise", 1, noise, lambda data: level(data, 1)),
        ("zeros", 100000, b"\0", lambda data: level(data, 9)),
        ("stored", 1, text, lambda data: level(data, 0)),
        ("two blocks", 3, text, lambda data: flushed(data, zlib.Z_FULL_FLUSH)),
        ("small window", 30, text, lambda data: strategy(data, 9, zlib.Z_DEFAULT_STRATEGY)),
        ("literals only", 1, text, lambda data: strategy(data, 15, zlib.Z_HUFFMAN_ONLY)),
        ("fixed codes", 3, text, lambda data: strategy(data, 15, zlib.Z_FIXED)),
    ]
    print(f"Python {sys.version.split()[0]}, zlib {zlib.ZLIB_VERSION}, make_containers.py; name|count|unit|container of count units")
    for name, count, unit, pack in rows:
        print(name, count, unit.hex(), pack(unit * count).hex(), sep="|")


def check(file):
    with open(file, encoding="ascii") as lines:
        pairs = [[bytes.fromhex(part) for part in line.rstrip("\n").split("|")] for line in lines]
    bad = [
        number
        for number, (packed, data) in enumerate(pairs, 1)
        if packed[:8] != container(data, b"") or zlib.decompress(packed[8:]) != data
    ]
    print(f"{len(pairs)} containers, wrong: {bad}")
    return 1 if bad or not pairs else 0


if __name__ == "__main__":
    sys.exit(check(sys.argv[2]) if len(sys.argv) == 3 and sys.argv[1] == "--check" else make())

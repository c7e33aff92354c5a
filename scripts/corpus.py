#!/usr/bin/env python3
"""Packs the inputs of a fuzz target into one file, and unpacks them for the fuzzer.

    scripts/corpus.py pack FOLDER FILE.pack
    scripts/corpus.py unpack FILE.pack FOLDER

Each input stands in the pack behind its length, two bytes with the low one first."""
import pathlib
import sys


def pack(folder, target):
    inputs = sorted({file.read_bytes() for file in folder.iterdir()}, key=lambda i: (len(i), i))
    target.write_bytes(b"".join(len(i).to_bytes(2, "little") + i for i in inputs))


def unpack(source, folder):
    data = source.read_bytes()
    folder.mkdir(parents=True, exist_ok=True)
    number = 0
    while data:
        end = 2 + int.from_bytes(data[:2], "little")
        if end > len(data):
            sys.exit(f"{source}: cut off")
        (folder / f"{number:04}").write_bytes(data[2:end])
        data = data[end:]
        number += 1


if len(sys.argv) != 4 or sys.argv[1] not in ("pack", "unpack"):
    sys.exit(__doc__)
(pack if sys.argv[1] == "pack" else unpack)(pathlib.Path(sys.argv[2]), pathlib.Path(sys.argv[3]))

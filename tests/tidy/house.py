#!/usr/bin/env python3
"""The plan of the house: floors, arrows that go down and not round, one door to the system,
and one room that writes each field of the session context: house.py ROOT"""
import pathlib
import re
import sys

# From the top floor to the ground, the engine's and those of the tools.
FLOORS = """src/session/call src/session/run src/param src/merge/copy src/merge src/sort
    src/sort/external src/merge/sum src/select src/file/bind src/file/manager src/file/plain
    src/file/indexed src/file src/sort/convert src/key/text src/key src/key/encode
    src/sort/record src/sort/incore src/session src/platform
    tools/kvern tools/kvern/manual tools/kvern/run tools/kvern/flow tools/kvern/plan tools/kvern/options
    tools/kvern/engine tools/kvern/records tools/kvern/syntax tools/kvern/system tools/fmgr
    tools/cobsort tools/shared""".split()
# Header-only parts of the standard library, with which the engine links nothing.
HARMLESS = """cassert cstdint cstddef cstring type_traits utility algorithm limits array bit
    concepts iterator stddef.h stdint.h""".split()

root = pathlib.Path(sys.argv[1])
sources = {str(file.relative_to(root)): re.sub("//.*", "", file.read_text())
           for top in ("src", "tools") for file in (root / top).rglob("*.[ch]*")
           if file.suffix in (".h", ".cpp")}
faults = []


def check(holds, *what):
    if not holds:
        faults.append("error: " + " ".join(what))


def floor(path):
    # The context's fields are ground, whichever room declares them; two systems, one platform.
    folder = "src/session" if path.endswith("_fields.h") else path.rsplit("/", 1)[0]
    return FLOORS.index(re.sub("(src/platform)/.*", r"\1", folder))


def included(path):
    """What of the house this source includes, named from its root or beside it."""
    names = re.findall('#include "([^"]+)"', sources[path])
    places = [path.split("/")[0] + "/", path.rsplit("/", 1)[0] + "/"]
    found = [next((at + name for at in places if at + name in sources), None) for name in names]
    foreign = [name for name, at in zip(names, found) if not at and not name.startswith("kvern.h")]
    check(not foreign, path, "includes what is not of its house:", *foreign)
    return [at for at in found if at]


def stem(path):  # a source and its header are one
    return path.rsplit(".", 1)[0]


def walk(at, uses, way, done):
    check(at not in way, *way, at, "is a circle")
    if at not in way and at not in done:
        for to in uses.get(at, ()):
            walk(to, uses, way + [at], done)
        done.add(at)


uses, done = {}, set()
for path, text in sources.items():
    for to in included(path):
        check(floor(path) <= floor(to), path, "includes", to)
        uses.setdefault(stem(path), set()).update({stem(to)} - {stem(path)})
    if path.startswith("src/") and not re.match("src/platform/(posix|win32)/", path):
        strange = set(re.findall("#include <([^>]+)>", text)) - set(HARMLESS)
        check(not strange, path, "includes", *strange)
for path in sources:
    walk(stem(path), uses, [], done)

rooms = {}  # by field
for path, text in sources.items():
    for body in re.findall(r"struct \w+_fields \{(.*?)\n\};", text, re.S):
        for slot, plain in re.findall(r"\(\*(\w+)\)\([^;]*;|(\w+)(?:\[\w+\])?\s*[,;]", body):
            rooms[slot or plain] = path.split("/")[1]
check(len(rooms) > 150, "fields are not seen:", *rooms)
# What is changed behind a pointer or in an element is no write of the field.
USE = re.compile(r"(\+\+|--)?\b(?:ctx|session)->(\w+)\b( (?:[-+|&^]|<<|>>)?= |\+\+|--)?")
readers = set()
for path, text in sources.items():
    for before, field, behind in USE.findall(text) if path.startswith("src/") else ():
        if not before and not behind:
            readers.add(field)
        elif field in rooms:
            check(path.split("/")[1] == rooms[field], path, "writes", field)
check(readers >= set(rooms), "nobody reads", *(set(rooms) - readers))
print("\n".join(faults) or "[  PASSED  ] 1 test.")
sys.exit(len(faults) != 0)

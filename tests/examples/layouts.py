"""Compares every declaration of the blocks in other languages with kvern.h.

    layouts.py TREE CC64 CC32

The header's structs are read and laid out for both widths of pointers, and the compilers
are asked whether that is how they lay them out.  A declaration must then have each of its
members at the header's place and of its size, and leave none out but reserved ones.  What
the copybook declares is told by the COBOL compiler, where there is one, in every dialect.
"""
import ctypes
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

root = pathlib.Path(sys.argv[1]).resolve()
compilers = {8: sys.argv[2], 4: sys.argv[3]}
header = re.sub(r"/\*.*?\*/", "", (root / "include/kvern.h").read_text(), flags=re.S)
copybook = (root / "include/kvern.cpy").read_text()
page = (root / "docs/bindings.md").read_text()
reference = (root / "docs/blocks.md").read_text()
sys.path.insert(0, str(root / "examples"))
sys.dont_write_bytecode = True
import kvern_ctypes as module

faults = []


def insist(holds, fault):
    if not holds:
        faults.append(fault)


def laid_out(members, width):
    """(name, size) in order -> {name: (offset, size)}, whole size; size 0: a pointer; a
    table's entry instead of a size: its members."""
    at, widest, out = 0, 1, {}
    for name, size in members:
        align = size = size or width
        if isinstance(size, list):
            places, size = laid_out(size, width)
            align = max(each for _, each in places.values())
        at = -(-at // align) * align
        out[name] = (at, size)
        at, widest = at + size, max(widest, align)
    return out, -(-at // widest) * widest


def header_structs():
    """All structs, and the names of those with a trailing array, which no other language
    but COBOL declares as they are."""
    sizes = {"uint8_t": 1, "uint16_t": 2, "uint32_t": 4, "uint64_t": 8}
    out, tables = {}, set()
    for name, body in re.findall(r"typedef struct (\w+) \{(.*?)\n\}", header, re.S):
        # One word that may be a position or an address goes by the address's name.
        body = re.sub(r"KVRN_UNION \{.*?(const void \*\w+;)\s*\};", r"\1", body, flags=re.S)
        members = out[name] = []
        for line in re.sub(r"\s+", " ", body).split(";")[:-1]:
            member, count = re.search(r"(\w+)(?:\[(\d+)\])?(?:\)\(.*\))?$", line.strip()).groups()
            kind = line.split()[0]
            size = 0 if "*" in line else sizes[kind] if kind in sizes else out[kind]
            if count == "1":
                tables.add(name)
            for i in range(int(count or 1)):
                members.append((f"{member}[{i}]" if int(count or 1) > 1 else member, size))
    return out, tables


def ask_compilers(structs):
    for width, compiler in compilers.items():
        lines = ['#include "kvern.h"']
        for name, members in structs.items():
            places, whole = laid_out(members, width)
            lines.append(f'_Static_assert(sizeof({name}) == {whole}, "size of {name}");')
            for member, (at, size) in places.items():
                lines.append(f"_Static_assert(offsetof({name}, {member}) == {at} && "
                             f'sizeof((({name} *)0)->{member}) == {size}, "{name} {member}");')
        result = subprocess.run([compiler, "-fsyntax-only", f"-I{root}/include", "-xc", "-"],
                                input="\n".join(lines), text=True, stderr=subprocess.PIPE)
        insist(result.returncode == 0, f"{compiler}: {result.stderr[:2000]}")


def compare(where, structs, width, declared):
    """declared: struct -> ({member: (offset, size)}, whole size)"""
    insist(len(declared) >= 4, f"{where}: only {sorted(declared)}")
    for name, (members, whole) in declared.items():
        wanted, size = laid_out(structs[name], width)
        for member, place in members.items():
            insist(wanted.get(member) == place,
                   f"{where}: {name}.{member} at {place}, is {wanted.get(member)}")
        lacking = [m for m in wanted if m not in members and not m.startswith("reserved")]
        insist(not lacking, f"{where}: {name} lacks {lacking}")
        insist(whole == size, f"{where}: {name} has {whole} bytes, is {size}")


def python_structs():
    return {name: ({f: (getattr(t, f).offset, getattr(t, f).size) for f, _ in t._fields_},
                   ctypes.sizeof(t))
            for name, t in vars(module).items()
            if isinstance(t, type) and issubclass(t, ctypes.Structure)}


def cobol_listings():
    """What the compiler says of the copybook with tables of one entry -> its dialects."""
    dialects = re.search(r"one of:(.*?);", subprocess.check_output(["cobc", "--help"], text=True),
                         re.S).group(1)
    out = {}
    with tempfile.TemporaryDirectory() as folder:
        program = pathlib.Path(folder, "layouts.cob")
        program.write_text("""
       identification division.
       program-id. layouts.
       data division.
       working-storage section.
       copy "kvern.cpy" replacing ==occurs 16== by ==occurs 1==.
       procedure division.
       done. stop run.
""")
        for dialect in re.findall(r"[\w-]+", dialects):
            result = subprocess.run(["cobc", f"-std={dialect}", "-Wall", "-fsyntax-only", "-t",
                                     "out", "-ftsymbols", "-fno-tsource", f"-I{root}/include",
                                     program], cwd=folder, text=True, stderr=subprocess.PIPE)
            rows = re.findall(r"^(\d{5}) (\w+) +(\d\d) +([\w-]+)(?:, REDEFINES ([\w-]+))?",
                              pathlib.Path(folder, "out").read_text(), re.M)
            insist(result.returncode == 0 and not result.stderr, f"{dialect}: {result.stderr}")
            if result.returncode == 0:
                out.setdefault(tuple(rows), []).append(dialect)
    return out


def cobol_structs(rows, width):
    """COBOL adds no padding by itself: each item follows the one before."""
    blocks, told, over = {}, {}, None
    for size, kind, level, name, old in rows[[row[3] for row in rows].index("kvrnlink"):]:
        if over and level <= over[0]:  # behind a group that shares another item's place
            at, over = over[1], None
        if name.startswith("kvrn"):
            if level != "01":
                blocks[block]["-entry"] = (at, name.upper())
            block, at = name.upper(), 0
            blocks[block], told[block] = {}, int(size)
        elif old and kind == "GROUP":
            at, over = blocks[block][old][0], (level, at)
        elif not old or old.endswith("-slot"):  # else a position in an address's place
            size = width if kind == "POINTER" else int(size)
            blocks[block][name] = (blocks[block][old][0] if old else at, size)
            at += 0 if old else size
    out = {}
    for block, items in reversed(blocks.items()):
        members = {}
        for name, (at, size) in items.items():
            name = name.partition("-")[2]
            if name.endswith("-high"):
                insist(members[name[:-5]] == (at - 4, size), f"{block}: {name}")
                members[name[:-5]] = (at - 4, 8)
            elif name and not name.endswith("slot"):
                members[name] = (at, out[size][1] if name == "entry" else size)
        ends = max(at + size for at, size in [*items.values(), *members.values()]
                   if isinstance(size, int))
        insist(width == 4 or ends == told[block], f"{block} takes {told[block]}, not {ends}")
        out[block] = members, -(-ends // 4) * 4
    return out


# How each language of the page writes a struct and the members of one type.
languages = {
    "csharp": (r"public struct (\w+) \{(.*?)\n\}", r"public (\w+) ([\w, ]+);", (4, 8), False),
    "vbnet": (r"Public Structure (\w+)\n(.*?)\nEnd Structure",
              r"Public ([\w,\[\] ]+) As (\w+)", (4, 8), True),
    "vb": (r"Public Type (\w+)\n(.*?)\nEnd Type", r"(\w+) As (\w+)", (4,), True),
}
types = {"byte": 1, "ushort": 2, "integer": 2, "uint": 4, "uinteger": 4, "long": 4,
         "ulong": 8, "currency": 8, "intptr": 0}


def page_structs(language):
    outer, inner, _, swapped = languages[language]
    code = "\n".join(re.findall(rf"```{language}\n(.*?)```", page, re.S))
    for name, body in re.findall(outer, code, re.S):
        pairs = [pair if swapped else pair[::-1] for pair in re.findall(inner, body)]
        yield name, [(member.strip(" []").rstrip("_"), types[kind.lower()])
                     for names, kind in pairs for member in names.split(",")]


def compare_codes():
    """The constants of the Python module and of the copybook, by their names."""
    codes = {name: ord(value[1]) if value[0] == "'" else int(value, 0)
             for name, value in re.findall(r"KVRN_(\w+) = ('.'|0x\w+|-?\d+)", header)}
    given = [(name, value) for name, value in vars(module).items() if isinstance(value, int)]
    insist(len(given) >= 10, f"only the codes {given} read")
    own = {name.upper().replace("-", "_"):
           int(number) if number else int(byte, 16) if byte else ord(text)
           for name, byte, text, number in
           re.findall(r'05 kvrn-([\w-]+) .*value (?:x"(\w\w)"|"(.)"|(-?\d+))\.', copybook)}
    insist(own.keys() == codes.keys(), f"not in both: {own.keys() ^ codes.keys()}")
    for name, value in given + list(own.items()):
        insist(codes.get(name) == value, f"{name} is {value}, not {codes.get(name)}")


def compare_page(structs):
    """The rows of blocks.md: offsets of both widths, then the members' names."""
    for name, text in re.findall(r"^## (KVRN\w+)\n(.*?)(?=^## |\Z)", reference, re.M | re.S):
        members = structs.get(name + "E", structs[name])
        lacking = {member for member, _ in members if not member.startswith("reserved")}
        for *columns, row in re.findall(r"^\| (\d[\d, ]*) \| (\d[\d, ]*) \|(.*)", text, re.M):
            for width, column in zip((4, 8), columns):
                places, _ = laid_out(members, width)
                stated = column.split(", ")
                named = [each for each in re.findall(r"`(\w+)`", row) if each in places]
                lacking -= set(named[:len(stated)])
                wanted = [str(places[each][0]) for each in named[:len(stated)]]
                insist(wanted == stated, f"blocks.md: {name} {row} at {stated}, is {wanted}")
        insist(not lacking, f"blocks.md: {name} lacks {lacking}")


def main():
    structs, tables = header_structs()
    insist(len(structs) >= 11, f"only {sorted(structs)} read in kvern.h")
    ask_compilers(structs)
    compare("kvern_ctypes.py", structs, 8, python_structs())
    for rows, dialects in cobol_listings().items() if shutil.which("cobc") else ():
        for width in compilers:
            declared = cobol_structs(rows, width)
            compare(f"kvern.cpy, {dialects}", structs, width, declared)
            insist(declared.keys() == structs.keys(), f"kvern.cpy has {sorted(declared)}")
    compare_page(structs)
    compare_codes()
    for language, width in ((name, width) for name, row in languages.items() for width in row[2]):
        compare(f"bindings.md, {language}", structs, width,
                {name: laid_out(members, width) for name, members in page_structs(language)})
    stated = re.findall(r"^\| (KVRN\w+) \| (\d+) \| (\d+) \|$", page, re.M)
    sizes = [(name, *(str(laid_out(members, width)[1]) for width in (4, 8)))
             for name, members in structs.items() if name not in tables]
    insist(sorted(stated) == sorted(sizes), f"bindings.md: sizes {stated}, not {sizes}")
    print("\n".join(faults) or "layouts agree")
    return len(faults) != 0


sys.exit(main())

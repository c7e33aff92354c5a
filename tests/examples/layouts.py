"""Compares every declaration of the blocks in other languages with kvern.h.

    layouts.py TREE CC64 CC32

The header's structs are read and laid out for both widths of pointers, and the compilers
are asked whether that is how they lay them out.  A declaration must then have each of its
members at the header's place and of its size, and leave none out but reserved ones.
"""
import ctypes
import pathlib
import re
import subprocess
import sys

root = pathlib.Path(sys.argv[1])
compilers = {8: sys.argv[2], 4: sys.argv[3]}
header = re.sub(r"/\*.*?\*/", "", (root / "include/kvern.h").read_text(), flags=re.S)
copybook = (root / "examples/cobol/kvern.cpy").read_text()
page = (root / "docs/bindings.md").read_text()
sys.path.insert(0, str(root / "examples"))
sys.dont_write_bytecode = True
import kvern_ctypes as module

faults = []


def insist(holds, fault):
    if not holds:
        faults.append(fault)


def laid_out(members, width):
    """(name, size) in order -> {name: (offset, size)}, whole size; size 0: a pointer."""
    at, widest, out = 0, 1, {}
    for name, size in members:
        size = size or width
        at = -(-at // size) * size
        out[name] = (at, size)
        at, widest = at + size, max(widest, size)
    return out, -(-at // widest) * widest


def header_structs():
    """The structs without a trailing array, which no other language declares as it is."""
    sizes = {"uint8_t": 1, "uint16_t": 2, "uint32_t": 4, "uint64_t": 8}
    out = {}
    for name, body in re.findall(r"typedef struct (\w+) \{(.*?)\n\}", header, re.S):
        # One word that may be a position or an address goes by the address's name.
        body = re.sub(r"KVRN_UNION \{.*?(const void \*\w+;)\s*\};", r"\1", body, flags=re.S)
        members = []
        for line in re.sub(r"\s+", " ", body).split(";")[:-1]:
            member, count = re.search(r"(\w+)(?:\[(\d+)\])?(?:\)\(.*\))?$", line.strip()).groups()
            size = 0 if "*" in line else sizes.get(line.split()[0])
            if count == "1" or size is None:
                break
            names = [f"{member}[{i}]" for i in range(int(count))] if count else [member]
            members += [(each, size) for each in names]
        else:
            out[name] = members
    return out


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


def cobol_structs():
    """COBOL adds no padding by itself: each member follows the one before."""
    sizes = {"binary-char": 1, "binary-short": 2, "binary-long": 4, "pointer": 8,
             "program-pointer": 8}
    out, name, at = {}, None, 0
    for line in copybook.splitlines():
        group = re.match(r"\s+\d\d (kvrn\w+)(\.| +occurs)", line)
        member = re.match(r"\s+\d\d (?:\w+-(\w+)|filler) +(?:usage ([\w-]+)|pic x(?:\((\d+)\))?)",
                          line)
        if group:
            name, at = group.group(1).upper(), 0
            out[name] = ({}, 0)
        elif member and name:
            size = sizes[member.group(2)] if member.group(2) else int(member.group(3) or 1)
            if member.group(1):
                out[name][0][member.group(1)] = (at, size)
            at += size
            out[name] = (out[name][0], at)
    insist(out.pop("KVRNKEY") == ({"count": (0, 4)}, 8), "kvern.cpy: KVRNKEY")
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
             for name, value in re.findall(r"KVRN_(\w+) = ('.'|0x\w+|\d+)", header)}
    codes["VERSION"] = codes["VERSION_L4"]  # the copybook's name
    given = [(name, value) for name, value in vars(module).items() if isinstance(value, int)]
    for name, text, number in re.findall(r'kvrn-([\w-]+) .*value (?:"(.)"|(\d+))\.', copybook):
        given.append((name.upper().replace("-", "_"), ord(text) if text else int(number)))
    insist(len(given) >= 20, f"only the codes {given} read")
    for name, value in given:
        insist(codes.get(name) == value, f"{name} is {value}, not {codes.get(name)}")


def main():
    structs = header_structs()
    insist(len(structs) >= 11, f"only {sorted(structs)} read in kvern.h")
    ask_compilers(structs)
    compare("kvern_ctypes.py", structs, 8, python_structs())
    compare("kvern.cpy", structs, 8, cobol_structs())
    compare_codes()
    for language, width in ((name, width) for name, row in languages.items() for width in row[2]):
        compare(f"bindings.md, {language}", structs, width,
                {name: laid_out(members, width) for name, members in page_structs(language)})
    stated = re.findall(r"^\| (KVRN\w+) \| (\d+) \| (\d+) \|$", page, re.M)
    sizes = [(name, *(str(laid_out(members, width)[1]) for width in (4, 8)))
             for name, members in structs.items()]
    insist(sorted(stated) == sorted(sizes), f"bindings.md: sizes {stated}, not {sizes}")
    print("\n".join(faults) or "layouts agree")
    return len(faults) != 0


sys.exit(main())

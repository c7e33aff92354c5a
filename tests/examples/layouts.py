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
faults = []


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
    text = re.sub(r"/\*.*?\*/", "", (root / "include/kvern.h").read_text(), flags=re.S)
    sizes = {"uint8_t": 1, "uint16_t": 2, "uint32_t": 4, "uint64_t": 8}
    out = {}
    for name, body in re.findall(r"typedef struct (\w+) \{(.*?)\n\}", text, re.S):
        body = re.sub(r"KVRN_UNION \{.*?(const void \*\w+;)\s*\};", r"\1", body, flags=re.S)
        members = []
        for line in re.sub(r"\s+", " ", body).split(";")[:-1]:
            member = re.search(r"(\w+)(?:\[(\d+)\])?(?:\)\(.*\))?$", line.strip())
            pointer = "*" in line
            size = 0 if pointer else sizes.get(line.split()[0])
            if member.group(2) == "1" or size is None:
                break
            for i in range(int(member.group(2) or 1)):
                members.append((member.group(1) + (f"[{i}]" if member.group(2) else ""), size))
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
        result = subprocess.run([compiler, "-std=c11", "-fsyntax-only", "-x", "c", "-",
                                 f"-I{root}/include"], input="\n".join(lines), text=True,
                                stderr=subprocess.PIPE, check=False)
        if result.returncode != 0:
            faults.append(f"{compiler}: {result.stderr[:2000]}")


def compare(where, structs, width, declared):
    """declared: struct -> ({member: (offset, size)}, whole size)"""
    for name, (members, whole) in declared.items():
        wanted, size = laid_out(structs[name], width)
        for member, place in members.items():
            if wanted.get(member) != place:
                faults.append(f"{where}: {name}.{member} at {place}, is {wanted.get(member)}")
        for member in wanted:
            if member not in members and not member.startswith("reserved"):
                faults.append(f"{where}: {name} lacks {member}")
        if whole != size:
            faults.append(f"{where}: {name} has {whole} bytes, is {size}")


def python_structs():
    sys.path.insert(0, str(root / "examples"))
    sys.dont_write_bytecode = True
    import kvern_ctypes
    return {name: ({f: (getattr(t, f).offset, getattr(t, f).size) for f, _ in t._fields_},
                   ctypes.sizeof(t))
            for name, t in vars(kvern_ctypes).items()
            if isinstance(t, type) and issubclass(t, ctypes.Structure)}


def cobol_structs():
    """COBOL adds no padding by itself: each member follows the one before."""
    sizes = {"pic x.": 1, "binary-char": 1, "binary-short": 2, "binary-long": 4, "pointer": 8,
             "program-pointer": 8}
    out, name, at = {}, None, 0
    for line in (root / "examples/cobol/kvern.cpy").read_text().splitlines():
        group = re.match(r"\s+\d\d (kvrn\w+)(\.| +occurs)", line)
        member = re.match(r"\s+\d\d (?:\w+-(\w+)|filler) +(?:usage ([\w-]+)|pic x(?:\((\d+)\))?)",
                          line)
        if group:
            name, at = group.group(1).upper(), 0
            out[name] = {}
        elif member and name:
            size = sizes[member.group(2)] if member.group(2) else int(member.group(3) or 1)
            if member.group(1):
                out[name][member.group(1)] = (at, size)
            at += size
            out[name][""] = (at, 0)
    table = out.pop("KVRNKEY")
    if table != {"count": (0, 4), "": (8, 0)}:
        faults.append(f"kvern.cpy: KVRNKEY {table}")
    return {name: (members, members.pop("")[0]) for name, members in out.items()}


# How each language of the page writes a struct and the members of one type.
languages = {
    "csharp": (r"public struct (\w+) \{(.*?)\n\}", r"public (\w+) ([\w, ]+);", (4, 8), False),
    "vbnet": (r"Public Structure (\w+)\n(.*?)\nEnd Structure",
              r"Public ([\w,\[\] ]+) As (\w+)", (4, 8), True),
    "vb": (r"Public Type (\w+)\n(.*?)\nEnd Type", r"(\w+) As (\w+)", (4,), True),
}
types = {"byte": 1, "ushort": 2, "integer": 2, "uint": 4, "uinteger": 4, "long": 4,
         "ulong": 8, "currency": 8, "intptr": 0}


def page_structs(page, language):
    outer, inner, _, swapped = languages[language]
    code = "\n".join(re.findall(rf"```{language}\n(.*?)```", page, re.S))
    for name, body in re.findall(outer, code, re.S):
        members = []
        for first, second in re.findall(inner, body):
            names, kind = (first, second) if swapped else (second, first)
            for member in names.split(","):
                members.append((member.strip(" []").rstrip("_"), types[kind.lower()]))
        yield name, members


def compare_codes():
    """The constants of the Python module and of the copybook, by their names."""
    header = (root / "include/kvern.h").read_text()
    codes = {name: ord(value[1]) if value[0] == "'" else int(value, 0)
             for name, value in re.findall(r"KVRN_(\w+) = ('.'|0x\w+|\d+)", header)}
    module = sys.modules["kvern_ctypes"]
    given = {name: value for name, value in vars(module).items() if isinstance(value, int)}
    copybook = (root / "examples/cobol/kvern.cpy").read_text()
    for name, text, number in re.findall(r'kvrn-([\w-]+) .*value (?:"(.)"|(\d+))\.', copybook):
        given[name.upper().replace("-", "_")] = ord(text) if text else int(number)
    given["VERSION_L4 (copybook)"] = given.pop("VERSION")
    if len(given) < 20:
        faults.append(f"only the codes {sorted(given)} read")
    for name, value in given.items():
        if codes.get(name.split()[0]) != value:
            faults.append(f"{name} is {value}, not {codes.get(name.split()[0])}")


def main():
    structs = header_structs()
    if len(structs) < 11:
        faults.append(f"only {sorted(structs)} read in kvern.h")
    ask_compilers(structs)
    # One word that may be a position or an address goes by the address's name.
    compare("kvern_ctypes.py", structs, 8, python_structs())
    compare("kvern.cpy", structs, 8, cobol_structs())
    compare_codes()
    page = (root / "docs/bindings.md").read_text()
    for language, (_, _, widths, _) in languages.items():
        for width in widths:
            declared = {n: laid_out(m, width) for n, m in page_structs(page, language)}
            compare(f"bindings.md, {language}", structs, width, declared)
            if len(declared) < 5:
                faults.append(f"bindings.md: {language} has only {sorted(declared)}")
    stated = re.findall(r"^\| (KVRN\w+) \| (\d+) \| (\d+) \|$", page, re.M)
    for name, small, large in stated:
        for width, size in ((4, small), (8, large)):
            if laid_out(structs[name], width)[1] != int(size):
                faults.append(f"bindings.md says that {name} has {size} bytes")
    if {name for name, _, _ in stated} != set(structs):
        faults.append(f"bindings.md: sizes of {[s[0] for s in stated]}, not of {list(structs)}")
    print("\n".join(faults) or "layouts agree")
    return len(faults) != 0


sys.exit(main())

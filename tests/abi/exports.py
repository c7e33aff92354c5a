#!/usr/bin/env python3
"""Reads the tables of the built files: exactly the promised names go out, nothing comes in
but from the system, and each file is hardened.

    exports.py OBJDUMP ENGINE MANAGER COMMAND
"""
import pathlib
import re
import subprocess
import sys

ENGINE = """kvrnopen kvrnput kvrnget kvrnmrge kvrnclse qha5init qha5chkp qha5chkg qha5chkm
    qha5term kvrnstop kvrnlevl kvrntmpd kvrnhook kvrnstat kvrntext kvrnkey kvrntest"""
MANAGER = """InitFileManager InitReqMsgBuild BldNumParm BldStrParm BldFlagParm FileManager
    InitMsgScan ScanParmType TermFileManager FailFileManager"""
SYSTEM = "KERNEL32.dll USER32.dll ADVAPI32.dll msvcrt.dll libc.so.6 ld-linux-x86-64.so.2"
SANITIZERS = " libasan.so.8 libubsan.so.1 libgcc_s.so.1 libm.so.6"

objdump, *files = sys.argv[1:]
faults = []


def check(file, holds, what):
    if not holds:
        faults.append(f"error: {file}: {what}")


def dump(option, file):
    return subprocess.run([objdump, option, file], stdout=subprocess.PIPE, text=True,
                          check=True).stdout


def read_windows(file, head):
    exported = re.findall(r"^\t\[ *\d+\] ([A-Za-z]\w+)$", head, re.M)
    places = re.search(r"Export Address Table\s+([0-9a-f]+)$", head, re.M)
    check(file, not places or int(places.group(1), 16) == len(exported), "exports without a name")
    image = pathlib.Path(file).read_bytes()
    # What is said of a guard that was overwritten, or the guard before one is chosen.
    check(file, b"*** stack smashing detected ***" in image or b"\xFF\0\n\r" in image, "no guards")
    check(file, exported or "large address aware" in head, "knows 2 GB only")
    return exported, [], re.findall(r"DLL Name: (\S+)", head)


def read_linux(file, head):
    symbols = re.findall(r"^\w{16} .(.).{5} (\S+)\t.* (\w+)$", dump("-T", file), re.M)
    exported = [name for _, section, name in symbols if section != "*UND*"]
    # Weak names that nothing has to define come with every library.
    imported = [name for weak, section, name in symbols if section == "*UND*" and weak != "w"]
    check(file, "__stack_chk_fail" in imported, "no guards")
    check(file, re.search(r"BIND_NOW|^ +FLAGS +0x\w*[89a-f]$", head, re.M), "binds late")
    for path in re.findall(r"(?:RPATH|RUNPATH) +(\S*)", head):
        for entry in path.split(":"):  # an empty one is where the caller stands
            check(file, entry.startswith("$ORIGIN"), f"looks for libraries at {path}")
    return exported, imported, re.findall(r"NEEDED +(\S+)", head)


for file, promised, more in zip(files, (ENGINE, MANAGER), ("", " libstdc++.so.6 libgcc_s.so.1")):
    read = read_windows if file.endswith(".dll") else read_linux
    exported, imported, libraries = read(file, dump("-p", file))
    check(file, sorted(exported) == sorted(promised.split()), f"exports {sorted(exported)}")
    allowed = SYSTEM + more + (SANITIZERS if "__asan_init" in imported else "")
    check(file, libraries and set(libraries) <= set(allowed.split()), f"needs {libraries}")
    foreign = [name for name in imported if not more and re.match("_Z|__cxa_|__gxx_", name)]
    check(file, not foreign, f"imports {foreign}")
command = files[2]
read = read_windows if command.endswith(".exe") else read_linux
_, _, libraries = read(command, dump("-p", command))
own = (SYSTEM + " m7hqkvrn.dll").split()
check(command, read is read_linux or set(libraries) <= set(own), f"needs {libraries}")
print("\n".join(faults) or "[  PASSED  ] 1 test.")
sys.exit(len(faults) != 0)

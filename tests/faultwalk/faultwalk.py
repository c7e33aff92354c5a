#!/usr/bin/env python3
"""Walks over the calls that whole runs of the command make to the system.

Every scenario of cases.py runs once to count its calls and to give the right output, then
once for every call and every way in which calls of that kind fail (failcalls.c).  Always:
exit code 0 and the right output, or another one with a message and the old output (or the
complete new one); no death by a signal, no hang, no file left, no input changed.

  faultwalk.py COMMAND LIBRARY [--only REGEX] [--limit N] [--jobs N]
A breach is told by its scenario and what KVERN_FAULT was.
"""
import argparse
import errno
import multiprocessing
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import time

import cases

# kind: ways to fail.  HOW/ERROR, + from there on; "!" the run may not end well,
# "=" it must, since nothing was lost.
READING = ["fail/EIO", "fail/EIO+", "tear/EIO", "fail/EINTR=", "short/EIO=", "short/EIO+="]
WRITING = ["fail/EIO", "fail/EIO+", "fail/ENOSPC", "fail/ENOSPC+", "tear/EIO", "tear/ENOSPC+",
           "fail/EINTR=", "short/EIO=", "short/EIO+="]
FAULTS = {
    "open": ["fail/EMFILE", "fail/EMFILE+", "fail/EACCES", "fail/ENOSPC+", "fail/EINTR="],
    "read": READING, "pread": READING, "write": WRITING, "pwrite": WRITING,
    "close": ["after/EIO", "after/EINTR="], "closeout": ["after/EIO!", "after/ENOSPC!"],
    "lseek": ["fail/EIO", "fail/EIO+"], "stat": ["fail/EIO", "fail/EACCES+"],
    "sync": ["fail/EIO!", "fail/ENOSPC!"], "rename": ["fail/EIO", "fail/EACCES+", "after/EIO"],
    "link": ["fail/EIO", "fail/EPERM+", "fail/EEXIST"], "unlink": ["fail/EIO", "fail/EACCES+"],
    "truncate": ["fail/EIO", "fail/ENOSPC+"], "mode": ["fail/EPERM", "fail/EIO+"],
    "owner": ["fail/EPERM", "fail/EIO+"], "list": ["fail/EACCES", "fail/EIO+"],
    "memory": ["fail/ENOMEM", "fail/ENOMEM+"], "fcntl": ["fail/EINVAL+"],
    "poll": ["fail/EINTR=", "fail/ENOMEM"], "access": ["fail/EACCES"],
    "realpath": ["fail/EIO", "fail/EACCES+"], "random": ["fail/ENOSYS+"],
    "clock": ["fail/EINVAL+"], "thread": ["fail/EAGAIN=", "fail/EAGAIN+="],
}
# What failcalls.c does not stand in for, since the command does not call it.
UNWATCHED = re.compile(
    r"\w+64(_2)?|__(p?read|readlink|realpath|poll)_chk|(__)?openat(_2)?|creat|fopen|mmap|access|"
    "(read|write)v|statx|fstatat|fdatasync|remove|renameat|link|symlink|unlinkat|truncate|"
    "f?chmodat|chmod|l?chown|fchownat|utimensat|futimens|mkdir|pipe2?|dup[23]?|fdopendir|"
    "realpath|copy_file_range|sendfile|aligned_alloc|(posix_)?memalign")
# What the C++ library, linked statically, brings for streams of files, which the command has
# none of.
STREAMS = {"fopen64", "fseeko64", "ftello64", "fstat64", "lseek64", "writev"}
FILE, ROOM = 5, 6


def codes(kind, fault):
    """The exit codes that tell of such a failure."""
    if kind == "memory" or "ENOSPC" in fault and kind in ("write", "pwrite"):
        return {ROOM}
    return {FILE} if "EMFILE" in fault else {FILE, ROOM}


def spell(kind, way, n):
    """What failcalls.c takes, of a way as FAULTS has it."""
    how, code = way.rstrip("+=!").split("/")
    return f"{kind},{n},{how},{getattr(errno, code)}" + (",on" if "+" in way else "")


def judge(what, right, seen, whole, kind, way):
    """What is wrong with a run, in a list of words."""
    wrong = []
    good = seen.code == right.code
    if seen.code is None or seen.code < 0:
        wrong.append(f"hangs, or ends by signal: {seen.code}")
    elif not good and (seen.code not in codes(kind, way) or not seen.said.strip()):
        wrong.append(f"exit code {seen.code}, not of {codes(kind, way)} and with a message")
    elif way.endswith("!" if good else "="):
        wrong.append("claims to be done" if good else "gives up for nothing")
    if good and seen.got != right.got:
        wrong.append("wrong output")
    spared = False  # the result lies beside an output that could not be written over
    for path in sorted(set(seen.files) | set(whole)):
        if path in what.outs or seen.files.get(path) == whole.get(path):
            continue
        if path in whole:
            wrong.append(f"changes {path}")
        elif not good and what.outs and path in seen.said and (
                seen.files[path][-1] == right.files[what.outs[0]][-1]):
            spared = True
        elif kind != "unlink":
            wrong.append(f"leaves {path}")
    for path in what.outs:
        now, old, new = (files.get(path) for files in (seen.files, whole, right.files))
        if good and now != new and (not now or now[-1] != new[-1] or now[0] & ~new[0]
                                    or kind not in ("mode", "owner")):
            wrong.append(f"done, and the output stands otherwise: {now and now[:2]} for {new[:2]}")
        elif not good and now not in (old, new) and not spared:
            wrong.append("the old output is gone")
    return wrong


def count(table, what):
    """The right run: its outcome and the calls of each kind."""
    file = table.folder + ".counts"
    right = table.run(what, counts=file)
    told = pathlib.Path(file).read_text(encoding="ascii").split()
    calls = dict(zip(told[::2], map(int, told[1::2])))
    expected = 1 if what.name == "check-unsorted" else 0
    if right.code != expected or judge(what, right, right, table.whole, "", ""):
        sys.exit(f"{what.name}: the right run ends with {right.code}: {right.said}")
    return what, right, calls


def places(calls, limit):
    """All of 1 to `calls`, or so many of them that lie evenly."""
    if calls <= limit:
        return list(range(1, calls + 1))
    return sorted({1 + at * (calls - 1) // max(limit - 1, 1) for at in range(limit)})


def unwatched(command):
    """Calls that the command and its libraries have come to make unseen."""
    names = subprocess.run(["nm", "-uD", command, os.path.dirname(command) + "/libkvern.so"],
                           capture_output=True, text=True, check=True).stdout
    return sorted(name for name in set(re.findall(r" U (\w+)", names)) - STREAMS
                  if UNWATCHED.fullmatch(name))


# What the processes that share the work have in common: the right runs by name, and for
# each of them its bench.
rights = {}
table = None


def settle(options, place):
    global table
    table = cases.bench(options.command, f"{place}/{os.getpid()}", options.library)


def one(case):
    """Nothing, or the case with what is wrong and what was said."""
    name, kind, way, n = case
    what, right, _ = rights[name]
    fault = spell(kind, way, n)
    seen = table.run(what, fault)
    wrong = judge(what, right, seen, table.whole, kind, way)
    return wrong and f"  {name} {fault}: {'; '.join(wrong)}\n    [{seen.code}] {seen.said.strip()}"


def walk(options, place):
    settle(options, place)
    rights.update((name, count(table, cases.scenario(name))) for name in cases.SCENARIOS
                  if re.search(options.only, name))
    began, runs, breaches = time.monotonic(), 0, 0
    with multiprocessing.Pool(options.jobs, settle, (options, place)) as pool:
        for name, (what, _, calls) in rights.items():
            start = time.monotonic()
            limit = max(calls["pread"], calls["pwrite"]) if what.every else options.limit
            limit = limit if what.name not in cases.PARALLEL else limit // 4
            plan = [(name, kind, way, n) for kind in FAULTS if re.fullmatch(options.kind, kind)
                    for way in FAULTS[kind] for n in places(calls[kind], limit)]
            found = sorted(filter(None, pool.imap_unordered(one, plan, 32)))
            told = ", ".join(f"{kind} {number}" + f" ({limit} of them)" * (number > limit)
                             for kind, number in calls.items() if number)
            print(f"{name}: {told}; {len(plan)} runs, {len(found)} breaches, "
                  f"{time.monotonic() - start:.0f} s", *found[:20], sep="\n", flush=True)
            runs, breaches = runs + len(plan), breaches + len(found)
    print(f"{runs} runs in {time.monotonic() - began:.0f} s, {breaches} breaches")
    return breaches != 0


def main():
    parse = argparse.ArgumentParser(description=__doc__.split("\n", maxsplit=1)[0])
    parse.add_argument("command", type=os.path.abspath)
    parse.add_argument("library", type=os.path.abspath)
    parse.add_argument("--only", default="", help="scenarios whose name this matches")
    parse.add_argument("--kind", default=".*", help="kinds of call that this matches")
    parse.add_argument("--limit", type=int, default=80, help="places of one kind and way")
    parse.add_argument("--jobs", type=int, default=os.cpu_count())
    options = parse.parse_args()
    if unseen := unwatched(options.command):
        sys.exit(f"failcalls.c does not stand in for {', '.join(unseen)}")
    with tempfile.TemporaryDirectory(prefix="faultwalk-", dir=cases.MEMORY) as place:
        return walk(options, place)


if __name__ == "__main__":
    sys.dont_write_bytecode = True
    sys.exit(main())

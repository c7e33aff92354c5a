#!/usr/bin/env python3
"""Walks over the calls that whole runs of the command make to the system.

Every scenario of cases.py runs once to count its calls and to give the right output, then
once for every call and every way in which calls of that kind fail (failcalls.c).  Always:
exit code 0 and the right output, or another one with a message and the old output (or the
complete new one); no death by a signal, no hang, no file left, no input changed.

  faultwalk.py COMMAND LIBRARY [--only REGEX] [--limit N] [--jobs N]
  faultwalk.py COMMAND LIBRARY --case SCENARIO/KIND/HOW/ERROR/N[+]
"""
import argparse
import collections
import errno
import multiprocessing
import os
import re
import shlex
import shutil
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
    "copy": ["fail/EIO", "fail/EIO+", "tear/ENOSPC", "fail/EXDEV+=", "short/EIO+="],
    "close": ["after/EIO", "after/EINTR="], "closeout": ["after/EIO!", "after/ENOSPC!"],
    "lseek": ["fail/EIO", "fail/EIO+"], "stat": ["fail/EIO", "fail/EACCES+"],
    "sync": ["fail/EIO!", "fail/ENOSPC!"], "rename": ["fail/EIO", "fail/EACCES+", "after/EIO"],
    "link": ["fail/EIO", "fail/EPERM+", "fail/EEXIST"], "unlink": ["fail/EIO", "fail/EACCES+"],
    "truncate": ["fail/EIO", "fail/ENOSPC+"], "mode": ["fail/EPERM", "fail/EIO+"],
    "owner": ["fail/EPERM", "fail/EIO+"], "times": ["fail/EPERM"], "folder": ["fail/ENOSPC"],
    "list": ["fail/EACCES", "fail/EIO+"], "memory": ["fail/ENOMEM", "fail/ENOMEM+"],
    "map": ["fail/ENOMEM", "fail/ENOMEM+"], "fcntl": ["fail/EINVAL+"],
    "poll": ["fail/EINTR=", "fail/ENOMEM"], "access": ["fail/EACCES"],
    "realpath": ["fail/EIO", "fail/EACCES+"], "random": ["fail/ENOSYS+"],
    "clock": ["fail/EINVAL+"], "thread": ["fail/EAGAIN"], "pipe": ["fail/EMFILE"],
}
FILE, ROOM = 5, 6


def codes(kind, fault):
    """The exit codes that tell of such a failure."""
    if kind in ("memory", "map"):
        return {ROOM}
    if "ENOSPC" in fault and kind in ("write", "pwrite", "copy"):
        return {ROOM}
    if "EMFILE" in fault:
        return {FILE}
    return {FILE, ROOM}


def spell(kind, way, n):
    """What failcalls.c takes, of a way as FAULTS has it."""
    how, code = way.rstrip("+=!").split("/")
    return f"{kind},{n},{how},{getattr(errno, code)}" + (",on" if "+" in way else "")


def judge(what, right, seen, whole, kind, way):
    """What is wrong with a run, in a list of words."""
    wrong = []
    if seen.code is None:
        return ["hangs"]
    if seen.code < 0:
        wrong.append(f"ends by signal {-seen.code}")
    good = seen.code == right.code
    if good and seen.got != right.got:
        wrong.append(f"exit code {seen.code} and wrong output")
    if not good and seen.code >= 0:
        if seen.code not in codes(kind, way):
            wrong.append(f"exit code {seen.code}, not of {sorted(codes(kind, way))}")
        if not seen.said.strip():
            wrong.append(f"exit code {seen.code} without a message")
    if good and "!" in way:
        wrong.append("claims to be done")
    if not good and way.endswith("="):
        wrong.append("gives up for nothing")
    spared = None  # the result beside an output that could not be written over
    for path in sorted(set(seen.files) | set(whole)):
        now, old, new = seen.files.get(path), whole.get(path), right.files.get(path)
        if path not in what.outs:
            if path not in whole:
                result = right.files.get(what.outs[0]) if what.outs else None
                if not good and result and now[-1] == result[-1] and path in seen.said:
                    spared = path
                elif kind != "unlink":
                    wrong.append(f"leaves {path}")
            elif now != old:
                wrong.append(f"changes {path}")
    for path in what.outs:
        now, old, new = (files.get(path) for files in (seen.files, whole, right.files))
        if good and now != new:
            same = now and now[-1] == new[-1]
            if not same or kind not in ("mode", "owner") or now[0] & ~new[0]:
                wrong.append(f"done, and the output stands otherwise: {now[:2]} for {new[:2]}"
                             if same else "done, and wrong output")
        elif not good and now != old and now != new and not spared:
            wrong.append(f"the old output is gone: {len(now[-1]) if now else 'no'} bytes")
    return wrong


def count(table, what):
    """The right run: its outcome and the calls of each kind."""
    file = table.folder + ".counts"
    right = table.run(what, counts=file)
    with open(file, encoding="ascii") as told:
        calls = {kind: int(number) for kind, number in (line.split() for line in told)}
    expected = {"check-unsorted": 1}.get(what.name, 0)
    if right.code != expected or [word for word in judge(what, right, right, table.whole, "", "")
                                  if word != "claims to be done"]:
        sys.exit(f"{what.name}: the right run ends with {right.code}: {right.said}")
    return right, calls


def places(calls, limit):
    """All of 1 to `calls`, or so many of them that lie evenly."""
    if calls <= limit:
        return list(range(1, calls + 1))
    return sorted({1 + at * (calls - 1) // max(limit - 1, 1) for at in range(limit)})


# ---- in the processes that share the work -------------------------------------------

table = None
rights = {}


def settle(command, library, place, numbers):
    global table
    with numbers.get_lock():
        numbers.value += 1
        mine = numbers.value
    table = cases.bench(command, os.path.join(place, f"run{mine}"), library)


def one(case):
    name, kind, way, n, right = case
    if name not in rights:
        rights.clear()
        rights[name] = (cases.scenario(name), right)
    what, right = rights[name]
    seen = table.run(what, spell(kind, way, n))
    wrong = judge(what, right, seen, table.whole, kind, way)
    spelling = f"{name}/{kind}/{way.rstrip('+=!')}/{n}" + "+" * ("+" in way)
    said = " | ".join(seen.said.rstrip().split("\n")[:3])
    return (kind, way, n, spelling, "; ".join(wrong), seen.code, said) if wrong else None


def tell(breaches):
    """Breaches that are alike but for names and numbers in one entry, with the first of them."""
    groups = collections.defaultdict(list)
    for kind, way, _, spelling, wrong, code, said in sorted(breaches, key=lambda one: one[:3]):
        alike = re.sub(r"leaves \S+", "leaves a file", wrong)
        key = kind, way, alike, code, re.sub(r"(?<=: ).*?: |\d+", "", said)
        groups[key].append((spelling, said))
    for (_, _, alike, code, _), members in sorted(groups.items(), key=lambda one: one[0][2]):
        spelling, said = members[0]
        where = len({name.split("/")[0] for name, _ in members})
        print(f"{len(members)} in {where} scenarios: {alike}\n    {spelling}\n    [{code}] {said}")


# ---- the walk ---------------------------------------------------------------------------

def walk(options, place):
    numbers = multiprocessing.Value("i", 0)
    counter = cases.bench(options.command, os.path.join(place, "count"), options.library)
    breaches, runs = [], 0
    began = time.monotonic()
    with multiprocessing.Pool(options.jobs, settle, (options.command, options.library, place,
                                                     numbers)) as pool:
        chosen = [cases.scenario(name) for name in cases.SCENARIOS if re.search(options.only, name)]
        for what, (right, calls) in [(what, count(counter, what)) for what in chosen]:
            start = time.monotonic()
            name = what.name
            limit = options.limit if not what.every else max(calls["pread"], calls["pwrite"])
            plan = [(name, kind, way, n, right)
                    for kind in FAULTS if re.fullmatch(options.kind, kind)
                    for way in FAULTS[kind] for n in places(calls[kind], limit)]
            found = [one for one in pool.imap_unordered(one, plan, 32) if one]
            told = ", ".join(f"{kind} {number}" + f" ({limit} of them)" * (
                number > limit) for kind, number in calls.items() if number)
            print(f"{name}: {told}; {len(plan)} runs, {len(found)} breaches, "
                  f"{time.monotonic() - start:.0f} s", flush=True)
            breaches += found
            runs += len(plan)
    tell(breaches)
    if breaches:
        print("one of them again: " + shlex.join(sys.argv[:3]) + " --case ITS/NAME/AS/TOLD/ABOVE")
    print(f"{runs} runs in {time.monotonic() - began:.0f} s, {len(breaches)} breaches")
    return 1 if breaches else 0


def again(options, place):
    """One case, with what it said and the command for a debugger."""
    name, kind, how, code, n = options.case.split("/")
    way = f"{how}/{code}" + "+" * n.endswith("+")
    way += next((other[len(way):] for other in FAULTS[kind] if other.rstrip("=!") == way), "")
    what = cases.scenario(name)
    bench = cases.bench(options.command, os.path.join(place, "again"), options.library)
    right, _ = count(bench, what)
    fault = spell(kind, way, n.rstrip("+"))
    seen = bench.run(what, fault)
    print(f"exit code {seen.code}\n{seen.said}"
          f"files: {({path: its[:-1] + (len(its[-1]),) for path, its in seen.files.items()})}")
    wrong = judge(what, right, seen, bench.whole, kind, way)
    print("breach: " + "; ".join(wrong) if wrong else "no breach")
    bench.lay(what)
    settings = [f"{key}={value}" for key, value in bench.environment(what, fault).items()]
    print(f"by hand, in {bench.folder} (with KVERN_FAULT_TRAP=1 it stops in a debugger there):\n"
          + shlex.join(["env", *settings, options.command, *what.arguments[1:]])
          + (f" <{what.stdin}" if what.stdin else ""))
    return 1 if wrong else 0


def main():
    parse = argparse.ArgumentParser(description=__doc__.split("\n", maxsplit=1)[0])
    parse.add_argument("command", type=os.path.abspath)
    parse.add_argument("library", type=os.path.abspath)
    parse.add_argument("--only", default="", help="scenarios whose name this matches")
    parse.add_argument("--kind", default=".*", help="kinds of call that this matches")
    parse.add_argument("--limit", type=int, default=80, help="places of one kind and way")
    parse.add_argument("--jobs", type=int, default=os.cpu_count())
    parse.add_argument("--case", help="one case, as a breach was spelt")
    options = parse.parse_args()
    under = "/dev/shm" if os.access("/dev/shm", os.W_OK) else None
    place = tempfile.mkdtemp(prefix="faultwalk-", dir=under)
    if options.case:
        return again(options, place)
    try:
        return walk(options, place)
    finally:
        shutil.rmtree(place)


if __name__ == "__main__":
    sys.dont_write_bytecode = True
    sys.exit(main())

#!/usr/bin/env python3
"""Stops whole runs of the command by signals at random moments.

At each moment a run is stopped by SIGKILL and, anew, by SIGTERM, SIGINT and SIGHUP.
Always: the old output or the complete new one, no input changed, and nothing left.  After
SIGKILL the whole result may stand beside the output, on its way there, and files may be left
where none can be made without a name: the next run removes both.
The others end with 130 at once, also at a pipe that nobody opens, feeds or reads.

  signalwalk.py COMMAND LIBRARY [--moments N] [--seed N]
"""
import argparse
import collections
import os
import random
import signal
import sys
import tempfile
import time

import cases

PROMPT = 3.0  # seconds that a signal may take on a busy machine
STOPS = [signal.SIGTERM, signal.SIGINT, signal.SIGHUP]
SPILL, FIXED, B16 = cases.SPILL, cases.FIXED, cases.B16

SCENARIOS = {
    "sort": (f"sort {SPILL} -o out long.txt", {}),
    "sort-core": ("sort -S 8M -o long.txt long.txt", {"out": "long.txt"}),
    "sort-new": (f"sort {FIXED} {SPILL} -o out many.fix", {"old": None}),
    "sort-pipe": (f"sort {SPILL} -o out", {"stdin": "long.txt"}),
    "sort-pipes": (f"sort {B16} {SPILL}", {"stdin": "many.b16", "stdout": True}),
    "sort-hard": (f"sort {SPILL} -o many.txt many.txt", {"out": "many.txt", "place": "hard"}),
    "sort-named": (f"sort {SPILL} -o out many.txt", {"named": True}),
    "merge": ("merge -o out big.txt a.txt", {}),
    "merge-pipe": ("merge -o out a.txt -", {"stdin": "big.txt"}),
    "merge-named": ("merge -o out a.txt -", {"stdin": "big.txt", "named": True}),
    "copy": ("copy -o out -w $1<500000 big.txt", {}),
    "copy-pipes": ("copy", {"stdin": "big.txt", "stdout": True}),
} | {name: cases.PARALLEL[name] for name in ("jobs-sort-spill", "jobs-sort-text", "jobs-merge")}

# Where a run waits for ever: its arguments, which of its ends is a FIFO or a pipe, and
# what the other side does: nothing at all, or hold it open.
WAITS = [
    ("sort -o out fifo", None), ("sort -o out fifo", "open"), ("sort -o out", "stdin"),
    ("sort -o fifo few.txt", None), ("sort -o fifo long.txt", "open"),
    ("sort long.txt", "stdout"), (f"sort {SPILL} long.txt", "stdout"),
    (f"sort {B16} -o fifo few.b16", None), (f"sort {B16} -o fifo many.b16", "open"),
    ("sort --header 1 -o fifo few.txt", None), ("sort --header 1 -o out fifo", None),
    ("merge -o out a.txt fifo", None), ("merge -o out a.txt fifo", "open"),
    ("merge -o fifo a.txt big.txt", None), ("merge -o fifo a.txt big.txt", "open"),
    ("merge a.txt big.txt", "stdout"), ("copy -o fifo big.txt", None),
    ("copy -o fifo big.txt", "open"), ("copy -o out fifo", None), ("copy big.txt", "stdout"),
    ("copy -o out", "stdin"), ("check fifo", None), ("check fifo", "open"),
    ("sort -j 4 -S 4M -o fifo long.txt", "open"), ("sort -j 4 -S 4M -o out", "stdin"),
    ("merge -j 4 -o fifo big.txt a.txt", "open"), ("copy -j 4 big.txt", "stdout"),
]


def judge(what, right, seen, whole, stop, caught):
    wrong = []
    killed = -int(stop)
    # The whole result may stand beside the output: for good while it is copied over one of
    # several names, and for a moment before it is renamed.
    kept = [path for path in seen.files if path not in whole and what.outs and
            (what.place or seen.code == killed) and
            seen.files[path][-1] == right.files[what.outs[0]][-1]]
    if seen.code == 0 and (seen.got != right.got or
                           any(seen.files.get(out) != right.files[out] for out in what.outs)):
        wrong.append("done, and wrong output")
    elif seen.code is None:
        wrong.append(f"does not end within {PROMPT:.0f} s")
    elif seen.code not in (0, 130) and (caught or seen.code != killed):
        wrong.append(f"ends with {seen.code}: {seen.said.strip()}")
    for path in set(seen.files) | set(whole):
        now, old = seen.files.get(path), whole.get(path)
        if path in what.outs:
            if now != old and now != right.files.get(path) and not (kept and what.place):
                wrong.append(f"the old output is gone: {path}")
        elif now != old and path not in kept and (
                path in whole or not what.named or seen.code != killed):
            wrong.append(f"{'changes' if path in whole else 'leaves'} {path}")
    return wrong


def catches(child, stop):
    """Whether the process has said by now what is to be done at the signal."""
    with open(f"/proc/{child.pid}/status", encoding="ascii") as status:
        masks = [int(line.split()[1], 16) for line in status if line.startswith("SigCgt")]
    return bool(masks and masks[0] >> (stop - 1) & 1)


def moment(bench, what, stop, delay, right):
    """One run with the signal; how it ended and what is wrong."""
    bench.lay(what)
    child = bench.start(what)
    time.sleep(delay)
    caught = stop != signal.SIGKILL and catches(child, stop)
    child.send_signal(stop)
    seen = bench.finish(child)
    wrong = judge(what, right, seen, bench.whole, stop, caught)
    if stop == signal.SIGKILL and what.place is None and set(seen.files) - set(right.files):
        left = bench.finish(bench.start(what)).files
        wrong += [f"the next run leaves {path}" for path in set(left) - set(right.files)]
    return ("done" if seen.code == 0 else
            "stopped" if seen.code == 130 or stop == signal.SIGKILL else "too early"), wrong


def moments(bench, rng, number):
    """The walk; the breaches."""
    told, breaches, rights = collections.Counter(), [], {}
    for at in range(number):
        what = cases.scenario(list(SCENARIOS)[at % len(SCENARIOS)], SCENARIOS)
        if what.name not in rights:
            began = time.monotonic()
            rights[what.name] = bench.run(what), time.monotonic() - began
        right, lasts = rights[what.name]
        if right.code != 0:
            sys.exit(f"{what.name}: the right run ends with {right.code}: {right.said}")
        delay = rng.random() * lasts * 1.1
        for stop in [signal.SIGKILL] + STOPS:
            how, wrong = moment(bench, what, stop, delay, right)
            told[f"{stop.name} {how}"] += 1
            breaches += [f"{what.name}, {stop.name} after {delay:.4f} s: {word}" for word in wrong]
    print(", ".join(f"{how} {times}" for how, times in sorted(told.items())))
    return breaches


def wait(bench, line, other, stop):
    """One run that waits, stopped; what is wrong."""
    what = cases.scenario(line, {line: (line, {"stdout": "-o out" not in line})})
    bench.lay(what)
    if not os.path.exists("fifo"):
        os.mkfifo("fifo")
        bench.whole = bench.look()
    held = os.open("fifo" if other == "open" else os.devnull, os.O_RDWR)
    ends = os.pipe()
    theirs = {"stdin": ends[0], "stdout": ends[1]}
    child = bench.start(what, **{other: theirs[other]} if other in theirs else {})
    while not catches(child, stop):
        time.sleep(0.005)
    time.sleep(0.2)
    child.send_signal(stop)
    seen = bench.finish(child)
    for file in (*ends, held):
        os.close(file)
    wrong = [] if seen.code == 130 else [f"ends with {seen.code}: {seen.said.strip()}"]
    return wrong + [f"leaves or changes {path}" for path in set(seen.files) | set(bench.whole)
                    if seen.files.get(path) != bench.whole.get(path)]


def main():
    parse = argparse.ArgumentParser(description=__doc__.split("\n", maxsplit=1)[0])
    parse.add_argument("command", type=os.path.abspath)
    parse.add_argument("library", type=os.path.abspath)
    parse.add_argument("--moments", type=int, default=200)
    parse.add_argument("--seed", type=int, default=int(time.time()))
    options = parse.parse_args()
    with tempfile.TemporaryDirectory(prefix="signalwalk-", dir=cases.MEMORY) as place:
        bench = cases.bench(options.command, place + "/run", options.library, patience=PROMPT)
        print(f"signals at {options.moments} moments, --seed {options.seed}", flush=True)
        breaches = moments(bench, random.Random(options.seed), options.moments)
        breaches += [f"kvern {line} ({other or 'nobody there'}), {stop.name}: {word}"
                     for line, other in WAITS for stop in STOPS
                     for word in wait(bench, line, other, stop)]
        print(f"{len(WAITS)} waits at pipes, each ended by {len(STOPS)} signals", *breaches,
              f"{len(breaches)} breaches", sep="\n")
    return bool(breaches)


if __name__ == "__main__":
    sys.exit(main())

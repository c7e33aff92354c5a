#!/usr/bin/env python3
"""Runs random COBOL programs (cobol.py) with and without the library and holds against each
other what they write, say and leave, their exit status and, as they display them, the file
status after every verb.

  programs.py [LIBRARY]     without one: each program twice, which proves the generator alone
KVERN_PROGRAMS and KVERN_SEED say how many and the first, as one that fails is told.
"""
import argparse
import collections
import multiprocessing
import os
import pathlib
import random
import re
import resource
import shutil
import signal
import subprocess
import sys
import tempfile
import time

import cobol

PATIENCE = 120  # seconds a run may take
MEMORIES = ["65536", "300K", "1M", "40M", None]
options = None


class compileerror(Exception):
    pass


def compiled(seed, place):
    """A program and the file that runs it."""
    made = cobol.program(seed)
    (place / "p.cob").write_text(made.text)
    done = subprocess.run([options.cobc, "-x", "-free", *made.flags, "-o", "p", "p.cob"], cwd=place,
                          capture_output=True, check=False, text=True)
    said = [line for line in done.stderr.splitlines()
            if ("warning:" in line or "error:" in line) and "NATIONAL is unfinished" not in line]
    if done.returncode != 0 or said:
        raise compileerror("\n    ".join(["does not compile"] + said))
    return made


def bounded(limit):
    """What a run sets up for itself: files that end where a disk would be full."""
    def do():
        signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
        resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
        if limit:
            resource.setrlimit(resource.RLIMIT_FSIZE, (limit, limit))
    return do


def run(made, place, library, memory, delay=None):
    """Exit status, output, words and files of one run in a folder of its own; a signal comes
    after some delay."""
    folder = place / "run"
    shutil.rmtree(folder, ignore_errors=True)
    for path in (folder / "folder", folder / "tmp"):
        path.mkdir(parents=True)
    for name, data in made.inputs.items():
        (folder / name).write_bytes(data)
    environment = dict(os.environ, **made.environment, TMPDIR=str(folder / "tmp"))
    if made.limit: # no temporary file could grow, so a sort must do without
        environment.pop("COB_SORT_MEMORY", None)
    if library:
        environment.update(LD_PRELOAD=library, KVERN_SORT_EXPLAIN="1")
        environment.update({"KVERN_SORT_MEMORY": memory} if memory else {})
    child = subprocess.Popen([place / "p"], cwd=folder, stdin=subprocess.DEVNULL, env=environment,
                             stdout=subprocess.PIPE, stderr=subprocess.PIPE, restore_signals=False,
                             preexec_fn=bounded(made.limit))
    if delay is not None:
        time.sleep(delay)
        child.send_signal(signal.SIGINT)
    try:
        output, said = child.communicate(timeout=PATIENCE)
    except subprocess.TimeoutExpired:
        child.kill()
        output, said = child.communicate()
    lines = said.splitlines()
    explained = [line for line in lines if line.startswith(b"kvern: ") and b": sorted by " in line]
    seen = {"exit status": child.returncode, "output": output,
            "words": [re.sub(rb"0x[0-9a-f]+", b"ADDRESS", line)
                      for line in lines if line not in explained]}
    for path in sorted(folder.rglob("*")):
        if path.is_file():
            # A database of the run-time holds times and numbers of its own; it is displayed.
            data = b"" if path.suffix == ".idx" else path.read_bytes()
            seen[str(path.relative_to(folder))] = data
    return seen, explained


def differ(one, other):
    """In words, what differs between two runs."""
    faults = []
    for name in sorted(set(one) | set(other)):
        mine, theirs = one.get(name), other.get(name)
        if mine != theirs and isinstance(mine, bytes) and isinstance(theirs, bytes):
            at = next((at for at, pair in enumerate(zip(mine, theirs)) if pair[0] != pair[1]),
                      min(len(mine), len(theirs)))
            mine, theirs = (f"{len(each)} bytes, at {at} {each[at:at + 40]}"
                            for each in (mine, theirs))
        if mine != theirs:
            faults.append(f"{name}: {str(mine)[:300]}, and not {str(theirs)[:300]}")
    return faults


def work(seed):
    """The faults of one program, in lines, and what its sorts told of themselves."""
    faults, told = [], []
    place = pathlib.Path(options.place, str(seed))
    place.mkdir(exist_ok=True)
    try:
        made = compiled(seed, place)
        right, _ = run(made, place, None, None)
        if b"WRONG WIDTH" in right["output"]:
            faults.append(f"KVERN_SEED={seed}: a field is not as wide as fields.py says")
        if right["exit status"] == -signal.SIGKILL:
            return [], [f"KVERN_SEED={seed} does not end without the library"]
        choice = MEMORIES[3:] if made.limit else MEMORIES # nor with little memory
        memories = random.Random(seed).sample(choice, min(options.runs, len(choice)))
        for memory in memories:
            seen, explained = run(made, place, options.library, memory)
            told += [line.split(b": ")[2].split(b";")[0].decode() for line in explained]
            faults += [f"KVERN_SEED={seed} KVERN_SORT_MEMORY={memory}: {fault}"
                       for fault in differ(seen, right)]
        for _ in range(options.stops * made.many):
            seen, _ = run(made, place, options.library, "65536", random.uniform(0, 0.3))
            left = [name for name in seen if name.startswith("tmp/")]
            if left or seen["exit status"] == -signal.SIGKILL:
                faults.append(f"KVERN_SEED={seed}, stopped: {seen['exit status']}, leaves {left}")
        if faults and options.library and differ(run(made, place, None, None)[0], right):
            return [], [f"KVERN_SEED={seed} differs from itself without the library"]
    except compileerror as error:
        faults.append(f"KVERN_SEED={seed} {error}")
    if not options.keep:
        shutil.rmtree(place)
    return faults, told


def main():
    global options
    parse = argparse.ArgumentParser(description=__doc__.split("\n", maxsplit=1)[0])
    parse.add_argument("library", nargs="?", type=os.path.abspath)
    parse.add_argument("--cobc", default="cobc")
    parse.add_argument("--runs", type=int, default=2, help="of each program with the library")
    # Not by default: the run-time's handler does what no handler may, by itself as well.
    parse.add_argument("--stops", type=int, default=0, help="signals to each program that spills")
    parse.add_argument("--keep", help="a folder where programs and their last runs stay")
    options = parse.parse_args()
    first, count = (int(os.environ.get(name, other))
                    for name, other in (("KVERN_SEED", "1"), ("KVERN_PROGRAMS", "24")))
    failed, told = 0, []
    with tempfile.TemporaryDirectory(prefix="programs-") as options.place:
        options.place = options.keep or options.place
        os.makedirs(options.place, exist_ok=True)
        with multiprocessing.Pool() as pool:
            for faults, explained in pool.imap(work, range(first, first + count)):
                failed += bool(faults)
                told += explained
                for fault in faults:
                    print("error:", fault, flush=True)
    for what, often in collections.Counter(told).most_common():
        print(f"{often:7} {what}")
    print(f"[  PASSED  ] {count - failed} tests.")
    if failed:
        print(f" {failed} FAILED TESTS")
    return failed != 0


if __name__ == "__main__":
    sys.dont_write_bytecode = True
    sys.exit(main())

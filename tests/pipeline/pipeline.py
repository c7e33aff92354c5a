#!/usr/bin/env python3
"""Runs random jobs (jobs.py) of the command, each by names and through pipes at either end,
with several numbers of threads and sizes of storage.  All runs of a job have to end alike, as
one session does: by exit code, output, counts, words of an error; and as jobs.py says.

  pipeline.py COMMAND [--against COMMAND]    one that knows no -j
KVERN_JOBS and KVERN_SEED say how many and the first, as one that fails is told.
"""
import argparse
import contextlib
import itertools
import json
import multiprocessing
import os
import pathlib
import random
import shlex
import signal
import subprocess
import sys
import tempfile
import threading

import jobs

PATIENCE = 120  # seconds a run may take, one that a sanitizer watches too
MEMORIES = [None, None, "64K", "200K", "1M", "3M", "10M", "40M"]
LEAD = b"ahead"  # what a file holds that is standard output
options = None


def feed(pipe, data):
    with contextlib.suppress(BrokenPipeError), open(pipe, "wb") as file:
        file.write(data)


class run:
    """One run of a job: what it reads and writes, and what came out."""

    def __init__(self, words, inputs, kinds, out):
        self.inputs, self.out, self.ends, self.given = inputs, out, [], subprocess.DEVNULL
        names = [self.join(f"f{at}", *each) for at, each in enumerate(zip(inputs, kinds))]
        self.stdin = names.index("-") if "-" in names else None
        target = subprocess.PIPE
        self.path = pathlib.Path("f0" if out == "inplace" else "out")
        if out in ("old", "stdout"):
            self.path.write_bytes(LEAD)
        if out == "stdout":
            target = os.open(self.path, os.O_WRONLY)
            os.lseek(target, len(LEAD), os.SEEK_SET)
            self.ends.append(target)
        self.before = self.path.read_bytes() if self.path.exists() else None
        named = ["-o", self.path] if out in ("new", "old", "inplace") else []
        self.child = subprocess.Popen(
            words + ["-q", "-T", "t"] + named + names, stdin=self.given, stdout=target,
            stderr=subprocess.PIPE, pass_fds=self.ends)
        for end in self.ends:
            os.close(end)

    def join(self, name, data, kind):
        """The name by which an input is called: a file, a pipe or what standard input is."""
        if "pipe" in kind:
            end, writing = os.pipe()
            threading.Thread(target=feed, args=(writing, data)).start()
        else:
            pathlib.Path(name).write_bytes(data)
            if kind == "file":
                return name
            end = os.open(name, os.O_RDONLY)
        self.ends.append(end)
        if kind == "pipe":
            os.symlink(f"/dev/fd/{end}", name)
            return name
        self.given = end
        return "-"

    def finish(self):
        """Exit code, output where all went well, words, counts; what is wrong whatever it was."""
        try:
            got, said = self.child.communicate(timeout=PATIENCE)
        except subprocess.TimeoutExpired:
            self.child.kill()
            got, said = self.child.communicate()
        code, faults = self.child.returncode, []
        said = said.decode(errors="replace")
        if self.stdin is not None:
            said = said.replace("standard input", f"f{self.stdin}")
        counts = [line for line in said.splitlines() if line.startswith("{")]
        words = [line for line in said.splitlines() if not line.startswith("{")]
        if self.out != "pipe":
            got = self.path.read_bytes() if self.path.exists() else None
            if self.out == "stdout":
                faults += ["what stood ahead is gone"] * (not got.startswith(LEAD))
                got = got[len(LEAD):]
            elif code != 0 and got != self.before:
                faults.append("a failure changes the output")
        inputs = {f"f{at}" for at in range(len(self.inputs))}
        left = {path.name for path in pathlib.Path().iterdir()} - inputs - {"t", "out"}
        faults += [f"leaves {path}" for path in sorted(left) + os.listdir("t")]
        if code == 0 and counts:
            told = json.loads(counts[0])
            counts = told["records"] | {"bytes": told["bytes"]["written"]}
        return (code, got if code == 0 else None, words, counts if code == 0 else None), faults


def way(rng, job):
    """How a job is run: threads and storage, the kinds of its inputs and of its output."""
    words = ["-j", rng.choice("1238")]
    memory = rng.choice(MEMORIES)
    words += ["-S", memory] if memory else []
    weights = rng.choice([(1, 0), (1, 1), (0, 1)])
    kinds = rng.choices(["file", "pipe"], k=len(job.inputs), weights=weights)
    if rng.random() < 0.4:
        kinds[rng.randrange(len(kinds))] = rng.choice(["stdin", "stdinpipe"])
    outs = ["new", "old", "pipe", "stdout"] + ["inplace"] * ("file" in kinds[:1])
    return words, kinds, rng.choice(outs) if job.verb != "check" else "pipe"


def differ(what, one, other):
    """In words, what differs between two outcomes."""
    names = ["exit code", "output", "words", "counts"]
    for name, mine, theirs in zip(names, one, other):
        if mine != theirs and name == "output":
            mine, theirs = mine or b"", theirs or b""
            at = next((at for at, pair in enumerate(zip(mine, theirs)) if pair[0] != pair[1]),
                      min(len(mine), len(theirs)))
            mine, theirs = (f"{len(each)} bytes, at {at} {each[at:at + 30]}"
                            for each in (mine, theirs))
        if mine != theirs:
            return [f"{what}: {name}: {mine}, and not {theirs}"]
    return []


def enterfolder():
    folder = f"{options.place}/{os.getpid()}"
    os.makedirs(folder + "/t", exist_ok=True)
    os.chdir(folder)
    for path in pathlib.Path().iterdir():
        if path.name != "t":
            path.unlink()


def work(seed):
    """The faults of one job, in lines."""
    job = jobs.job(seed)
    rng = random.Random(seed)
    out = "new" if job.verb != "check" else "pipe"
    files = ["file"] * len(job.inputs)
    ways = [(["-j", "1", "-S", "10M"], files, out)] + [way(rng, job) for _ in range(options.runs)]
    faults, right = [], None
    for words, kinds, out in ways:
        line = [options.command] + job.words + words + ["--stats=json"]
        if right is None and options.against:
            line = [options.against] + job.words + ["-S", "10M", "--stats=json"]
        enterfolder()
        seen, found = run(line, job.inputs, kinds, out).finish()
        if right is None:
            right = seen
            if job.right is not None:
                found += differ("the job", seen[:2], (0, job.right))
        # Less storage may be too little for the longest line.
        if seen[0] != 6 or words[-1] not in ("64K", "200K", "1M"):
            found += differ("one session", seen, right)
        if found:
            faults.append("\n    ".join(
                [f"KVERN_SEED={seed} {shlex.join(line)} {kinds} to {out}"] + found))
    if job.isdealable():
        faults += [f"KVERN_SEED={seed} {shlex.join(job.words)}: {what}" for what in deal(job, rng)]
    return faults


def deal(job, rng):
    """What is wrong with the pieces of a sort: dealt by ranges, sorted apart, put together."""
    enterfolder()
    names = [f"f{at}" for at in range(len(job.inputs))]
    for name, data in zip(names, job.inputs):
        pathlib.Path(name).write_bytes(data)
    form = [word for word in job.words[1:] if word != "-s"]
    dealt = subprocess.run([options.command, "deal"] + form + ["-j", rng.choice("124"), "--ways",
                            rng.choice("123"), "-o", "p", "-T", "t"] + names,
                           capture_output=True, check=False)
    if dealt.returncode != 0:
        return [f"deal: {dealt.stderr}"]
    whole = b""
    for path in sorted(pathlib.Path().glob("p0?")):
        whole += subprocess.run([options.command] + job.words + ["-T", "t", path],
                                capture_output=True, check=False).stdout
    return differ("dealt", (0, whole), (0, job.right))


def stop(verb):
    """What is wrong with a run that a signal ends while it waits for more of its input."""
    enterfolder()
    end, writing = os.pipe()
    out = [] if verb == "check" else ["-o", "out"]
    child = subprocess.Popen([options.command, verb, "--fixed", "9", "-j", "4", "-q", "-S", "4M",
                              "-T", "t"] + out, stdin=end)
    os.close(end)
    with open(writing, "wb") as pipe:
        for number in range(100000):
            pipe.write(b"%09d" % number)
        pipe.flush()
        child.send_signal(signal.SIGINT)
        try:
            code = child.wait(timeout=10)
        except subprocess.TimeoutExpired:
            child.kill()
            code = "none"
    left = os.listdir("t") + [path for path in ["out"] if os.path.exists(path)]
    return [] if code == 130 and not left else [f"{verb}, stopped: code {code}, leaves {left}"]


def main():
    global options
    parse = argparse.ArgumentParser(description=__doc__.split("\n", maxsplit=1)[0])
    parse.add_argument("command", type=os.path.abspath)
    parse.add_argument("--against", type=os.path.abspath)
    parse.add_argument("--runs", type=int, default=3, help="of each job, beside the first")
    options = parse.parse_args()
    first, count = (int(os.environ.get(name, other))
                    for name, other in (("KVERN_SEED", "1"), ("KVERN_JOBS", "100")))
    # A thread that waits for another one's lock is not woken by a signal where the thread
    # sanitizer stands in for the lock.
    watched = b"__tsan_init" in pathlib.Path(options.command).read_bytes()
    verbs = ["merge"] + ["sort", "copy", "check"] * (not watched)
    failed = 0
    with tempfile.TemporaryDirectory(prefix="pipeline-") as options.place:
        with multiprocessing.Pool() as pool:
            for faults in itertools.chain(pool.imap(work, range(first, first + count)),
                                          pool.imap(stop, verbs)):
                failed += bool(faults)
                for fault in faults:
                    print("error:", fault, flush=True)
    print(f"[  PASSED  ] {count + len(verbs) - failed} tests.")
    if failed:
        print(f" {failed} FAILED TESTS")
    return failed != 0


if __name__ == "__main__":
    sys.dont_write_bytecode = True
    sys.exit(main())

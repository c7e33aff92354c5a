"""Whole runs of the command: the files before, the run, and what it left behind.

A scenario is a row: a name, the arguments, how the ends are joined, what the output holds
before.  A bench is a folder in which scenarios run; it knows what every file must hold.
"""
import collections
import contextlib
import os
import pathlib
import random
import shlex
import shutil
import stat
import struct
import subprocess
import threading

SEED = 20260
MEMORY = "/dev/shm" if os.access("/dev/shm", os.W_OK) else None  # where folders lie


def lines(count, seed, widest=40):
    rng = random.Random(SEED + seed)
    return [b"%06d %s" % (rng.randrange(10 ** 6), b"x" * rng.randrange(widest))
            for _ in range(count)]


def text(rows, end=b"\n"):
    return b"".join(row + end for row in rows)


def fixed(count, seed):
    return b"".join(row[:6] + b"0001" + b"%06d" % at
                    for at, row in enumerate(lines(count, seed)))


def be16(rows):
    return b"".join(struct.pack(">H", len(row)) + row for row in rows)


def rdw(rows):
    return b"".join(struct.pack(">HH", len(row) + 4, 0) + row for row in rows)


def deep(count, order=list):
    """Records of 100 bytes, for several sessions at once."""
    rng = random.Random(count)
    return b"".join(order(rng.randbytes(50) * 2 for _ in range(count)))


MANY, FEW = 3000, 300
DATA = {
    "many.txt": text(lines(MANY, 1)), "few.txt": text(lines(FEW, 2)),
    "long.txt": text(lines(45000, 3)), "crlf.txt": text(lines(FEW, 4), b"\r\n"),
    "many.fix": fixed(5000, 5), "few.fix": fixed(FEW, 6),
    "many.b16": be16(lines(MANY, 7)), "few.b16": be16(lines(FEW, 8)),
    "many.rdw": rdw(lines(MANY, 9)), "few.rdw": rdw(lines(FEW, 10)),
    "a.txt": text(sorted(lines(MANY, 11))), "b.txt": text(sorted(lines(MANY, 12))),
    "c.txt": text(sorted(lines(FEW, 13))),
    "a.fix": b"".join(b"%06d0001%06d" % (at, at) for at in range(0, 6000, 3)),
    "b.fix": b"".join(b"%06d0001%06d" % (at, at) for at in range(0, 6000, 2)),
    "a.b16": be16(sorted(lines(FEW, 14))),
    "b.b16": be16(sorted(lines(FEW, 15))),
    "sums.txt": text(b"%02d %06d" % (at * 7 % 40, at) for at in range(FEW)),
    "big.txt": text(sorted(lines(45000, 16))), "wide.txt": text(lines(10000, 17, 60)),
    "deep.fix": deep(60000), "a.deep": deep(20000, sorted), "b.deep": deep(20001, sorted),
    "deep.txt": text(lines(90000, 18, 60)),
    "where": b"# low ones\n$1 < '500000'\n", "layout": b"number = $1:6\n",
    "old": b"what stood here before\n" * 50,
}

# Records whose keys are equal are the same record, so that there is one right output.
FIXED = "--fixed 16 -k 1,16"
B16 = "--variable 60 --framing be16 -k 1,50"
RDW = "--variable 60 --framing rdw -k 1,50"
SPILL = "-S 64K"
CORE = "-S 1M"

# name: (arguments, options).  Options:
#   stdin=FILE    through a pipe; `<FILE` opened for it
#   stdout=True   to a pipe, =file to a file; else -o names `out`
#   old=FILE      what `out` holds before; None: it is not there; "" for an input in place
#   out=NAME      the output's name when it is not `out`
#   place=links   how the output stands there: hard, link, dangling
#   named=True    no file without a name can be made
#   every=True    each call is walked, however many there are
SCENARIOS = {
    "sort-text-core": (f"sort {CORE} -o out few.txt", {}),
    "sort-text-spill": (f"sort {SPILL} -o out many.txt", {}),
    "sort-text-pipes": (f"sort {SPILL}", {"stdin": "many.txt", "stdout": True}),
    "sort-text-maxline": (f"sort {SPILL} --max-line 60 -o out", {"stdin": "many.txt"}),
    "sort-text-scratch": ("sort -S 4M -o out", {"stdin": "long.txt"}),
    "sort-text-tostdout": (f"sort {SPILL} many.txt", {"stdout": "file"}),
    "sort-text-crlf": (f"sort {CORE} -o out crlf.txt", {}),
    "sort-text-evict": (f"sort {SPILL} -o out wide.txt", {"every": True}),
    "sort-text-header": (f"sort {SPILL} --header 2 -o out many.txt", {}),
    "sort-text-unique": (f"sort {SPILL} -u -o out many.txt few.txt", {}),
    "sort-text-sum": (f"sort {CORE} --columns -k 1,2 --sum 4,6 -o out sums.txt", {}),
    "sort-fixed-core": (f"sort {FIXED} {CORE} -o out few.fix", {}),
    "sort-fixed-new": (f"sort {FIXED} {CORE} -o out few.fix", {"old": None}),
    "sort-fixed-spill": (f"sort {FIXED} {SPILL} -o out many.fix", {}),
    "sort-fixed-pipes": (f"sort {FIXED} {SPILL} -s", {"stdin": "many.fix", "stdout": True}),
    "sort-fixed-sum": (f"sort --fixed 16 --rebuild '1,2 7,4' -k 1,2 --sum 3,4,zd {SPILL} -o out"
                       " many.fix", {}),
    "sort-fixed-unique": (f"sort --fixed 16 --rebuild 1,3 -k 1,3 -u {SPILL} -o out"
                          " many.fix few.fix", {}),
    "sort-be16-spill": (f"sort {B16} {SPILL} -o out many.b16", {}),
    "sort-be16-pipes": (f"sort {B16} {CORE}", {"stdin": "few.b16", "stdout": True}),
    "sort-rdw-pipes": (f"sort {RDW} {SPILL}", {"stdin": "many.rdw", "stdout": True}),
    "sort-rdw-core": (f"sort {RDW} {CORE} -o out few.rdw", {}),
    "merge-text": ("merge -o out a.txt b.txt c.txt", {}),
    "merge-text-pipe": ("merge a.txt - c.txt", {"stdin": "b.txt", "stdout": True}),
    "merge-text-big": ("merge -o out a.txt big.txt", {}),
    "merge-text-unique": ("merge -u -o out a.txt b.txt", {}),
    "merge-fixed": (f"merge {FIXED} -o out a.fix b.fix", {}),
    "merge-fixed-sum": ("merge --fixed 16 -k 1,6 --sum 7,4,zd -o out a.fix b.fix", {}),
    "merge-be16": (f"merge {B16} -o out a.b16 b.b16", {}),
    "copy-text": ("copy -w $1<500000 -o out many.txt", {}),
    "copy-text-big": ("copy", {"stdin": "<big.txt", "stdout": "file"}),
    "copy-text-files": ("copy --where-file where --layout layout -o out few.txt", {}),
    "copy-text-pipes": ("copy", {"stdin": "many.txt", "stdout": True}),
    "copy-fixed-rebuild": ("copy --fixed 16 --rebuild 7,4 -o out many.fix", {}),
    "copy-fixed-pipes": ("copy --fixed 16", {"stdin": "many.fix", "stdout": True}),
    "copy-be16": ("copy --variable 60 --framing be16 -o out many.b16", {}),
    "copy-rdw-header": ("copy --variable 60 --framing rdw --header 1 -o out few.rdw", {}),
    "check-text": ("check a.txt", {"stdout": True}),
    "check-text-pipe": ("check -q", {"stdin": "a.txt", "stdout": True}),
    "check-unsorted": ("check many.txt", {"stdout": True}),
    "check-fixed": (f"check {FIXED} b.fix", {"stdout": True}),
    "place-text-core": (f"sort {CORE} -o few.txt few.txt", {"out": "few.txt"}),
    "place-text-spill": (f"sort {SPILL} -o many.txt many.txt", {"out": "many.txt"}),
    "place-text-header": (f"sort {CORE} --header 1 -o few.txt few.txt", {"out": "few.txt"}),
    "place-text-stdin": (f"sort {CORE} -o few.txt", {"stdin": "<few.txt", "out": "few.txt"}),
    "place-fixed-spill": (f"sort {FIXED} {SPILL} -o many.fix many.fix", {"out": "many.fix"}),
    "place-be16-core": (f"sort {B16} {CORE} -o few.b16 few.b16", {"out": "few.b16"}),
    "place-merge": ("merge -o a.txt a.txt b.txt", {"out": "a.txt"}),
    "place-copy": ("copy -w $1<500000 -o few.txt few.txt", {"out": "few.txt"}),
    "place-hard": (f"sort {CORE} -o few.txt few.txt", {"out": "few.txt", "place": "hard"}),
    "out-hard": (f"sort {CORE} -o out few.txt", {"place": "hard"}),
    "out-link": (f"sort {FIXED} {CORE} -o link few.fix", {"place": "link"}),
    "out-dangling": (f"merge -o link a.txt c.txt", {"place": "dangling", "old": None}),
    "out-longname": (f"sort {CORE} -o {'o' * 250} few.txt", {"out": "o" * 250}),
    "named-sort": (f"sort {SPILL} -o out many.txt", {"named": True}),
    "named-new": (f"sort {B16} {CORE} -o out few.b16", {"named": True, "old": None}),
    "named-scratch": ("merge -o out a.txt -", {"stdin": "c.txt", "named": True}),
    "named-place": (f"sort {FIXED} {CORE} -o few.fix few.fix", {"named": True, "out": "few.fix"}),
    "named-hard": (f"copy -o out few.txt", {"named": True, "place": "hard"}),
}

# By four threads and three or four sessions: of a regular input for each MB, of a pipe
# however small.  Which call the n-th is changes from run to run.
DEEP = "--fixed 100 -j 4"
PARALLEL = {
    "jobs-sort-core": (f"sort {DEEP} -S 8M -o out deep.fix", {}),
    "jobs-sort-spill": (f"sort {DEEP} -S 3M -o out deep.fix", {}),
    "jobs-sort-place": (f"sort {DEEP} -S 8M -o deep.fix deep.fix", {"out": "deep.fix"}),
    "jobs-sort-pipes": (f"sort {RDW} -j 4 -S 4M --header 1", {"stdin": "many.rdw", "stdout": True}),
    "jobs-sort-text": ("sort -j 4 -S 4M -o out deep.txt", {}),
    "jobs-sort-kept": ("sort -j 4 -S 4M", {"stdin": "deep.txt", "stdout": True}),
    "jobs-merge": (f"merge {DEEP} -o out a.deep b.deep", {}),
    "jobs-merge-pipes": (f"merge {DEEP} a.deep -", {"stdin": "b.deep", "stdout": True}),
    "jobs-copy": (f"copy {DEEP} -w \"[1,1] < 'P'\" --rebuild 1,20 -o out deep.fix", {}),
    "jobs-copy-pipes": ("copy -j 4 -w $1<500000", {"stdin": "deep.txt", "stdout": True}),
    "jobs-check": (f"check {DEEP} a.deep", {"stdout": True}),
}
SCENARIOS |= PARALLEL


class scenario:
    def __init__(self, name, table=None):
        line, options = (table or SCENARIOS)[name]
        self.name = name
        self.arguments = ["kvern"] + shlex.split(line) + ["-q"] * (" -q" not in line) + ["-T", "t"]
        self.stdin, self.stdout = options.get("stdin", "</dev/null"), options.get("stdout")
        self.named, self.every = options.get("named", False), options.get("every", False)
        self.place = options.get("place")
        self.before = {name: DATA[name] for name in self.arguments + [self.stdin.strip("<")]
                       if name in DATA and name != self.stdin}
        # Where the output lies, under all its names; the first one is written.
        out = options.get("out", "out")
        self.outs = {None: [out], "hard": [out, "d/other"], "link": ["d/out"],
                     "dangling": ["d/out"]}[self.place] if not self.stdout else []
        if self.outs and out not in self.before and options.get("old", "old"):
            self.before[self.outs[0]] = DATA["old"]


outcome = collections.namedtuple("outcome", "code said got files")


class bench:
    """A folder for one run at a time."""

    def __init__(self, command, folder, library, patience=30):
        self.command, self.folder, self.library = command, folder, library
        self.patience = patience
        self.laid = None

    def lay(self, what):
        """The files as they are before; those of the last run stay where nothing changed."""
        if self.laid == what.name and self.look() == self.whole:
            return
        os.chdir("/")
        shutil.rmtree(self.folder, ignore_errors=True)
        os.makedirs(self.folder + "/t")
        os.makedirs(self.folder + "/d")
        os.chdir(self.folder)
        for path, data in ((pathlib.Path(name), data) for name, data in what.before.items()):
            path.write_bytes(data)
            path.chmod(0o640)
        if what.place == "hard":
            os.link(*what.outs)
        elif what.place in ("link", "dangling"):
            os.symlink("d/out", "link")
        self.laid, self.whole = what.name, self.look()

    def look(self):
        """Path to kind, permissions, links and content of all that lies there."""
        found = {}
        for path in pathlib.Path().rglob("*"):
            its = path.lstat()
            if stat.S_ISREG(its.st_mode):
                found[str(path)] = (stat.S_IMODE(its.st_mode), its.st_nlink, path.read_bytes())
            elif not stat.S_ISDIR(its.st_mode):
                found[str(path)] = (its.st_mode, its.st_ino)
        return found

    def environment(self, what, fault="", counts=""):
        every = {"PATH": "/usr/bin:/bin", "TMPDIR": "t", "KVERN_TMPDIR": "t",
                 "LD_PRELOAD": self.library, "KVERN_FAULT": fault, "KVERN_FAULT_COUNTS": counts,
                 "KVERN_FAULT_NAMED": "1" * what.named}
        return {name: value for name, value in every.items() if value}

    def start(self, what, fault="", counts="", **ends):
        """The process, with `ends` in the place of the scenario's."""
        self.got, self.said = (open(self.folder + end, "w+b") for end in (".got", ".said"))
        out = subprocess.PIPE if what.stdout is True else self.got
        with feed(what.stdin) as source:
            return subprocess.Popen(what.arguments, executable=self.command, stderr=self.said,
                                    env=self.environment(what, fault, counts),
                                    **{"stdin": source, "stdout": out} | ends)

    def finish(self, child):
        """Waits, for a time, and says what came out; without a code it was ended here."""
        code = None
        try:
            piped, _ = child.communicate(timeout=self.patience)
            code = child.returncode
        except subprocess.TimeoutExpired:
            child.kill()
            piped, _ = child.communicate()
        got, said = (os.pread(end.fileno(), 1 << 24, 0) for end in (self.got, self.said))
        return outcome(code, said.decode(errors="replace"), piped or got, self.look())

    def run(self, what, fault="", counts=""):
        self.lay(what)
        return self.finish(self.start(what, fault, counts))


def feed(name):
    """What a run reads: a file, or a pipe at whose other end is a thread of ours."""
    if name not in DATA:
        return open(name.strip("<"), "rb")
    ends = os.pipe()
    threading.Thread(target=_write, args=(ends[1], DATA[name])).start()
    return open(ends[0], "rb")


def _write(pipe, data):
    with contextlib.suppress(BrokenPipeError), open(pipe, "wb") as file:
        file.write(data)


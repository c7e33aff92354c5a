"""Random jobs of the command with the output that is right.

A record is made of three cells: `a`, bytes of which many are equal; `n`, a number; and `f`, of
any width, in which nobody looks.  How they lie, what frames them, which of them are keys, sums
or looked at by a filter is drawn, and the right output made by stable sorts.  A job may be
spoiled: then nothing is known but that all runs of it agree.
"""
import operator
import random
import struct

FRAMINGS = {"rdw": (">HH", 4), "be16z": (">HH", 0), "be32": (">I", 0), "le32": ("<I", 0),
            "be16": (">H", 0), "bdw": (">HH", 4)}
ENDS = {"lf": b"\n", "crlf": b"\r\n", "cr": b"\r"}
OPERATORS = {"<": operator.lt, ">=": operator.ge, "==": operator.eq, "!=": operator.ne}
BLOCK = 6000  # bytes of a block of bdw
HUGE = 32000  # bytes of a line that a copy may still have
SIZES = [300, 30000, 300000, 300000, 1500000, 4500000]  # of all inputs, or less


def prefixed(framing, data):
    how, more = FRAMINGS[framing]
    return struct.pack(how, *(len(data) + more, 0)[:len(how) - 1]) + data


class job:
    def __init__(self, seed):
        self.rng = random.Random(seed)
        self.verb = self.rng.choice(["sort", "sort", "sort", "merge", "copy", "check"])
        self.words = [self.verb]
        self.chooseform()
        self.chooseorder()
        self.choosefilter()
        self.settled = True  # no input is out of order where that matters
        inputs = self.makerows()
        self.inputs = [self.lay(rows) for rows in inputs]
        self.right = self.expect(inputs)
        if self.maybe(0.3):
            self.right = None
            for _ in range(self.rng.choice([1, 1, 3])):
                at = self.rng.randrange(len(self.inputs))
                self.inputs[at] = self.spoil(self.inputs[at])

    def maybe(self, chance):
        return self.rng.random() < chance

    def say(self, *words, when=True):
        self.words += words * bool(when)

    # ---- options --------------------------------------------------------------------

    def chooseform(self):
        self.form = form = self.rng.choice(["fixed", "variable", "columns", "fields"])
        self.text = form in ("columns", "fields")
        self.wide = {"a": self.rng.choice([1, 3, 8, 20]), "n": self.rng.choice([3, 5]),
                     "f": self.rng.choice([0, 4, 40, 300])}
        self.order = self.rng.choice(["anf", "naf"])
        self.end, self.framing = self.rng.choice(list(ENDS)), self.rng.choice(list(FRAMINGS))
        self.separator = self.rng.choice([",", "::", "\t"]) * (form == "fields")
        if self.verb == "copy" and self.text and self.maybe(0.1):
            self.wide["f"] = HUGE
        self.loose = form == "fields" and self.maybe(0.5)  # numbers without zeros ahead
        widest = sum(self.wide.values())
        self.say("--fixed", str(widest), when=form == "fixed")
        self.say("--variable", str(widest), "--framing", self.framing, when=form == "variable")
        self.say("--columns", when=form == "columns")
        self.say("-t", self.separator, when=self.separator)
        self.say("--eol", self.end, when=self.text and self.maybe(0.5))
        self.say("--max-line", str(widest + 4), when=self.text and self.maybe(0.3))
        self.blocked = form == "variable" and self.framing == "bdw"
        self.say("--block-size", str(BLOCK), when=self.blocked and self.verb != "check")
        self.header = self.rng.choice([0, 0, 0, 1, 3])
        self.say("--header", str(self.header), when=self.header)
        self.marked = self.text and self.maybe(0.15)
        self.say("--dos-eof", when=self.marked)
        self.say("--short", "drop", when=self.maybe(0.2))

    def place(self, cell, order, typed=False):
        """How a cell is called: by its bytes, or as a field."""
        if self.form == "fields":
            return str(order.index(cell) + 1)
        at = 1 + sum(self.wide[ahead] for ahead in order[:order.index(cell)])
        return f"{at},{self.wide[cell]}" + ",zd" * (typed and not self.text)

    def chooseorder(self):
        """Keys, what becomes of equal ones, and the shape of the output."""
        self.keys = self.rng.choice(["", "a", "a", "n", "an", "na"]) * (self.verb != "copy")
        self.fold = self.rng.choice(["", "", "unique", "sum"]) * (self.verb != "copy")
        # A sum lies so far ahead of a variable record's end.
        if self.fold == "sum" and (self.verb == "check" or self.keys != "a" or
                                   self.wide["a"] < 4 and self.form == "variable"):
            self.fold = ""
        self.out = self.order
        if self.verb != "check" and self.fold and self.keys:
            # Nothing is left in which records of a key differ.
            self.out = "n" * (self.fold == "sum") + self.keys
        elif self.verb != "check" and self.maybe(0.2):
            self.out = self.rng.choice(["na", "an"])
        self.loose = self.loose and self.fold != "sum"
        descending = self.verb != "copy" and self.maybe(0.2)
        self.descending = [descending for _ in self.keys or " "]
        self.say("-r", when=descending)
        self.say("-s", when=self.verb == "sort" and self.keys and not self.fold)
        self.say("-u", when=self.fold == "unique")
        for at, key in enumerate(self.keys):
            turned = self.maybe(0.3)
            letters = "n" * (key == "n" and self.loose) + "r" * turned
            word = self.place(key, self.out, self.maybe(0.5) and key == "n")
            if self.form == "fields":
                self.say("-k", word + letters)
                self.descending[at] = turned if letters else descending
            else:
                self.say("-k", word + ",d" * turned)
                self.descending[at] = turned or descending
        width = f":{self.wide['n']}" * (self.form == "fields")
        if self.fold == "sum":
            self.say("--sum", self.place("n", self.out, True) + width)
        sign = "$" * (self.form == "fields")
        self.say("--rebuild", " ".join(sign + self.place(cell, self.order) for cell in self.out),
                 when=self.out != self.order)

    def choosefilter(self):
        sign, limit = self.rng.choice(list(OPERATORS)), self.rng.randrange(100)
        self.takes = lambda row: True
        if self.maybe(0.3) and (self.verb, self.fold) != ("check", "unique"):
            self.takes = lambda row: OPERATORS[sign](row[1], limit)
            at = self.place("n", self.order, True)
            field = f"${at}" if self.form == "fields" else f"[{at}]"
            self.say("-w", f"{field} {sign} {limit}")

    # ---- records --------------------------------------------------------------------

    def makerows(self):
        """The rows of each input."""
        rng, wide = self.rng, self.wide
        bytes_ = range(1, 256) if not self.text else sorted(set(range(33, 256)) - set(b",:"))
        letters = b"abcdefgh" if self.maybe(0.7) else bytes_
        pool = [bytes(rng.choices(letters, k=wide["a"]))
                for _ in range(rng.choice([1, 2, 20, 3000]))]
        least = wide["f"] if self.form == "fixed" else 0
        fillers = [bytes(rng.choices(bytes_, k=rng.randint(least, wide["f"]))) for _ in range(200)]
        count = rng.randint(0, min(60000, 2 * rng.choice(SIZES) // sum(wide.values())))
        most = 99
        if self.fold == "sum" and self.maybe(0.9):  # all sums fit
            most = min(most, 10 ** wide["n"] // (count + 1))
        rows = list(zip(rng.choices(pool, k=count), rng.choices(range(most + 1), k=count),
                        rng.choices(fillers, k=count)))
        cuts = sorted(rng.choices(range(count + 1), k=rng.choice([0, 0, 1, 4])))
        cuts = [] if self.verb == "check" else cuts
        inputs = [rows[begin:end] for begin, end in zip([0] + cuts, cuts + [count])]
        if self.verb in ("merge", "check") or self.maybe(0.2):
            inputs = [self.sorted(each) for each in inputs]
            if self.maybe(0.15):
                self.unsettle(self.rng.choice(inputs))
            if self.verb == "check" and self.fold and self.maybe(0.8):
                inputs[0] = list({self.key(row): row for row in inputs[0]}.values())
            if self.verb == "sort" and self.maybe(0.5):
                inputs = [each[::-1] for each in inputs]
        return inputs

    def unsettle(self, rows):
        for _ in range(self.rng.choice([1, 4])):
            one, other = (self.rng.randrange(max(len(rows), 1)) for _ in range(2))
            rows[one:one + 1], rows[other:other + 1] = rows[other:other + 1], rows[one:one + 1]
        self.settled = False

    def key(self, row):
        return tuple(row["an".index(key)] for key in self.keys) or self.data(row, self.out)

    def sorted(self, rows):
        if not self.keys:
            return sorted(rows, key=self.key, reverse=self.descending[0])
        for key, descending in reversed(list(zip(self.keys, self.descending))):
            rows = sorted(rows, key=operator.itemgetter("an".index(key)), reverse=descending)
        return rows

    def data(self, row, order):
        number = b"%d" % row[1] if self.loose else b"%0*d" % (self.wide["n"], row[1])
        if row[2] is True and not self.text:  # a sum, with its sign
            number = number[:-1] + bytes([number[-1] + 16])
        cells = {"a": row[0], "n": number, "f": row[2]}
        return self.separator.encode().join([cells[cell] for cell in order])

    def frame(self, records):
        if self.form == "fixed":
            return b"".join(records)
        if self.text:
            return b"".join(record + ENDS[self.end] for record in records)
        framed = [prefixed(self.framing, data) for data in records]
        if not self.blocked:
            return b"".join(framed)
        blocks = [bytearray()]
        for one in framed:
            if len(blocks[-1]) + len(one) + 4 > BLOCK:
                blocks.append(bytearray())
            blocks[-1] += one
        return b"".join(prefixed("bdw", block) for block in blocks if block)

    def heading(self):
        row = (b"h" * self.wide["a"], 0, b"h" * self.wide["f"])
        return [self.data(row, self.order)] * self.header

    def lay(self, rows):
        """An input's bytes."""
        data = self.frame(self.heading() + [self.data(row, self.order) for row in rows])
        if self.text and len(rows) > 1 and self.maybe(0.3):
            data = data[:-len(ENDS[self.end])]
        return data + b"\x1arest" * self.marked

    def expect(self, inputs):
        """The right output; None where it is not known."""
        rows = [row for each in inputs for row in each if self.takes(row)]
        if self.verb == "check" or not self.settled or self.blocked and self.header:
            return None
        rows = rows if self.verb == "copy" else self.sorted(rows)
        if self.fold:
            groups = {self.key(row): [] for row in rows}
            for row in rows:
                groups[self.key(row)].append(row)
            rows = [group[-1] for group in groups.values()]
            if self.fold == "sum":
                rows = [(*group[0][:1], sum(row[1] for row in group), len(group) > 1)
                        for group in groups.values()]
            if any(row[1] >= 10 ** self.wide["n"] for row in rows):
                return None
        head = self.frame(self.heading())
        return head + self.frame([self.data(row, self.out) for row in rows]) + b"\x1a" * self.marked

    def isdealable(self):
        return (self.verb == "sort" and self.right is not None and not self.fold and self.keys and
                not self.header and not self.marked and self.out == self.order)

    def spoil(self, data):
        """Some bytes are lost, others or more than there were."""
        at = self.rng.randint(0, len(data))
        more = self.rng.choice([b"", b"x", b"12,", b"\n", b"\r", b"\1", b"~" * 700, b"~" * 400000,
                                b"q\r\n", b"1\n2\n", bytes(self.rng.choices(range(1, 256), k=3))])
        return data[:at] + more + data[at + self.rng.choice([0, 0, 1, len(more), 1 << 40]):]

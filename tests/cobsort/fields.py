"""Fields of random COBOL records: how they are declared, and what they hold.

A column is a field of a record with the few values that its field takes there: ties abound.
Dirt is what no program should store in such a field, and some do.
"""
import struct

SIGNS = ["", "SIGN TRAILING", "SIGN LEADING", "SIGN TRAILING SEPARATE", "SIGN LEADING SEPARATE"]
TYPED = {"BINARY-CHAR": 1, "BINARY-SHORT": 2, "BINARY-LONG": 4, "BINARY-DOUBLE": 8}
EDITED = {"Z(4)9.99-": 9, "$$,$$9.99CR": 11, "XXBXX/X": 7, "+9(4)": 5, "*(5)9": 6}
FLOATS = {"COMP-1": "<f", "COMP-2": "<d"}
NUMERIC = ["DISPLAY", "DISPLAY", "DISPLAY", "COMP-3", "COMP-3", "COMP", "COMP", "COMP-5", "COMP-X",
           "COMP-6", "TYPED"]
TEXTS = ["X", "X", "X", "A", "N", "EDITED", "JUST"]
EBCDIC = b"{ABCDEFGHI", b"}JKLMNOPQR"


def display(value, digits, sign, ebcdic):
    """A number in digits; sign None is unsigned."""
    text = bytearray(b"%0*d" % (digits, abs(value)))
    minus = value < 0 or value is MINUSZERO
    if sign is None:
        return bytes(text)
    if "SEPARATE" in sign:
        mark = b"-" if minus else b"+"
        return bytes(mark + text if "LEADING" in sign else text + mark)
    at = 0 if "LEADING" in sign else -1
    if ebcdic:
        text[at] = EBCDIC[minus][text[at] - 48]
    elif minus:
        text[at] += 64
    return bytes(text)


class minuszero(int):
    """Nought with the sign of the negative, where there is one."""


MINUSZERO = minuszero(0)


def packed(value, digits, signed, nibbled):
    minus = value < 0 or value is MINUSZERO
    text = "%0*d" % (digits, abs(value)) + ("dc"[not minus] if signed else "f") * nibbled
    return bytes.fromhex("0" * (len(text) % 2) + text)


def numeric(rng, ebcdic):
    """Clause and coder of a number."""
    usage, signed = rng.choice(NUMERIC), rng.random() < 0.6
    most = {"DISPLAY": 38, "COMP-3": 38, "COMP-6": 18}.get(usage, 18)
    digits = min(most, rng.choice([1, 2, 3, 4, 5, 6, 7, 9, 10, 15, 18, 19, 31, 38]))
    signed = signed and usage != "COMP-6"
    limit = 10 ** digits - 1
    shape = rng.choice(["9({0})"] * 6 + ["9({1})V9", "V9({0})", "9({0})P(2)", "P(3)9({0})"])
    if digits == 1 and "{1}" in shape or "P" in shape and digits > 15:
        shape = "9({0})"
    picture = "PIC " + "S" * signed + shape.format(digits, digits - 1)
    if usage == "TYPED":
        usage = rng.choice(list(TYPED))
        limit = 256 ** TYPED[usage] // 2 - 1
        picture, size, order = "", TYPED[usage], "little"
        usage += "" if signed else " UNSIGNED"
    elif usage == "DISPLAY":
        sign = rng.choice(SIGNS) if signed else None
        return f"{picture} {sign or ''}", limit, lambda value: display(value, digits, sign, ebcdic)
    elif usage in ("COMP-3", "COMP-6"):
        return (f"{picture} {usage}", limit,
                lambda value: packed(value, digits, signed, usage == "COMP-3"))
    elif usage == "COMP-X":
        size, order = (limit.bit_length() + 7) // 8, "big"
        limit = min(limit, 256 ** size // 2 - 1)
    else:
        size = next(size for size, most in ((1, 2), (2, 4), (4, 9), (8, 18)) if digits <= most)
        order = "big" if usage == "COMP" else "little"
    return (f"{picture} {usage}", limit,
            lambda value: int(value if signed else abs(value)).to_bytes(size, order, signed=signed))


class column:
    def __init__(self, rng, name, room, ebcdic, dirty, floats):
        self.name, self.rng = name, rng
        count = rng.choice([1, 2, 3, 12, 500])
        kind = rng.random()
        if floats and kind < 0.3:
            self.pool = self.floats(*rng.choice(list(FLOATS.items())), count)
        elif kind < 0.65:
            self.pool = self.numbers(*numeric(rng, ebcdic), count)
        else:
            self.pool = self.texts(rng.choice(TEXTS), count)
        self.size = len(self.pool[0])
        if self.size > room:
            self.size = rng.randint(1, room)
            self.clause = f"PIC X({self.size})"
            self.pool = [each[:self.size] for each in self.pool]
        if dirty and rng.random() < 0.6:
            self.pool += [self.dirt() for _ in range(rng.choice([1, 2, 2 * count]))]

    def floats(self, usage, code, count):
        rng, self.clause = self.rng, usage
        base = [rng.choice([0.0, 1.0, -1.5, 1e-7, 3e9, rng.uniform(-9, 9)]) for _ in range(count)]
        near = [each * (1 + rng.choice([0, 0, 1e-8, -3e-8, 5e-7, 1e-5])) +
                rng.choice([0, 0, 1e-8, 9e-8, -2e-7]) for each in base]
        return [struct.pack(code, each) for each in base + near + [-0.0] * (count > 2)]

    def numbers(self, clause, limit, code, count):
        rng, self.clause = self.rng, clause
        edge = rng.choice([1, 9, 300, limit, limit])
        values = [min(limit, rng.randint(0, edge)) * rng.choice([1, -1]) for _ in range(count)]
        values += [0, MINUSZERO, limit, -limit] * (rng.random() < 0.4)
        return [code(value) for value in values]

    def texts(self, kind, count):
        rng, size = self.rng, self.rng.choice([1, 2, 3, 5, 8, 20, 60])
        letters = rng.choice([b"ab", b"abcABCZz019 ", bytes(range(32, 127)), bytes(range(256))])
        self.clause = f"PIC X({size})" + " JUST" * (kind == "JUST")
        if kind == "EDITED":
            picture, size = rng.choice(list(EDITED.items()))
            self.clause, letters = f"PIC {picture}", b" 0123456789.-/"
        elif kind in "AN":
            self.clause = f"PIC {kind}({size})"
            size *= 1 + (kind == "N")
        return [bytes(rng.choices(letters, k=size)) for _ in range(count)]

    def dirt(self):
        rng, one = self.rng, bytearray(self.rng.choice(self.pool))
        at = rng.randrange(len(one))
        one[at] = rng.choice([0, 32, 65, 255, 45, 43, 13, 125, 112, 31, rng.randrange(256)])
        return rng.choice([bytes(one), bytes(one), b" " * at + bytes(one[at:]),
                           rng.randbytes(self.size)] +
                          [bytes([each]) * self.size for each in (0, 32, 255)])


class layout:
    """A record of columns, one of them perhaps a group, with a number that no other has last."""

    def __init__(self, rng, prefix, ebcdic, width, floats):
        self.rng, self.prefix = rng, prefix
        dirty = rng.random() < 0.25
        self.serial = min(width // 3, 6)
        self.columns, room = [], width - self.serial
        while room and len(self.columns) < 7:
            one = column(rng, f"{prefix}-C{len(self.columns)}", room, ebcdic, dirty, floats)
            self.columns.append(one)
            room -= one.size
        self.filler = rng.choice([0, room, min(room, 40)]) if width > 1000 else 0
        self.size = sum(each.size for each in self.columns) + self.filler + self.serial
        self.group = (rng.randrange(len(self.columns)), rng.randint(1, 3))
        self.grouped = rng.random() < 0.4

    def declare(self):
        """The lines of the fields, at levels of 05 and above."""
        lines, (at, count) = [], self.group
        for number, each in enumerate(self.columns):
            if self.grouped and number == at:
                lines.append(f" 05 {self.prefix}-G.")
            level = 10 if self.grouped and at <= number < at + count else 5
            lines.append(f" {level:02} {each.name} {each.clause}.")
        if self.filler:
            lines.append(f" 05 FILLER PIC X({self.filler}).")
        if self.serial:
            lines.append(f" 05 {self.prefix}-SERIAL PIC X({self.serial}).")
        return lines

    def keys(self, whole):
        """What may be a key, drawn; `whole` is the name of the record."""
        names = [each.name for each in self.columns] + [f"{self.prefix}-G"] * self.grouped
        if self.rng.random() < 0.05:
            return [whole]
        names = self.rng.sample(names, min(len(names), self.rng.choice([1, 1, 2, 3, 5])))
        return names

    def row(self, number):
        cells = [self.rng.choice(each.pool) for each in self.columns]
        return b"".join(cells) + b"." * self.filler + (b"%06d" % number)[6 - self.serial:]

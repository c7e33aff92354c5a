"""Random COBOL programs that sort and merge, with the files that they read.

A program is a row of steps: SORT or MERGE of files or by procedures, or SORT of a table.  A step
may be performed in a procedure of another's.  After every step the program displays SORT-RETURN
and all file status, and reads an indexed file back that it wrote.
"""
import random
import struct

import fields

ALPHABETS = {"AL-STD": "STANDARD-1", "AL-EBC": "EBCDIC", "AL-NAT": "NATIVE",
             "AL-OWN": '"Z" THRU "A" "a" ALSO "b" ALSO "c" "9" THRU "0" X"00" THRU X"1F"'}
ORGANIZATIONS = ["SEQUENTIAL"] * 5 + ["VARYING", "TWO"] + ["LINE SEQUENTIAL"] * 2 + [
    "RELATIVE", "INDEXED"]
WIDTHS = [1, 2, 5, 12, 20, 40, 40, 80, 80, 120, 300, 5000, 32000]
COUNTS = [0, 1, 9, 40, 150, 400, 400, 1500]
SETTINGS = [("VARSEQ_FORMAT", "1"), ("VARSEQ_FORMAT", "3"), ("LS_FIXED", "true"), ("SYNC", "true"),
            ("LS_NULLS", "true"), ("LS_VALIDATE", "false"), ("MF_FILES", "true")]
MANY = 100000  # records that no small storage holds
STOPS = ["STOP RUN", "STOP RUN 3", "GOBACK", "MOVE 1 TO TOOBIG(ZERO-N)", "CALL \"NOBODY\""]
PRINTABLE = bytes(at if 32 <= at < 127 else 33 + at % 90 for at in range(256))


class datafile:
    """A file other than of a sort; `rows` is what it holds before the run, None is no file."""

    def __init__(self, program, name, width, rows=None):
        rng = self.rng = program.rng
        # A database that cannot grow speaks for itself, and not always alike.
        self.organization = rng.choice(ORGANIZATIONS[:-1] if program.limit else ORGANIZATIONS)
        self.name, self.width = name, width
        self.least = rng.randint(1, width) if self.organization in ("VARYING", "TWO") else width
        self.place = name.lower() + {"INDEXED": ".idx"}.get(self.organization, ".dat")
        self.isloaded = self.organization in ("RELATIVE", "INDEXED") and rows is not None
        self.status = f"ST-{name}" if program.hasstatus and rng.random() < 0.95 else None
        self.isdynamic = self.organization in ("RELATIVE", "INDEXED") and rng.random() < 0.5
        self.rows, self.words, self.isopened = rows, [], rows is not None
        assign = rng.choice(["LITERAL"] * 5 + ["VARIABLE", "EXTERNAL"])
        if rows is None and self.organization != "INDEXED" and rng.random() < 0.06:
            self.place, assign = rng.choice(["nofolder/out", "/dev/full", "folder"]), "LITERAL"
        self.assign = f'"{self.place}"'
        if assign == "VARIABLE":
            program.storage.append(f'01 PL-{name} PIC X(30) VALUE "{self.place}".')
            self.assign = f"PL-{name}"
        elif assign == "EXTERNAL":
            program.environment["DD_EX" + name] = self.place
            self.assign = f"EXTERNAL EX{name}"
        self.optional = "OPTIONAL " * (rng.random() < 0.2)

    def select(self):
        organization = self.organization
        if organization in ("VARYING", "TWO"):
            organization = "SEQUENTIAL"
        more = " ACCESS DYNAMIC" * self.isdynamic
        if self.organization == "INDEXED":
            more += f" RECORD KEY {self.name}-KEY"
        elif self.organization == "RELATIVE" and self.isdynamic:
            more += f" RELATIVE KEY RK-{self.name}"
        more += f" FILE STATUS {self.status}" if self.status else ""
        return (f"SELECT {self.optional}{self.name} ASSIGN {self.assign}"
                f" ORGANIZATION {organization}{more}.")

    def declare(self):
        head = f"FD {self.name}"
        if self.organization == "VARYING" and self.least < self.width:
            head += f" RECORD VARYING FROM {self.least} TO {self.width} DEPENDING LEN-{self.name}"
        key = max(1, min(self.width // 2, 12))
        lines = [head + ".", f"01 {self.name}-REC.", f" 05 {self.name}-KEY PIC X({key})."]
        lines += [f" 05 FILLER PIC X({self.width - key})."] * (self.width > key)
        if self.organization == "TWO":
            lines += [f"01 {self.name}-SHORT PIC X({self.least})."]
        return lines

    def contents(self):
        """The bytes of the file, or of the one it is loaded from."""
        rng, data = self.rng, b""
        for row in self.rows:
            row = row[:self.width].ljust(self.width)
            if self.least < self.width:
                row = row[:rng.randint(self.least, self.width)]
                data += struct.pack(">HH", len(row), 0)
            elif self.organization == "LINE SEQUENTIAL":
                row = row.translate(PRINTABLE).rstrip() + b"x" * rng.choice([0, 0, 0, 3]) + b"\n"
            data += row
        if rng.random() < 0.1:
            data = data[:rng.randint(0, len(data))]
        return data


class program:
    def __init__(self, seed):
        rng = self.rng = random.Random(seed)
        self.flags = ["-fsign=EBCDIC"] * (rng.random() < 0.25) + ["-debug"] * (rng.random() < 0.2)
        self.flags += ["-fbinary-byteorder=native"] * (rng.random() < 0.1)
        self.ebcdic = "-fsign=EBCDIC" in self.flags
        self.floats, self.hasstatus = rng.random() < 0.1, rng.random() < 0.85
        self.many = rng.random() < 0.06
        self.most = MANY * 2 if self.many else 6000  # passes through a loop that does not end
        self.limit = rng.choice([200, 3000, 30000]) if rng.random() < 0.06 else None
        self.sorts, self.files, self.storage, self.environment = [], [], [], {}
        self.steps, self.written, self.count = [], [], 0
        self.environment["COB_SORT_MEMORY"] = rng.choice(["1048576", "128M", "20M"])
        if rng.random() < 0.1:
            self.environment["COB_FILE_PATH"] = "./folder"
        if rng.random() < 0.15:
            name, setting = rng.choice(SETTINGS)
            self.environment["COB_" + name] = setting
        main = [self.step(2) for _ in range(rng.choice([2, 3, 5]))]
        lines = self.head() + self.declaratives() + self.main(main) + self.steps
        self.text = "\n".join(lines) + "\n"
        self.inputs = {self.path(each): each.contents() for each in self.files
                       if each.rows is not None and rng.random() > 0.04}

    def path(self, file):
        place = file.place + ".load" * file.isloaded
        isinfolder = "COB_FILE_PATH" in self.environment and "/" not in place
        return "folder/" * isinfolder + place

    # ---- the parts of the text --------------------------------------------------------

    def head(self):
        rng = self.rng
        collating = f" PROGRAM COLLATING SEQUENCE {rng.choice(list(ALPHABETS))}"
        lines = ["IDENTIFICATION DIVISION.", "PROGRAM-ID. RANDOMSORT.", "ENVIRONMENT DIVISION.",
                 "CONFIGURATION SECTION.",
                 "OBJECT-COMPUTER. BOX" + collating * (rng.random() < 0.15) + ".",
                 "SPECIAL-NAMES."]
        lines += [f" ALPHABET {name} IS {what}" for name, what in ALPHABETS.items()]
        lines += [".", "INPUT-OUTPUT SECTION.", "FILE-CONTROL."]
        lines += [each.select() for each in self.files]
        lines += [f'SELECT {each.prefix} ASSIGN "sortwork" FILE STATUS ST-{each.prefix}.'
                  for each in self.sorts]
        loads = [each for each in self.files if each.isloaded]
        lines += [f'SELECT LD-{each.name} ASSIGN "{each.place}.load" ORGANIZATION SEQUENTIAL'
                  f' FILE STATUS ST-LD.' for each in loads]
        lines += ["DATA DIVISION.", "FILE SECTION."]
        for each in self.files:
            lines += each.declare()
        for each in loads:
            lines += [f"FD LD-{each.name}.", f"01 LD-{each.name}-REC PIC X({each.width})."]
        for each in self.sorts:
            least = rng.randint(1, each.size)
            isvarying = least < each.size and rng.random() < 0.2
            varying = f" RECORD VARYING FROM {least} TO {each.size}" * isvarying
            lines += [f"SD {each.prefix}{varying}."]
            lines += [f"01 {each.prefix}-REC."] + each.declare()
        names = [each.name for each in self.files] + [each.prefix for each in self.sorts] + ["LD"]
        lines += ["WORKING-STORAGE SECTION."]
        lines += [f'01 ST-{name} PIC XX VALUE "..".' for name in names]
        for each in self.files:
            lines += [f"01 LEN-{each.name} PIC 9(5) VALUE {each.width}.",
                      f"01 RK-{each.name} PIC 9(6) VALUE 1."]
        lines += ["01 ZERO-N PIC 9 VALUE 0.", "01 TB.", " 05 TOOBIG PIC 9 OCCURS 3 TIMES."]
        return lines + self.storage + ["PROCEDURE DIVISION."]

    def declaratives(self):
        files = [each for each in self.files if self.rng.random() < 0.3]
        if not files or self.rng.random() < 0.8:
            return []
        lines = ["DECLARATIVES."]
        for each in files:
            lines += [f"DE-{each.name} SECTION. USE AFTER STANDARD ERROR PROCEDURE ON {each.name}.",
                      f'DE-{each.name}-P. DISPLAY "DECL {each.name} " ST-{each.name}.']
        return lines + ["END DECLARATIVES."]

    def main(self, steps):
        lines = ["MAIN-S SECTION.", "MAIN-P."]
        for each in self.sorts:
            lines += [f"  IF FUNCTION LENGTH({each.prefix}-REC) NOT = {each.size}",
                      '    DISPLAY "WRONG WIDTH" END-IF']
        for each in self.files:
            if each.isloaded:
                name = each.name
                lines += [f"  OPEN INPUT LD-{name} OUTPUT {name}",
                          '  IF ST-LD < "10" PERFORM UNTIL ST-LD > "09"',
                          f'    READ LD-{name} NOT AT END WRITE {name}-REC FROM LD-{name}-REC',
                          f"     INVALID KEY CONTINUE END-WRITE ADD 1 TO RK-{name} END-READ",
                          f"  END-PERFORM END-IF CLOSE LD-{name} {name}"]
        return lines + [f"  PERFORM {step}" for step in steps] + ["  STOP RUN."]

    # ---- steps ------------------------------------------------------------------------

    def step(self, depth):
        """Adds a step's paragraphs, and those that it performs; its name."""
        self.count += 1
        name = f"P{self.count}"
        self.storage += [f"01 N-{name} PIC 9(6) VALUE 0.", f'01 E-{name} PIC X VALUE "N".',
                         f"01 L-{name} PIC 9(6) VALUE 0."]
        kind = "TABLE" if self.rng.random() < 0.15 else self.rng.choice(["SORT"] * 6 + ["MERGE"])
        lines = self.table(name) if kind == "TABLE" else self.sort(name, kind, depth)
        self.steps += [f"{name} SECTION.", f"{name}-P."] + lines
        return name

    def order(self, layout, whole):
        words = ""
        for key in layout.keys(whole):
            if not words or self.rng.random() < 0.6:
                words += self.rng.choice([" ON ASCENDING KEY", " ON DESCENDING KEY", " DESCENDING"])
            words += " " + key
        return words

    def layout(self, prefix):
        width = 12 if self.many else self.rng.choice(WIDTHS)
        return fields.layout(self.rng, prefix, self.ebcdic, width, self.floats)

    def table(self, name):
        layout, rng = self.layout(f"T{name}"), self.rng
        row, count = f"R-{name}", rng.choice([1, 2, 200, 1200])
        keys, words = self.order(layout, row), ""
        depends = count > 1 and rng.random() < 0.2
        declared = f" 03 {row} OCCURS" + f" 1 TO {count} TIMES DEPENDING D-{name}" * depends
        declared += f" {count} TIMES" * (not depends)
        if row not in keys and rng.random() < 0.3:
            declared += keys.replace(" ON", "")
            keys = ""
        self.storage += [f"01 D-{name} PIC 9(5) VALUE {rng.randint(1, count)}.", f"01 T-{name}.",
                         declared + "."] + layout.declare()
        source = self.file([layout.row(number) for number in range(count)], layout.size)
        source.organization, source.least = "SEQUENTIAL", source.width
        source.isloaded = source.isdynamic = False
        words = rng.choice(["", "", " WITH DUPLICATES IN ORDER"]) + self.collating()
        until = f"D-{name}" if depends else count
        loop = f"  PERFORM VARYING N-{name} FROM 1 BY 1 UNTIL N-{name} > {until}"
        return [f"  OPEN INPUT {source.name}", loop, f"    READ {source.name} END-READ",
                f"    MOVE {source.name}-REC TO {row}(N-{name})", "  END-PERFORM",
                f"  CLOSE {source.name}", f"  SORT {row}{keys}{words}", loop,
                f"    DISPLAY {row}(N-{name})", "  END-PERFORM."]

    def collating(self):
        name = self.rng.choice(list(ALPHABETS))
        return f" COLLATING SEQUENCE IS {name}" * (self.rng.random() < 0.2)

    def sort(self, name, kind, depth):
        rng = self.rng
        if not self.sorts or depth < 2 or rng.random() < 0.7:
            self.sorts.append(self.layout(f"S{len(self.sorts) + 1}"))
        layout = self.sorts[-1] if depth < 2 else rng.choice(self.sorts)
        sort, words = layout.prefix, f"  {kind} {layout.prefix}"
        words += self.order(layout, f"{sort}-REC")
        words += " WITH DUPLICATES IN ORDER" * (kind == "SORT" and rng.random() < 0.4)
        lines, parts = [words + self.collating()], []
        inputs = self.sources(layout, kind, depth)
        if kind == "MERGE" or rng.random() < 0.55:
            lines.append("    USING " + " ".join(each.name for each in inputs))
        else:
            lines.append(f"    INPUT PROCEDURE I-{name}")
            parts += self.inputprocedure(name, layout, inputs[0], depth)
        outputs = [self.file(None, self.near(layout.size)) for _ in range(rng.choice([1, 1, 1, 2]))]
        if rng.random() < 0.05 and inputs[0].rows is not None:
            outputs[0] = inputs[0]
        if rng.random() < 0.55:
            lines.append("    GIVING " + " ".join(each.name for each in outputs))
        else:
            lines.append(f"    OUTPUT PROCEDURE O-{name}")
            parts += self.outputprocedure(name, layout, outputs[0], depth)
        self.written += [each for each in outputs if each.place != "/dev/full"]  # has no end
        shown = [f'" {each.name} " ST-{each.name} LEN-{each.name}' for each in inputs + outputs]
        # What no program should look at, and some do; where a write failed, blocks are ahead.
        shown += [f'" " {each.name}-REC' for each in inputs + outputs
                  if each.width < 300 and not self.limit and rng.random() < 0.1]
        if layout.size < 300 and not self.limit and rng.random() < 0.1:
            shown.append(f'" " {sort}-REC')
        lines += [f'  DISPLAY "{name} " SORT-RETURN " " ST-{sort} ' + " ".join(shown)]
        for each in outputs:
            if each.organization == "INDEXED" and each.place.endswith(".idx"):
                lines += self.reading(each, name, [f"DISPLAY {each.name}-REC"])
        return lines + ["  ."] + parts

    def near(self, size):
        """A width of a file of records of `size`: mostly the same."""
        rng = self.rng
        other = max(1, size + rng.randint(-9, 30))
        return rng.choice([size] * 3 + [other])

    def file(self, rows, width):
        self.files.append(datafile(self, f"F{len(self.files) + 1}", width, rows))
        return self.files[-1]

    def sources(self, layout, kind, depth):
        """The files that a sort reads: new ones, and at times one that the run wrote before."""
        rng, count = self.rng, self.rng.choice([1, 1, 1, 2, 3])
        files = []
        for _ in range(max(count, 2) if kind == "MERGE" else count):
            rows = rng.choice(COUNTS) if layout.size < 1000 else rng.choice(COUNTS[:4])
            if self.many and len(self.files) == 0:
                rows = MANY
            rows = [layout.row(number) for number in range(rows)]
            rows = sorted(rows) if kind == "MERGE" else rows
            files.append(self.file(rows, self.near(layout.size)))
        if self.written and depth == 2 and rng.random() < 0.15:
            files[0] = rng.choice(self.written)
        return files

    def event(self, name, depth):
        """What happens in a procedure at some record, beside the records."""
        rng, kind = self.rng, self.rng.random()
        at = rng.choice([1, 1, 2, 30])
        if kind < 0.7:
            return []
        if kind < 0.75:
            what = rng.choice(STOPS[:4] if "-debug" in self.flags else STOPS[:3])
        elif kind < 0.8:
            what = "MOVE 16 TO SORT-RETURN"
        elif kind < 0.85 or depth == 0:
            what = f'MOVE "Y" TO E-{name}'
        else:
            what = f"PERFORM {self.step(depth - 1)}"
        return [f"IF N-{name} = {at} {what} END-IF"]

    def reading(self, file, name, body):
        status = f' OR {file.status} > "09"' if file.status else ""
        return [f'  MOVE 0 TO N-{name} L-{name} MOVE "N" TO E-{name}',
                f"  OPEN INPUT {file.name}",
                f'  PERFORM UNTIL E-{name} = "Y" OR L-{name} > {self.most}{status}',
                f"    ADD 1 TO L-{name}",
                f"    READ {file.name}" + " NEXT" * file.isdynamic,
                f'     AT END MOVE "Y" TO E-{name} NOT AT END ADD 1 TO N-{name}'
                ] + ["      " + each for each in body] + [
                "    END-READ", "  END-PERFORM", f"  CLOSE {file.name}"]

    def inputprocedure(self, name, layout, file, depth):
        rng, record = self.rng, f"{layout.prefix}-REC"
        head = [f"I-{name} SECTION.", f"I-{name}-P."]
        kind = rng.choice(["FILE"] * 5 + ["MADE"] * 3 + ["NONE"])
        tell = f'IF ST-{layout.prefix} NOT = "00" DISPLAY "RELEASE " ST-{layout.prefix} END-IF'
        event = self.event(name, depth)
        if kind == "NONE":
            return head + ["  CONTINUE."]
        if kind == "FILE":
            release = rng.choice([f"RELEASE {record} FROM {file.name}-REC",
                                  f"MOVE {file.name}-REC TO {record} RELEASE {record}"])
            return head + self.reading(file, name, [release, tell] + event) + ["  ."]
        values = [f"COMPUTE L-{name} = FUNCTION MOD(N-{name} * {rng.choice([7, 37])}, 11)"]
        values += [f"MOVE L-{name} TO {each.name}" for each in layout.columns
                   if "A(" not in each.clause and "PIC N" not in each.clause]
        values += [f"MOVE N-{name} TO {layout.prefix}-SERIAL"] * (layout.serial > 0)
        until = f'N-{name} > {rng.choice([3, 60])} OR E-{name} = "Y"'
        head += [f"  MOVE SPACES TO {record}",
                 f"  PERFORM VARYING N-{name} FROM 1 BY 1 UNTIL {until}"]
        body = ["    " + each for each in [*values, f"RELEASE {record}", tell, *event]]
        return head + body + ["  END-PERFORM."]

    def outputprocedure(self, name, layout, file, depth):
        rng, sort, record = self.rng, layout.prefix, f"{layout.prefix}-REC"
        event = self.event(name, depth)
        most = rng.choice([self.most] * 4 + [0, 1, 20])
        into = f" INTO {file.name}-REC" * (rng.random() < 0.5)
        take = [f"WRITE {file.name}-REC" + f" FROM {record}" * (not into)]
        take += [f"DISPLAY {record}"] * (layout.size < 300 and rng.random() < 0.3 and not self.many)
        lines = [f"O-{name} SECTION.", f"O-{name}-P.", f"  OPEN OUTPUT {file.name}",
                 f'  MOVE 0 TO N-{name} L-{name} MOVE "N" TO E-{name}',
                 f'  PERFORM UNTIL E-{name} = "Y" OR L-{name} >= {most}',
                 f"    ADD 1 TO L-{name}",
                 f'    RETURN {sort}{into} AT END MOVE "Y" TO E-{name} NOT AT END ADD 1 TO N-{name}'
                 ] + ["      " + each for each in take + event] + [
                 f'    END-RETURN IF ST-{sort} > "10" DISPLAY "RETURN " ST-{sort} END-IF',
                 "  END-PERFORM", f"  CLOSE {file.name}"]
        more = rng.random()
        if more < 0.15:
            lines += [f'  RETURN {sort} AT END DISPLAY "ENDED " END-RETURN', f"  DISPLAY ST-{sort}"]
        elif more < 0.2:
            lines += [f"  RELEASE {record}", f"  DISPLAY ST-{sort} SORT-RETURN"]
        lines += [f"  DISPLAY {record}"] * (rng.random() < 0.1)
        return lines + ["  ."]

#!/usr/bin/env python3
"""The library from Python: records are handed over one by one, sorted, and fetched back.

    kvern_ctypes.py [KEYLENGTH]

KEYLENGTH is the length of the second key; one that reaches beyond the record shows what
a refusal looks like.  KVERN_LIBRARY names the library where the system does not find it.
"""
import ctypes
import ctypes.util
import os
import struct
import sys
from ctypes import POINTER, c_char, c_char_p, c_int, c_uint8, c_uint16, c_uint32, c_void_p

VERSION_L4 = 0x11300000
SORT, FIXED = ord("s"), ord("f")
PUT_RECORD, GET_RECORD = 1, 2
CHAR, SLEBIN = 161, 199
ASCENDING, DESCENDING = 16, 32
RECORD, END = 16, 17
DONE, ENDED = 0, 1


class KVRNKEYE(ctypes.Structure):
    _fields_ = [("position", c_uint32), ("length", c_uint32), ("type", c_uint8),
                ("order", c_uint8), ("textoption", c_uint8), ("kanjiconv", c_uint8),
                ("table", c_void_p)]


class KVRNPRIM(ctypes.Structure):
    _fields_ = [("reserved0", c_uint32), ("function", c_uint8), ("recform", c_uint8),
                ("options", c_uint8), ("fileoprat", c_uint8), ("recoprat", c_uint8),
                ("reserved9", c_uint8), ("cdmode", c_uint8), ("reserved11", c_uint8),
                ("reclen", c_uint32), ("mergecnt", c_uint32), ("memsize", c_uint32),
                ("memaddr", c_void_p), ("reserved28", c_uint32), ("separator", c_char_p),
                ("tmpopt", c_uint8), ("fieldmode", c_uint8), ("keyoption", c_uint8),
                ("keyoption2", c_uint8), ("linedlmt", c_uint8), ("reserved41", c_uint8),
                ("altmode", c_uint8)]


class KVRNSESS(ctypes.Structure):
    _fields_ = [("ctx", c_void_p), ("detail", c_uint32), ("putcount", c_uint32),
                ("getcount", c_uint32), ("recaddr", c_void_p), ("reclen", c_uint32),
                ("code", c_uint8), ("mergestat", c_uint8), ("inputno", c_uint16),
                ("outaddr", c_void_p), ("outlen", c_uint32), ("ctxhandle", c_void_p),
                ("syserr", c_uint32)]


RECORDCALL = ctypes.CFUNCTYPE(c_int, POINTER(KVRNSESS))


class KVRNLINK(ctypes.Structure):
    _fields_ = [("chkp", RECORDCALL), ("chkg", RECORDCALL), ("chkm", RECORDCALL),
                ("init", c_void_p), ("term", c_void_p), ("reserved20", c_void_p),
                ("reserved24", c_void_p), ("module", c_void_p)]


def key_table(entries):
    """KVRNKEY: the count, then the entries, as many as there are."""
    class KVRNKEY(ctypes.Structure):
        _fields_ = [("count", c_uint32), ("entry", KVRNKEYE * len(entries))]
    return KVRNKEY(len(entries), (KVRNKEYE * len(entries))(*entries))


def load():
    name = os.environ.get("KVERN_LIBRARY") or ctypes.util.find_library("kvern")
    library = ctypes.CDLL(name or "libkvern.so.1")
    # Without these, ctypes would hand pointers over as ints of 32 bits.
    link, prim, sess = POINTER(KVRNLINK), POINTER(KVRNPRIM), POINTER(KVRNSESS)
    library.kvrnopen.argtypes = [c_uint32, link, prim, sess, c_void_p, c_void_p, c_void_p]
    library.kvrnclse.argtypes = [c_uint32, link, prim, sess]
    library.kvrntext.argtypes = [sess, POINTER(c_char), ctypes.c_uint]
    return library


class KvernError(Exception):
    def __init__(self, call, detail, text):
        super().__init__(f"{call}: detail {detail} {text}")
        self.detail = detail


class Session:
    """One sort of fixed records.  The blocks live as long as the object, at one place:
    the engine knows them by their address."""

    def __init__(self, library, reclen, keys):
        self.library = library
        self.link, self.sess = KVRNLINK(), KVRNSESS()
        self.prim = KVRNPRIM(function=SORT, recform=FIXED, reclen=reclen,
                             recoprat=PUT_RECORD | GET_RECORD)
        table = key_table(keys)
        result = library.kvrnopen(VERSION_L4, self.link, self.prim, self.sess,
                                  ctypes.byref(table), None, None)
        if result != DONE:
            failure = self.failure("open")
            self.close()
            raise failure

    def failure(self, call):
        text = ctypes.create_string_buffer(256)
        self.library.kvrntext(self.sess, text, len(text))
        return KvernError(call, self.sess.detail, text.value.decode("latin-1"))

    def put(self, record):
        self.sess.code = RECORD
        self.sess.recaddr = ctypes.cast(c_char_p(record), c_void_p)  # copied by the call
        self.sess.reclen = len(record)
        if self.link.chkp(self.sess) != DONE:
            raise self.failure("put")

    def sorted(self):
        self.sess.code = END
        if self.link.chkp(self.sess) != ENDED:
            raise self.failure("end of input")
        while (result := self.link.chkg(self.sess)) == DONE:
            yield ctypes.string_at(self.sess.recaddr, self.sess.reclen)
        if result != ENDED:
            raise self.failure("get")

    def close(self):
        return self.library.kvrnclse(VERSION_L4, self.link, self.prim, self.sess)

    def __enter__(self):
        return self

    def __exit__(self, kind, *_):
        failure = self.failure("close")  # the text goes with the session
        if self.close() != DONE and kind is None:
            raise failure


def main():
    cities = [("Oslo", 709037), ("Bergen", 291940), ("Aarhus", 290598),
              ("Hamar", 28535), ("Trondheim", 291940), ("Nowhere", -1)]
    layout = struct.Struct("<12si")
    keys = [KVRNKEYE(12, 4, SLEBIN, DESCENDING),
            KVRNKEYE(0, int(sys.argv[1]) if len(sys.argv) > 1 else 12, CHAR, ASCENDING)]
    try:
        with Session(load(), layout.size, keys) as session:
            for name, people in cities:
                session.put(layout.pack(name.encode(), people))
            for record in session.sorted():
                name, people = layout.unpack(record)
                print(f"{name.rstrip(bytes(1)).decode():12} {people:7}")
    except KvernError as error:
        print(error, file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())

/*
 * kvern.h - the public interface of the Kvern sort, merge and copy engine.
 *
 * A program describes a session in parameter blocks, opens it with kvrnopen,
 * exchanges records through kvrnput, kvrnget or kvrnmrge where a side of the
 * session has no file, and ends it with kvrnclse.  Every call tells success or
 * failure by its result and the reason by the detail code in KVRNSESS.
 *
 * Usable from C99 and C++.  On 32-bit targets every member lies at the byte
 * offset that is documented in docs/blocks.md (asserted at the end of this
 * file); on 64-bit targets pointers have their natural width and alignment.
 * All integers are little-endian, all lengths and positions are in bytes and
 * count from 0.  The caller owns every block; the engine reads KVRNPRIM,
 * KVRNKEY, KVRNFILE and KVRNOPT only during kvrnopen and keeps copies.  It
 * writes back to KVRNPRIM: fileoprat (level 0), recoprat (225 becomes 3),
 * memsize and memaddr.
 */
#ifndef KVERN_H
#define KVERN_H

#include <stddef.h>
#include <stdint.h>

#if defined(_WIN32)
#define KVRN_CALL __cdecl
#else
#define KVRN_CALL
#endif

/* Anonymous unions are C11 and C++; older C compilers take them as an
 * extension, which this word keeps quiet. */
#if defined(__GNUC__) && !defined(__cplusplus)
#define KVRN_UNION __extension__ union
#else
#define KVRN_UNION union
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ------------------------------------------------------------------ codes */

/* Interface versions: the first argument of kvrnopen and kvrnclse.  Level 0
 * and level 2 accept the whole family (low 16 bits free), the others the exact
 * word only.  The level gates which fields of KVRNPRIM are read. */
enum {
    KVRN_VERSION_L0 = 0x01100000,
    KVRN_VERSION_L0_LEBIN = 0x01100001,   /* level 0; key type 198 is taken as 199 */
    KVRN_VERSION_L2_OLDDLMT = 0x11100000, /* level 2; linedlmt is read from byte 39 */
    KVRN_VERSION_L2 = 0x11100001,
    KVRN_VERSION_L3 = 0x11200000,
    KVRN_VERSION_L4 = 0x11300000
};

/* KVRNPRIM.function */
enum { KVRN_SORT = 's', KVRN_MERGE = 'm', KVRN_COPY = 'c' };

/* KVRNPRIM.recform.  Text lines are asked for with KVRN_VARIABLE and a
 * fieldmode. */
enum { KVRN_FIXED = 'f', KVRN_VARIABLE = 'v' };

/* KVRNPRIM.options, bits */
enum {
    KVRN_KEEPORDER = 1,    /* records of equal key keep their input order */
    KVRN_SUPPRESS = 2,     /* of records of equal key only one is kept */
    KVRN_SUM = 4,          /* records of equal key are summed (KVRNSUM) */
    KVRN_SELECT = 8,       /* level 1: records are selected by KVRNSEL */
    KVRN_RECONSTRUCT = 16, /* level 1: records are rebuilt by KVRNRCN first */
    KVRN_DESCENDALL = 64,  /* level 1: the whole-record key is descending */
    KVRN_MSGPRINT = 128    /* messages are printed to standard output */
};

/* KVRNPRIM.fileoprat, bits */
enum {
    KVRN_SAMEFILE = 19, /* all three bits: a sort's output may be an input file */
    KVRN_STDOUT = 32,
    KVRN_STDIN = 64
};

/* KVRNPRIM.recoprat.  The input side is 1 or 4, the output side 2 or 8; the
 * accepted sums are 0, 1, 2, 3, 4, 6, 8, 9 and 12 (225 is the same as 3). */
enum { KVRN_PUT_RECORD = 1, KVRN_GET_RECORD = 2, KVRN_PUT_BLOCK = 4, KVRN_GET_BLOCK = 8 };

/* KVRNPRIM.cdmode: code of the data */
enum {
    KVRN_CD_EBCDIC = 236,   /* level 4; not for text records */
    KVRN_CD_ZONE5 = 237,    /* ASCII, zone 5 is negative; also the meaning of 0 */
    KVRN_CD_ZONE7 = 238,    /* ASCII, zone 7 is negative */
    KVRN_CD_OVERPUNCH = 239 /* ASCII, sign as an overpunched letter */
};

/* KVRNPRIM.fieldmode: 0 is no text session */
enum { KVRN_FIELDS = 243, KVRN_COLUMNS = 244 };

/* KVRNPRIM.linedlmt */
enum { KVRN_DLMT_CRLF = 0, KVRN_DLMT_LF = 1, KVRN_DLMT_CR = 2, KVRN_DLMT_CRLF3 = 3 };

/* KVRNPRIM.tmpopt */
enum { KVRN_TMP_KEEP = 1 /* temporary files stay after the session */ };

/* KVRNKEYE.textoption and (bits 1 to 8) KVRNPRIM.keyoption */
enum {
    KVRN_TXT_SKIPBLANKS = 1,
    KVRN_TXT_ALNUM = 2,
    KVRN_TXT_PRINTABLE = 4,
    KVRN_TXT_FOLD = 8,
    KVRN_TXT_KEEPSOURCE = 32, /* the field is not restored from its key form */
    KVRN_TXT_NUMERIC = 64,
    KVRN_KEYOPT_NUMERIC = 16 /* KVRNPRIM.keyoption only: same as KVRN_TXT_NUMERIC */
};

/* KVRNKEYE.kanjiconv and KVRNPRIM.keyoption2 */
enum { KVRN_KANJI_JIS = 2 };

/* KVRNKEYE.order */
enum { KVRN_ASCENDING = 16, KVRN_DESCENDING = 32 };

/* Field types of keys, summation and selection */
enum {
    KVRN_CHAR = 161,
    KVRN_ZONED = 162,
    KVRN_SIGNLEAD = 163,
    KVRN_SIGNTRAIL = 164,
    KVRN_ZONEDLEAD = 165,
    KVRN_ZONEDU = 166,
    KVRN_UBIN1 = 167,
    KVRN_ULEBIN = 173,
    KVRN_UBIN2 = 175,
    KVRN_CHARX = 177,
    KVRN_MASKBYTE = 193,
    KVRN_SBEBIN = 194,
    KVRN_FLOAT4 = 195,
    KVRN_FLOAT8 = 196,
    KVRN_PACKED = 197,
    KVRN_UBEBIN = 198,
    KVRN_SLEBIN = 199,
    KVRN_TABLED = 202,
    KVRN_COLLATE = 203,
    KVRN_WIDE2 = 222,
    KVRN_WIDE4 = 223
};

/* KVRNRCNE.type and KVRNSELE.rtype */
enum { KVRN_FLD_COPY = 240, KVRN_FLD_LIT = 241 };

/* KVRNSELE.op */
enum {
    KVRN_OP_EQ = 209,
    KVRN_OP_NE = 210,
    KVRN_OP_GT = 211,
    KVRN_OP_GE = 212,
    KVRN_OP_LT = 213,
    KVRN_OP_LE = 214
};

/* KVRNSELE.iftrue and iffalse */
enum { KVRN_GO_KEEP = 230, KVRN_GO_DROP = 231, KVRN_GO_JUMP = 232, KVRN_GO_NEXT = 233 };

/* File kinds of KVRNFTYP.kind and KVRNFILE.outtype */
enum {
    KVRN_FILE_DEFAULT = 0, /* same as KVRN_FILE_PLAIN */
    KVRN_FILE_DESCRIPTOR = 1,
    KVRN_FILE_MANAGER = 2,
    KVRN_FILE_PLAIN = 16,
    KVRN_FILE_INDEXED = 18,
    KVRN_FILE_RELATIVE = 19
};

/* KVRNSESS.code and KVRNSESS.mergestat */
enum { KVRN_RECORD = 16, KVRN_END = 17 };
enum { KVRN_WANTS_RECORD = ' ', KVRN_WANTS_NONE = '!' };

/* Results of the public calls */
enum { KVRN_DONE = 0, KVRN_ENDED = 1, KVRN_FAILED = -1, KVRN_NOSESSION = -2 };

/* Bounds of KVRNPRIM.memsize, in bytes */
enum { KVRN_MEM_MIN = 65535, KVRN_MEM_DEFAULT = 0x100000, KVRN_MEM_MAX = 0xA00000 };

/* Detail codes in KVRNSESS.detail.  251 to 372 are translated system errors;
 * docs/details.md lists them one by one. */
enum {
    KVRN_D_VERSION = 1, /* version word not accepted */
    KVRN_D_BIND = 2,    /* engine library or an entry point of it missing */
    KVRN_D_UNBIND = 3,
    KVRN_D_STORAGE = 50,   /* working storage too small */
    KVRN_D_CONTEXT = 52,   /* context memory, or a directory text too long */
    KVRN_D_WORKAREA = 53,  /* working storage could not be had */
    KVRN_D_FILEBLOCK = 55, /* KVRNFILE */
    KVRN_D_PRIM = 56,      /* a field of KVRNPRIM */
    KVRN_D_EXCLUSIVE = 57, /* options that exclude each other */
    KVRN_D_KEYFIELD = 59,
    KVRN_D_SUMFIELD = 60,
    KVRN_D_SAMEFIELD = 61, /* key and summation fields overlap */
    KVRN_D_UNSUPPORTED = 62,
    KVRN_D_SELFIELD = 63,
    KVRN_D_RCNFIELD = 64,
    KVRN_D_NOSELFIELD = 66, /* a record lacks a selection field */
    KVRN_D_NORCNFIELD = 67, /* a record lacks a reconstruction field */
    KVRN_D_PUTUSE = 101,
    KVRN_D_GETUSE = 102,
    KVRN_D_MERGEUSE = 103,
    KVRN_D_NOTHINGOPEN = 104,
    KVRN_D_NORECORD = 110, /* record address missing */
    KVRN_D_RECLEN = 111,   /* invalid record length */
    KVRN_D_ORDER = 114,    /* merge input not in order */
    KVRN_D_SUMOVERFLOW = 115,
    KVRN_D_SUMMISSING = 116,
    KVRN_D_NODELIMITER = 117,
    KVRN_D_NOKEYFIELD = 118, /* a record lacks a key field */
    KVRN_D_READ = 200,
    KVRN_D_WRITE = 201,
    KVRN_D_ATTRIBUTE = 202,
    KVRN_D_FORMAT = 204,
    KVRN_D_SAMEFILE = 205,
    KVRN_D_FILEFORM = 206,
    KVRN_D_FILELENGTH = 207,
    KVRN_D_OPEN = 208,
    KVRN_D_TOOMANYFILES = 209,
    KVRN_D_CLOSE = 210,
    KVRN_D_TEMPSPACE = 212,  /* no temporary file space left */
    KVRN_D_TEMPCREATE = 214, /* temporary file not creatable, or mixed work paths */
    KVRN_D_NOFILE = 215,
    KVRN_D_NOREADPERM = 216,
    KVRN_D_NOWRITEPERM = 217,
    KVRN_D_NORECLEN = 222,
    KVRN_D_NOTYOURS = 223, /* not the block that the session was opened with */
    KVRN_D_TEMPWRITE = 224,
    KVRN_D_TEMPREAD = 225,
    KVRN_D_WORKDIRS = 227, /* work directory text is bad */
    KVRN_D_FILESYSTEM = 231,
    KVRN_D_PATHPREFIX = 234,
    KVRN_D_ISDIRECTORY = 235,
    KVRN_D_DEVICEFULL = 236,
    KVRN_D_FILESIZE = 237,
    KVRN_D_SYSTEM = 238,
    KVRN_D_SETUP = 240, /* working storage too small in a set-up stage */
    KVRN_D_SUMOPERAND = 241,
    KVRN_D_FILEMANAGER = 243,
    KVRN_D_LOGIC = 250
};

/* ----------------------------------------------------------------- blocks */

/* Key table: count entries, entry 0 weighs most.  A null block or a count of
 * 0 makes the whole record the key. */
typedef struct KVRNKEYE {
    uint32_t position; /* byte offset; for KVRN_FIELDS the field's number from 0 */
    uint32_t length;   /* bytes; KVRN_MASKBYTE: the mask, 1 to 255 */
    uint8_t type;
    uint8_t order;
    uint8_t textoption;
    uint8_t kanjiconv;
    const uint8_t *table; /* KVRN_TABLED: 256 bytes; else not read */
} KVRNKEYE;

typedef struct KVRNKEY {
    uint32_t count;
    KVRNKEYE entry[1];
} KVRNKEY;

/* Paths, each a zero-ended text */
typedef struct KVRNFLST {
    uint32_t count;
    const char *path[1];
} KVRNFLST;

/* File kinds, one byte for each path; files beyond the list take its last */
typedef struct KVRNFTYP {
    uint32_t count;
    uint8_t kind[1];
} KVRNFTYP;

/* Key description of an indexed output file */
typedef struct KVRNOKEYE {
    uint32_t position; /* at most 32760 */
    uint32_t length;   /* at most 254 */
    uint8_t type;
    uint8_t order;
    uint8_t flags;
    uint8_t reserved11;
} KVRNOKEYE;

typedef struct KVRNOKEY {
    uint32_t options; /* only the first byte is read */
    uint32_t count;   /* at most 255 */
    KVRNOKEYE entry[1];
} KVRNOKEY;

typedef struct KVRNFILE {
    KVRNFLST *infiles;   /* null or count 0: records come through the calls */
    const char *outfile; /* null: records leave through the calls */
    KVRNFLST *workfiles; /* all directories, or all paths of temporary files */
    void *reserved12;    /* never read */
    KVRNFTYP *intypes;   /* null or count 0: KVRN_FILE_PLAIN for all */
    uint8_t outtype;
    uint8_t reserved21[3];
    KVRNOKEY *outkey;
} KVRNFILE;

typedef struct KVRNSUME {
    uint32_t position;
    uint32_t length;
    uint8_t type;
    uint8_t reserved9[3];
} KVRNSUME;

typedef struct KVRNSUM {
    uint32_t count;
    KVRNSUME entry[1];
} KVRNSUM;

/* One condition of the selection program; evaluation starts at entry 0. */
typedef struct KVRNSELE {
    uint8_t op;
    uint8_t ltype;
    uint8_t rtype;
    uint8_t options;
    uint32_t lpos;
    uint32_t llen;
    KVRN_UNION {
        uint32_t rpos;    /* rtype other than KVRN_FLD_LIT */
        const void *rlit; /* KVRN_FLD_LIT: rlen bytes */
    };
    uint32_t rlen;
    uint8_t iftrue;
    uint8_t iffalse;
    uint8_t mask; /* not read */
    uint8_t kanjiconv;
    uint32_t truejump;
    uint32_t falsejump;
} KVRNSELE;

typedef struct KVRNSEL {
    uint32_t count;
    KVRNSELE entry[1];
} KVRNSEL;

/* One piece of the rebuilt record, in the order of the new record */
typedef struct KVRNRCNE {
    KVRN_UNION {
        uint32_t position;   /* KVRN_FLD_COPY */
        const void *literal; /* KVRN_FLD_LIT: length bytes */
    };
    uint32_t length; /* not 0 */
    uint8_t type;
    uint8_t reserved9[3];
} KVRNRCNE;

typedef struct KVRNRCN {
    uint32_t count;
    KVRNRCNE entry[1];
} KVRNRCN;

typedef struct KVRNOPT {
    KVRNSUM *sum;
    KVRNSEL *sel;
    KVRNRCN *rcn;
} KVRNOPT;

/* The primary block.  "Level n" marks fields that are read from interface
 * level n on. */
typedef struct KVRNPRIM {
    uint32_t reserved0;
    uint8_t function;
    uint8_t recform;
    uint8_t options;
    uint8_t fileoprat;
    uint8_t recoprat;
    uint8_t reserved9;
    uint8_t cdmode; /* level 1; 0 means 237 */
    uint8_t reserved11;
    uint32_t reclen;   /* exact for 'f', greatest data length for 'v', greatest
                          line length with its delimiter for text */
    uint32_t mergecnt; /* inputs of a merge */
    uint32_t memsize;  /* bytes of working storage; 0: 1 MiB; at least 65535;
                          above 10 MiB it is lowered to that */
    void *memaddr;     /* out: where the working storage lies while open */
    uint32_t reserved28;
    const char *separator; /* level 1; null: white space separates fields */
    uint8_t tmpopt;        /* level 1 */
    uint8_t fieldmode;     /* level 1 */
    uint8_t keyoption;     /* level 2; for the whole-record key */
    uint8_t keyoption2;    /* level 2 */
    uint8_t linedlmt;      /* level 1 */
    uint8_t reserved41;
    uint8_t altmode; /* level 4; EBCDIC table variant 0, 1 or 2 */
} KVRNPRIM;

/* The session block.  Below version 0x11200000 it ends before syserr, which
 * the engine then leaves alone. */
typedef struct KVRNSESS {
    void *ctx;       /* 0: no session */
    uint32_t detail; /* detail code of the last failure */
    uint32_t putcount;
    uint32_t getcount;
    void *recaddr;   /* record or block; in for put, out for get */
    uint32_t reclen; /* its length; a text line's with the delimiter */
    uint8_t code;    /* KVRN_RECORD or KVRN_END */
    uint8_t mergestat;
    uint16_t inputno; /* merge input, from 0 */
    void *outaddr;    /* merge output record, 0: none from this call */
    uint32_t outlen;
    void *ctxhandle;
    uint32_t syserr; /* from version 0x11200000 */
} KVRNSESS;

/* The link table, filled by kvrnopen and emptied by kvrnclse.  Calls through
 * it are the checked forms of the record calls. */
typedef struct KVRNLINK {
    int(KVRN_CALL *chkp)(KVRNSESS *sess);
    int(KVRN_CALL *chkg)(KVRNSESS *sess);
    int(KVRN_CALL *chkm)(KVRNSESS *sess);
    int(KVRN_CALL *init)(uint32_t version, struct KVRNLINK *link, KVRNPRIM *prim, KVRNSESS *sess,
                         KVRNKEY *keys, KVRNFILE *files, KVRNOPT *opts);
    int(KVRN_CALL *term)(KVRNPRIM *prim, KVRNSESS *sess);
    void *reserved20;
    void *reserved24;
    void *module;
} KVRNLINK;

/* KVRNSTAT.phase: where the session stands */
enum {
    KVRN_PHASE_OPENING = 0, /* the blocks are being looked at */
    KVRN_PHASE_INPUT = 1,   /* sort: records come in; strings go to temporary files */
    KVRN_PHASE_ORDER = 2,   /* sort: all are in and being ordered */
    KVRN_PHASE_OUTPUT = 3,  /* sort: records go out */
    KVRN_PHASE_PASS = 4,    /* merge and copy: records come in and go out */
    KVRN_PHASE_DONE = 5     /* all records are out */
};

/* Counters of a session since kvrnopen, filled by kvrnstat.  Members may be
 * added at the end, and `size` tells which ones caller and engine share. */
typedef struct KVRNSTAT {
    uint32_t size;  /* in: sizeof(KVRNSTAT); out: bytes that were filled, from the first on */
    uint32_t phase; /* KVRN_PHASE_ */
    /* Records.  All that were taken are delivered, rejected, suppressed or
     * summed once a session has run to its end. */
    uint64_t taken;
    uint64_t delivered;
    uint64_t rejected;   /* dropped by the filter */
    uint64_t suppressed; /* of equal key, left out */
    uint64_t summed;     /* added to another record */
    /* A sort that does not fit its working storage */
    uint64_t strings;    /* sorted sequences; 1 where all was sorted in core */
    uint64_t datablocks; /* blocks of records that strings were written in; 0: in core */
    uint64_t spills;     /* blocks written a second time, by the final merge */
    uint64_t tempfiles;
    uint64_t tempbytes; /* taken by the temporary files */
    uint64_t tempreads; /* blocks read from them */
    uint64_t tempwrites;
    /* Bytes of the input files and the output file */
    uint64_t inbytes;
    uint64_t outbytes;
    /* The system's error code behind the message that kvrntext gives, 0: none.  A
     * Windows number on every system (112: no space left); an errno for files of the
     * kinds 1, 2, 18 and 19. */
    uint64_t syscode;
} KVRNSTAT;

/* ------------------------------------------------------------ public calls */

/* Opens a session.  link, prim and sess are required; keys, files and opts may
 * be null.  A sort from files to a file, and every copy, has run to its end
 * when this returns 0.  Results: 0 open; 1 stopped; -1 failed, sess->detail
 * says why; after both kvrnclse must follow.  -2: arguments missing (nothing
 * written) or the engine could not be bound (detail 1 or 2). */
int KVRN_CALL kvrnopen(uint32_t version, KVRNLINK *link, KVRNPRIM *prim, KVRNSESS *sess,
                       KVRNKEY *keys, KVRNFILE *files, KVRNOPT *opts);

/* Hands over a record or block (code 16: recaddr, reclen), or ends the input
 * (code 17).  0 taken; 1 input ended and sorted; -1 failed.  The record is
 * copied before the call returns. */
int KVRN_CALL kvrnput(KVRNSESS *sess);

/* Gives the next record or block in recaddr and reclen; it stays valid until
 * the next call on this session.  0 a record; 1 end of data; -1 failed. */
int KVRN_CALL kvrnget(KVRNSESS *sess);

/* One step of a merge with caller input or output.  0 done; 1 end of data; -1
 * failed. */
int KVRN_CALL kvrnmrge(KVRNSESS *sess);

/* Ends a session, also after a failure, and frees all that it holds.  0 ended
 * (look at detail for a failure on the way); 1 ended before its time; -1
 * failed. */
int KVRN_CALL kvrnclse(uint32_t version, KVRNLINK *link, KVRNPRIM *prim, KVRNSESS *sess);

/* ------------------------------------------------------------ engine calls */

/* What kvrnopen binds by name.  qha5chkp, qha5chkg and qha5chkm test the order
 * of calls and then do what kvrnput, kvrnget and kvrnmrge do.  qha5term frees the
 * session and leaves sess->ctx, which points to nothing then, as it is: a program
 * that calls it itself may call kvrnclse, which clears it, and nothing else. */
int KVRN_CALL qha5init(uint32_t version, KVRNLINK *link, KVRNPRIM *prim, KVRNSESS *sess,
                       KVRNKEY *keys, KVRNFILE *files, KVRNOPT *opts);
int KVRN_CALL qha5chkp(KVRNSESS *sess);
int KVRN_CALL qha5chkg(KVRNSESS *sess);
int KVRN_CALL qha5chkm(KVRNSESS *sess);
int KVRN_CALL qha5term(KVRNPRIM *prim, KVRNSESS *sess);

/* ----------------------------------------------------------- control calls */

/* Each returns 0, or -1 where there is no session (a failed kvrnopen leaves
 * one until kvrnclse).  They may be called from
 * the hook, from a window procedure that runs inside the session's calls, or
 * between calls, on the session's thread. */

/* Asks the session to stop: the running call fails, kvrnopen returns 1.  Between
 * calls it is heeded by the next pump round.  detail and text stay empty. */
int KVRN_CALL kvrnstop(KVRNSESS *sess);

/* Sets the print level of messages, 1 to 6 (any other value: -1). */
int KVRN_CALL kvrnlevl(KVRNSESS *sess, unsigned char level);

/* Deposits a text of work directories; heeded only while kvrnopen starts up.
 * The text must live until kvrnopen returns. */
int KVRN_CALL kvrntmpd(KVRNSESS *sess, const char *dirs);

/* Sets the hook of all sessions of the calling thread: it is called once in
 * every pump round (between blocks of file work and partitions of the sort); a
 * non-zero result stops the session.  Null takes the hook away. */
void KVRN_CALL kvrnhook(int(KVRN_CALL *hook)(KVRNSESS *sess, void *arg), void *arg);

/* Fills the counters, as far as stat->size covers them.  -1 also where stat is
 * null or its size does not cover the size itself. */
int KVRN_CALL kvrnstat(KVRNSESS *sess, KVRNSTAT *stat);

/* Copies the text of the last message, its arguments filled in, without the
 * line end; of a session that has failed the message that belongs to its
 * detail code.  Empty: none yet.  Always zero-ended.  0 whole; 1 cut to `room`
 * bytes with the end; -1 also where text is null or room is 0. */
int KVRN_CALL kvrntext(KVRNSESS *sess, char *text, unsigned room);

/* ------------------------------------------------------------------ probes */

/* A record is looked at and the session left as it is: nothing is counted, kept or
 * printed, and every later call does what it would have done without.  For sorts from
 * kvrnopen until their input is ended, and merges from kvrnopen until their end, on the
 * session's thread; not from the hook or another call's window procedure (detail 101 or
 * 103, as at every other wrong time).  `record` is given as to kvrnput record by record:
 * `length` bytes of data, of variable records without a length word, of text one line
 * with its delimiter, also where the session takes blocks or files.  The filter and the
 * rebuild table of the session apply.  It stays the caller's and must not overlap `key`.
 *
 * -1: the record would fail the session, which goes on all the same; only sess->detail
 * says why, as kvrnput, or later the session, would (111 invalid length, 110 no record,
 * 117 no delimiter, 118 no key field, 66 and 67 no selection or reconstruction field),
 * until the next call that ends well takes it back.  Of a failed session the detail of
 * that failure. */

/* Writes the session's key of that record to `key`, most significant byte first: memcmp
 * of such keys is the order of the session's records, 0 for records of equal key.  The
 * input sequence of a stable sort is no part of it.  Keys of sessions opened alike
 * compare with each other.  *keylen, bytes: in, the room; out, the length, which is the
 * same for all records of a session, a multiple of 4, below 32 KB.  0 done; 1 the filter
 * drops the record, nothing written; -1 as above (nothing of use in `key` then), or too
 * little room (50), which is told before the record is looked at, so that room 0 and null
 * addresses ask for the length. */
int KVRN_CALL kvrnkey(KVRNSESS *sess, const void *record, unsigned length, void *key,
                      unsigned *keylen);

/* Asks the filter alone: 0 it keeps the record, or there is none; 1 it drops it; -1 as
 * above, keys and rebuild not looked at. */
int KVRN_CALL kvrntest(KVRNSESS *sess, const void *record, unsigned length);

#ifdef __cplusplus
} /* extern "C" */
#endif

/* ---------------------------------------------------- layout on 32 bits */

#if UINTPTR_MAX == 0xFFFFFFFFu
#if defined(__cplusplus)
#define KVRN_AT(block, member, offset)                                                             \
    static_assert(offsetof(block, member) == (offset), #block "." #member)
#define KVRN_SIZE(block, size) static_assert(sizeof(block) == (size), #block)
#else
#define KVRN_AT(block, member, offset)                                                             \
    extern char kvrn_at_##block##_##member[offsetof(block, member) == (offset) ? 1 : -1]
#define KVRN_SIZE(block, size) extern char kvrn_size_##block[sizeof(block) == (size) ? 1 : -1]
#endif

KVRN_AT(KVRNPRIM, function, 4);
KVRN_AT(KVRNPRIM, recform, 5);
KVRN_AT(KVRNPRIM, options, 6);
KVRN_AT(KVRNPRIM, fileoprat, 7);
KVRN_AT(KVRNPRIM, recoprat, 8);
KVRN_AT(KVRNPRIM, cdmode, 10);
KVRN_AT(KVRNPRIM, reclen, 12);
KVRN_AT(KVRNPRIM, mergecnt, 16);
KVRN_AT(KVRNPRIM, memsize, 20);
KVRN_AT(KVRNPRIM, memaddr, 24);
KVRN_AT(KVRNPRIM, separator, 32);
KVRN_AT(KVRNPRIM, tmpopt, 36);
KVRN_AT(KVRNPRIM, fieldmode, 37);
KVRN_AT(KVRNPRIM, keyoption, 38);
KVRN_AT(KVRNPRIM, keyoption2, 39);
KVRN_AT(KVRNPRIM, linedlmt, 40);
KVRN_AT(KVRNPRIM, altmode, 42);
KVRN_AT(KVRNSESS, ctx, 0);
KVRN_AT(KVRNSESS, detail, 4);
KVRN_AT(KVRNSESS, putcount, 8);
KVRN_AT(KVRNSESS, getcount, 12);
KVRN_AT(KVRNSESS, recaddr, 16);
KVRN_AT(KVRNSESS, reclen, 20);
KVRN_AT(KVRNSESS, code, 24);
KVRN_AT(KVRNSESS, mergestat, 25);
KVRN_AT(KVRNSESS, inputno, 26);
KVRN_AT(KVRNSESS, outaddr, 28);
KVRN_AT(KVRNSESS, outlen, 32);
KVRN_AT(KVRNSESS, ctxhandle, 36);
KVRN_AT(KVRNSESS, syserr, 40);
KVRN_SIZE(KVRNSESS, 44);
KVRN_AT(KVRNLINK, chkp, 0);
KVRN_AT(KVRNLINK, chkg, 4);
KVRN_AT(KVRNLINK, chkm, 8);
KVRN_AT(KVRNLINK, init, 12);
KVRN_AT(KVRNLINK, term, 16);
KVRN_AT(KVRNLINK, module, 28);
KVRN_SIZE(KVRNLINK, 32);
KVRN_AT(KVRNSTAT, phase, 4);
KVRN_AT(KVRNSTAT, taken, 8);
KVRN_AT(KVRNSTAT, strings, 48);
KVRN_AT(KVRNSTAT, tempfiles, 72);
KVRN_AT(KVRNSTAT, inbytes, 104);
KVRN_AT(KVRNSTAT, syscode, 120);
KVRN_SIZE(KVRNSTAT, 128);
KVRN_AT(KVRNKEY, entry, 4);
KVRN_AT(KVRNKEYE, position, 0);
KVRN_AT(KVRNKEYE, length, 4);
KVRN_AT(KVRNKEYE, type, 8);
KVRN_AT(KVRNKEYE, order, 9);
KVRN_AT(KVRNKEYE, textoption, 10);
KVRN_AT(KVRNKEYE, kanjiconv, 11);
KVRN_AT(KVRNKEYE, table, 12);
KVRN_SIZE(KVRNKEYE, 16);
KVRN_AT(KVRNFLST, path, 4);
KVRN_AT(KVRNFTYP, kind, 4);
KVRN_AT(KVRNFILE, infiles, 0);
KVRN_AT(KVRNFILE, outfile, 4);
KVRN_AT(KVRNFILE, workfiles, 8);
KVRN_AT(KVRNFILE, intypes, 16);
KVRN_AT(KVRNFILE, outtype, 20);
KVRN_AT(KVRNFILE, outkey, 24);
KVRN_AT(KVRNOKEY, count, 4);
KVRN_AT(KVRNOKEY, entry, 8);
KVRN_AT(KVRNOKEYE, length, 4);
KVRN_AT(KVRNOKEYE, type, 8);
KVRN_AT(KVRNOKEYE, order, 9);
KVRN_AT(KVRNOKEYE, flags, 10);
KVRN_SIZE(KVRNOKEYE, 12);
KVRN_AT(KVRNSUM, entry, 4);
KVRN_AT(KVRNSUME, length, 4);
KVRN_AT(KVRNSUME, type, 8);
KVRN_SIZE(KVRNSUME, 12);
KVRN_AT(KVRNSEL, entry, 4);
KVRN_AT(KVRNSELE, ltype, 1);
KVRN_AT(KVRNSELE, rtype, 2);
KVRN_AT(KVRNSELE, options, 3);
KVRN_AT(KVRNSELE, lpos, 4);
KVRN_AT(KVRNSELE, llen, 8);
KVRN_AT(KVRNSELE, rpos, 12);
KVRN_AT(KVRNSELE, rlit, 12);
KVRN_AT(KVRNSELE, rlen, 16);
KVRN_AT(KVRNSELE, iftrue, 20);
KVRN_AT(KVRNSELE, iffalse, 21);
KVRN_AT(KVRNSELE, mask, 22);
KVRN_AT(KVRNSELE, kanjiconv, 23);
KVRN_AT(KVRNSELE, truejump, 24);
KVRN_AT(KVRNSELE, falsejump, 28);
KVRN_SIZE(KVRNSELE, 32);
KVRN_AT(KVRNRCN, entry, 4);
KVRN_AT(KVRNRCNE, position, 0);
KVRN_AT(KVRNRCNE, literal, 0);
KVRN_AT(KVRNRCNE, length, 4);
KVRN_AT(KVRNRCNE, type, 8);
KVRN_SIZE(KVRNRCNE, 12);
KVRN_AT(KVRNOPT, sum, 0);
KVRN_AT(KVRNOPT, sel, 4);
KVRN_AT(KVRNOPT, rcn, 8);

#undef KVRN_AT
#undef KVRN_SIZE
#endif

#endif /* KVERN_H */

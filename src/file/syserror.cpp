// The map of system errors.  A row tells message and detail for each of the six
// situations in which a code can come up; four ways of writing a row cover all.
// The message belongs to the row, not to the operation, so a close or a read may
// well be told as a failed open: intended, the detail code tells them apart.
#include "file/syserror.h"

#include "session/qha9msg.h"

namespace kvern {

namespace {

enum situation : uint8_t { openread, openwrite, openother, closing, reading, writing, situations };

struct outcome {
    msgno message;
    uint32_t detail;
};

struct errorrow {
    platform::syserror code;
    outcome in[situations];
};

// Open for reading, open for writing, anything else.
constexpr errorrow byopen(platform::syserror code, uint32_t read, uint32_t write, uint32_t other) {
    return {code,
            {{msg_open, read},
             {msg_open, write},
             {msg_open, other},
             {msg_open, other},
             {msg_open, other},
             {msg_open, other}}};
}

// Opening for or doing the one direction, the other direction, neither.
constexpr errorrow bydirection(platform::syserror code, uint32_t in, uint32_t out, uint32_t other) {
    return {code,
            {{msg_open, in},
             {msg_open, out},
             {msg_open, other},
             {msg_open, other},
             {msg_open, in},
             {msg_open, out}}};
}

// The same whatever was done.
constexpr errorrow always(platform::syserror code, msgno message, uint32_t detail) {
    const outcome same = {message, detail};
    return {code, {same, same, same, same, same, same}};
}

// Open and close alike; a transfer by its own message.
constexpr errorrow bytransfer(platform::syserror code, uint32_t other, uint32_t read,
                              uint32_t write) {
    const outcome neither = {msg_open, other};
    return {code, {neither, neither, neither, neither, {msg_read, read}, {msg_write, write}}};
}

constexpr errorrow errorrows[] = {
    byopen(2, 290, 291, 289),    // file not found
    byopen(3, 341, 342, 340),    // path not found
    byopen(4, 362, 363, 208),    // too many open files
    byopen(5, 371, 372, 370),    // access denied
    byopen(15, 297, 298, 296),   // invalid drive
    byopen(20, 259, 260, 258),   // bad unit
    byopen(21, 329, 330, 328),   // device not ready
    byopen(26, 326, 327, 325),   // not a DOS disk
    byopen(50, 332, 333, 331),   // request not supported
    byopen(82, 265, 266, 264),   // cannot make directory entry
    byopen(110, 335, 336, 334),  // open failed
    byopen(111, 262, 263, 261),  // buffer overflow (file name too long)
    byopen(123, 300, 301, 299),  // invalid name
    byopen(125, 320, 321, 319),  // no volume label
    byopen(144, 271, 272, 270),  // directory not root
    byopen(148, 338, 339, 337),  // path busy
    byopen(161, 256, 257, 255),  // bad path name
    byopen(206, 293, 294, 292),  // file name exceeds range
    byopen(267, 274, 275, 273),  // name is a directory
    byopen(1200, 253, 254, 252), // bad device
    byopen(1201, 268, 269, 267), // connection unavailable
    byopen(1222, 314, 315, 313), // no network
    byopen(1376, 317, 318, 316), // no such alias
    byopen(1785, 365, 366, 364), // unrecognized media
    byopen(2250, 323, 324, 322), // network connection not found

    bydirection(32, 360, 361, 359),   // sharing violation
    bydirection(33, 304, 305, 303),   // lock violation
    bydirection(65, 309, 310, 308),   // network access denied
    bydirection(108, 282, 283, 281),  // drive locked
    bydirection(1314, 344, 345, 343), // privilege not held

    always(18, msg_open, 312),   // no more files
    always(19, msg_write, 369),  // write protected
    always(29, msg_write, 368),  // write fault
    always(30, msg_read, 346),   // read fault
    always(36, msg_open, 209),   // sharing buffer exceeded
    always(39, msg_write, 295),  // disk full (handle)
    always(51, msg_open, 347),   // remote not listening
    always(54, msg_open, 311),   // network busy
    always(70, msg_open, 358),   // sharing paused
    always(71, msg_open, 348),   // request not accepted
    always(88, msg_write, 307),  // network write fault
    always(112, msg_write, 277), // disk full
    always(131, msg_open, 306),  // negative seek
    always(183, msg_open, 251),  // already exists
    always(1005, msg_open, 367), // unrecognized volume
    always(1117, msg_open, 302), // I/O device error
    always(1126, msg_open, 279), // disk recalibrate failed
    always(1127, msg_open, 278), // disk operation failed
    always(1128, msg_open, 280), // disk reset failed
    always(1208, msg_open, 284), // extended network error
    always(1392, msg_read, 285), // file corrupt
    always(1393, msg_read, 276), // disk corrupt

    bytransfer(25, 352, 353, 354),   // seek error
    bytransfer(27, 349, 350, 351),   // sector not found
    bytransfer(132, 355, 356, 357),  // seek on device
    bytransfer(1006, 286, 287, 288), // file invalid
};
static_assert(sizeof errorrows / sizeof *errorrows == 56);

// A code without a row.
constexpr errorrow fallback = {0,
                               {{msg_open, KVRN_D_OPEN},
                                {msg_open, KVRN_D_OPEN},
                                {msg_open, KVRN_D_OPEN},
                                {msg_close, KVRN_D_CLOSE},
                                {msg_read, KVRN_D_READ},
                                {msg_write, KVRN_D_WRITE}}};

constexpr situation situationof(fileop operation, uint32_t mode) {
    switch (operation) {
    case fileop::open:
        return mode == 'r' ? openread : mode == 'w' ? openwrite : openother;
    case fileop::close:
        return closing;
    case fileop::read:
        return reading;
    case fileop::write:
        return writing;
    }
    return openother;
}

const errorrow &rowof(platform::syserror code) {
    for (const errorrow &row : errorrows)
        if (row.code == code)
            return row;
    return fallback;
}

} // namespace

int mapsyserror(qha5ctx *ctx, platform::syserror code, fileop operation, uint32_t mode) {
    notesyscode(ctx, code);
    const outcome &told = rowof(code).in[situationof(operation, mode)];
    return failstale(ctx, told.message, told.detail);
}

} // namespace kvern

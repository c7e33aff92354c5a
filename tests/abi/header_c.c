/* The public header in a C99 program: every block filled, every call named. */
#include "header_c.h"
#include "kvern.h"

#include <string.h>

static int hook_rounds;

static int KVRN_CALL count_rounds(KVRNSESS *sess, void *arg) {
    (void)sess;
    ++*(int *)arg;
    return 0;
}

int sort_in_c(char *records, unsigned length, unsigned count) {
    KVRNLINK link;
    KVRNPRIM prim;
    KVRNSESS sess;
    KVRNKEY keys;
    KVRNRCN rcn;
    KVRNFILE files;
    KVRNOPT opts;
    unsigned i;
    int result;
    memset(&link, 0, sizeof link);
    memset(&prim, 0, sizeof prim);
    memset(&sess, 0, sizeof sess);
    memset(&keys, 0, sizeof keys);
    memset(&files, 0, sizeof files);
    prim.function = KVRN_SORT;
    prim.recform = KVRN_FIXED;
    prim.options = KVRN_KEEPORDER | KVRN_RECONSTRUCT;
    prim.recoprat = KVRN_PUT_BLOCK | KVRN_GET_RECORD;
    prim.reclen = length;
    keys.count = 1;
    keys.entry[0].length = length;
    keys.entry[0].type = KVRN_CHAR;
    keys.entry[0].order = KVRN_DESCENDING;
    memset(&rcn, 0, sizeof rcn);
    rcn.count = 1;
    rcn.entry[0].position = 0;
    rcn.entry[0].length = length;
    rcn.entry[0].type = KVRN_FLD_COPY;
    opts.sum = NULL;
    opts.sel = NULL;
    opts.rcn = &rcn;
    kvrnhook(count_rounds, &hook_rounds);
    result = kvrnopen(KVRN_VERSION_L4, &link, &prim, &sess, &keys, &files, &opts);
    sess.recaddr = records;
    sess.reclen = length * count;
    sess.code = KVRN_RECORD;
    if (result == KVRN_DONE) {
        result = link.chkp(&sess);
        sess.code = KVRN_END;
    }
    if (result == KVRN_DONE && kvrnput(&sess) != KVRN_ENDED) {
        result = KVRN_FAILED;
    }
    for (i = 0; i < count && result == KVRN_DONE; ++i) {
        result = kvrnget(&sess);
        if (result == KVRN_DONE) {
            memcpy(records + (size_t)i * length, sess.recaddr, length);
        }
    }
    if (result == KVRN_DONE && link.chkg(&sess) != KVRN_ENDED) {
        result = KVRN_FAILED;
    }
    if (kvrnclse(KVRN_VERSION_L4, &link, &prim, &sess) != KVRN_DONE) {
        result = KVRN_FAILED;
    }
    kvrnhook(NULL, NULL);
    return result == KVRN_DONE && hook_rounds > 0 ? 0 : 1 + (int)sess.detail;
}

size_t control_calls_without_session(void) {
    KVRNSESS sess;
    KVRNSTAT stat;
    char text[8];
    size_t refused = 0;
    memset(&sess, 0, sizeof sess);
    refused += kvrnstop(&sess) == -1;
    refused += kvrnlevl(&sess, 6) == -1;
    refused += kvrntmpd(&sess, "/tmp") == -1;
    refused += kvrnstop(NULL) == -1;
    stat.size = sizeof stat;
    refused += kvrnstat(&sess, &stat) == -1;
    refused += kvrnstat(NULL, &stat) == -1;
    refused += kvrntext(&sess, text, sizeof text) == -1;
    refused += kvrntext(NULL, text, sizeof text) == -1;
    return refused;
}

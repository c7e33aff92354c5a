/* merge4 [WORDS WORDS WORDS WORDS]: merges four sources that lie in memory, each in
 * order, into one.  The engine drives: mergestat and inputno say of which source it
 * wants the next record.  WORDS are parted by commas, as in
 *   merge4 ash,elm bay,fir,oak "" cedar
 * A source that is out of order ends the merge with detail 114. */
#include "kvern.h"

#include <stdio.h>
#include <string.h>

enum { SOURCES = 4, WORD = 12 };

/* A source is what is left of its text; its next record is a word, filled with blanks. */
struct source {
    const char *rest;
    char record[WORD];
};

/* What the next call shall bring: the source's next record, or its end. */
static void bring(struct source *from, KVRNSESS *sess) {
    size_t length = strcspn(from->rest, ",");
    sess->code = KVRN_END;
    if (length == 0)
        return;
    memset(from->record, ' ', WORD);
    memcpy(from->record, from->rest, length < WORD ? length : WORD);
    from->rest += length + (from->rest[length] == ',');
    sess->code = KVRN_RECORD;
    sess->recaddr = from->record;
    sess->reclen = WORD;
}

static int merge(struct source *sources, KVRNLINK *link, KVRNSESS *sess) {
    int result;
    do {
        if (sess->mergestat == KVRN_WANTS_RECORD)
            bring(&sources[sess->inputno], sess);
        result = link->chkm(sess);
        /* A call need not give a record, and one that is given stays until the next call. */
        if (result == KVRN_DONE && sess->outaddr != NULL)
            printf("%.*s\n", (int)sess->outlen, (const char *)sess->outaddr);
    } while (result == KVRN_DONE);
    return result;
}

int main(int argc, char **argv) {
    struct source sources[SOURCES] = {
        {"ash,elm,oak", ""}, {"bay,fir", ""}, {"", ""}, {"cedar,elm,yew", ""}};
    KVRNKEY keys = {1, {{0, WORD, KVRN_CHAR, KVRN_ASCENDING, 0, 0, NULL}}};
    KVRNLINK link = {0};
    KVRNPRIM prim = {0};
    KVRNSESS sess = {0}; /* inputno is 0 at first */
    char text[256] = "";
    int i, result;

    for (i = 0; i < SOURCES && argc == 1 + SOURCES; ++i)
        sources[i].rest = argv[1 + i];
    prim.function = KVRN_MERGE;
    prim.recform = KVRN_FIXED;
    prim.reclen = WORD;
    prim.mergecnt = SOURCES;

    result = kvrnopen(KVRN_VERSION_L4, &link, &prim, &sess, &keys, NULL, NULL);
    if (result == KVRN_DONE)
        result = merge(sources, &link, &sess);
    kvrntext(&sess, text, sizeof text);
    if (kvrnclse(KVRN_VERSION_L4, &link, &prim, &sess) != KVRN_DONE || result != KVRN_ENDED) {
        fprintf(stderr, "merge4: detail %u %s\n", (unsigned)sess.detail, text);
        return 1;
    }
    return 0;
}

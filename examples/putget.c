/* putget [KEYLENGTH]: sorts records that the program hands over one by one, and fetches
 * them back.  The records are C structs, sorted by a number, the largest first, and by
 * name where numbers are equal.  KEYLENGTH is the length of the second key; one that
 * reaches beyond the record shows what a refusal looks like. */
#include "kvern.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

struct city {
    char name[12]; /* filled with zero bytes */
    int32_t people;
};

static const struct city cities[] = {
    {"Oslo", 709037}, {"Bergen", 291940},    {"Aarhus", 290598},
    {"Hamar", 28535}, {"Trondheim", 291940}, {"Nowhere", -1},
};

/* Says what went wrong.  The text is there until kvrnclse ends the session. */
static int failed(const char *call, KVRNSESS *sess) {
    char text[256] = "";
    kvrntext(sess, text, sizeof text);
    fprintf(stderr, "%s: detail %u %s\n", call, (unsigned)sess->detail, text);
    return 1;
}

/* The calls of the link table test that they come in order, kvrnput does not. */
static int hand_over(KVRNLINK *link, KVRNSESS *sess) {
    size_t i;
    for (i = 0; i < sizeof cities / sizeof cities[0]; ++i) {
        sess->code = KVRN_RECORD;
        sess->recaddr = (void *)&cities[i]; /* read only, and copied before the call returns */
        sess->reclen = sizeof cities[i];
        if (link->chkp(sess) != KVRN_DONE)
            return failed("put", sess);
    }
    sess->code = KVRN_END;
    return link->chkp(sess) == KVRN_ENDED ? 0 : failed("end of input", sess);
}

static int fetch(KVRNLINK *link, KVRNSESS *sess) {
    int result;
    while ((result = link->chkg(sess)) == KVRN_DONE) {
        struct city city;
        memcpy(&city, sess->recaddr, sizeof city); /* it need not lie on a boundary */
        printf("%-12.12s %7d\n", city.name, (int)city.people);
    }
    return result == KVRN_ENDED ? 0 : failed("get", sess);
}

int main(int argc, char **argv) {
    struct {
        uint32_t count;
        KVRNKEYE entry[2];
    } keys = {2,
              {{offsetof(struct city, people), 4, KVRN_SLEBIN, KVRN_DESCENDING, 0, 0, NULL},
               {offsetof(struct city, name), 12, KVRN_CHAR, KVRN_ASCENDING, 0, 0, NULL}}};
    KVRNLINK link = {0};
    KVRNPRIM prim = {0}; /* what is not set keeps its default */
    KVRNSESS sess = {0};
    int status;

    if (argc > 1)
        keys.entry[1].length = (uint32_t)strtoul(argv[1], NULL, 10);
    prim.function = KVRN_SORT;
    prim.recform = KVRN_FIXED;
    prim.recoprat = KVRN_PUT_RECORD | KVRN_GET_RECORD;
    prim.reclen = sizeof(struct city);

    if (kvrnopen(KVRN_VERSION_L4, &link, &prim, &sess, (KVRNKEY *)&keys, NULL, NULL) == KVRN_DONE)
        status = hand_over(&link, &sess) != 0 || fetch(&link, &sess) != 0;
    else
        status = failed("open", &sess);
    /* Also after a failure: it frees all that the session holds. */
    if (kvrnclse(KVRN_VERSION_L4, &link, &prim, &sess) != KVRN_DONE && status == 0)
        status = failed("close", &sess);
    return status;
}

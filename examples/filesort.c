/* filesort IN OUT RECLEN KEY KEY: sorts a file of fixed records into another one by two
 * keys.  A KEY is POSITION,LENGTH,TYPE with a position from 0, and ",d" behind it where
 * the order is descending, as in: filesort in.dat out.dat 80 0,10,char 20,6,packed,d */
#include "kvern.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static const struct {
    const char *name;
    uint8_t code;
} types[] = {{"char", KVRN_CHAR},     {"zoned", KVRN_ZONED},   {"packed", KVRN_PACKED},
             {"sbebin", KVRN_SBEBIN}, {"ubebin", KVRN_UBEBIN}, {"slebin", KVRN_SLEBIN}};

/* 0, or -1 where the text is no key. */
static int read_key(const char *text, KVRNKEYE *key) {
    unsigned position, length;
    char type[16], order[2] = "a";
    int end = 0;
    size_t i;
    if (sscanf(text, "%u,%u,%15[a-z]%n,%1[ad]%n", &position, &length, type, &end, order, &end) < 3)
        return -1;
    memset(key, 0, sizeof *key);
    key->position = position;
    key->length = length;
    key->order = order[0] == 'd' ? KVRN_DESCENDING : KVRN_ASCENDING;
    for (i = 0; i < sizeof types / sizeof types[0]; ++i)
        if (strcmp(type, types[i].name) == 0)
            key->type = types[i].code;
    return key->type != 0 && text[end] == '\0' ? 0 : -1;
}

/* A sort between files has run to its end when kvrnopen returns; the counters and the
 * text of the message are there until kvrnclse. */
static int sort_file(const char *in, const char *out, uint32_t reclen, KVRNKEY *keys) {
    KVRNFLST inputs = {1, {in}};
    KVRNFILE files = {&inputs, out, NULL, NULL, NULL, KVRN_FILE_DEFAULT, {0}, NULL};
    KVRNLINK link = {0};
    KVRNPRIM prim = {0};
    KVRNSESS sess = {0};
    KVRNSTAT stat = {0};
    char text[256] = "";
    int result, closed;

    prim.function = KVRN_SORT;
    prim.recform = KVRN_FIXED;
    prim.options = KVRN_KEEPORDER;
    prim.reclen = reclen;
    prim.memsize = KVRN_MEM_MAX;
    stat.size = sizeof stat;

    result = kvrnopen(KVRN_VERSION_L4, &link, &prim, &sess, keys, &files, NULL);
    kvrnstat(&sess, &stat);
    kvrntext(&sess, text, sizeof text);
    closed = kvrnclse(KVRN_VERSION_L4, &link, &prim, &sess);
    if (result != KVRN_DONE || closed != KVRN_DONE || sess.detail != 0) {
        fprintf(stderr, "filesort: detail %u %s\n", (unsigned)sess.detail, text);
        return 1;
    }
    printf("%llu records, %llu bytes\n", (unsigned long long)stat.delivered,
           (unsigned long long)stat.outbytes);
    return 0;
}

int main(int argc, char **argv) {
    struct {
        uint32_t count;
        KVRNKEYE entry[2];
    } keys = {2, {{0}}};
    if (argc != 6 || read_key(argv[4], &keys.entry[0]) != 0 ||
        read_key(argv[5], &keys.entry[1]) != 0) {
        fprintf(stderr, "usage: filesort IN OUT RECLEN POSITION,LENGTH,TYPE[,d] "
                        "POSITION,LENGTH,TYPE[,d]\n");
        return 2;
    }
    return sort_file(argv[1], argv[2], (uint32_t)strtoul(argv[3], NULL, 10), (KVRNKEY *)&keys);
}

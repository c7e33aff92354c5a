#include "file/filectl.h"

namespace kvern {

const char *messagename(const filectl *file) {
    return file->name != nullptr ? file->name : "stdin";
}

const char *outputname(const filectl *file) {
    return file->name != nullptr ? file->name : "stdout";
}

int openinput(qha5ctx *ctx, filectl *file) {
    return ctx->stdinopt ? 0 : file->openfn(ctx, file);
}
int closeinput(qha5ctx *ctx, filectl *file) {
    return ctx->stdinopt ? 0 : file->closefn(ctx, file);
}
int openoutput(qha5ctx *ctx, filectl *file) {
    return ctx->stdoutopt ? 0 : file->openfn(ctx, file);
}
int closeoutput(qha5ctx *ctx, filectl *file) {
    return ctx->stdoutopt ? 0 : file->closefn(ctx, file);
}

} // namespace kvern

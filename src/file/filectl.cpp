#include "file/filectl.h"

namespace kvern {

const char *messagename(const filectl *file) {
    return file->name != nullptr ? file->name : "stdin";
}

const char *outputname(const filectl *file) {
    return file->name != nullptr ? file->name : "stdout";
}

} // namespace kvern

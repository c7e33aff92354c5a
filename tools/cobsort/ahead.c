/* What -lkvern-cobsort puts into a program beside the name of the library.

   A COBOL compiler names the run-time ahead of all other libraries, so that its routines
   would be found first, and a linker that takes only what is needed would leave this library
   out.  What a program defines itself comes before all libraries: the calls stand here, and
   go on to the library with their arguments as they are. */
#include "names.h"

#if defined __x86_64__
#define LANDING "endbr64"
#define JUMP "jmp "
#define TARGET "@PLT"
#elif defined __aarch64__
#define LANDING "hint #34"
#define JUMP "b "
#define TARGET ""
#else
#error "how this processor jumps is not known"
#endif

#define AHEAD(name)                                                                                \
    __asm__(".text\n"                                                                              \
            ".balign 16\n"                                                                         \
            ".globl cob_" #name "\n"                                                               \
            ".type cob_" #name ", %function\n"                                                     \
            "cob_" #name ":\n" LANDING "\n" JUMP "kvern_" #name TARGET "\n"                        \
            ".size cob_" #name ", . - cob_" #name)

COBSORT_CALLS(AHEAD);

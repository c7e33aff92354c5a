// The mark of the calls that leave the library; all else in it is hidden.  On
// Windows the list of names in kvern.def does this.
#pragma once

#if defined(_WIN32)
#define KVERN_EXPORTED
#else
#define KVERN_EXPORTED __attribute__((visibility("default")))
#endif

# 32-bit Windows, cross-built on Linux; built programs run under Wine.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR i686)
# Where the distribution has two thread models, the one with std::mutex, which
# GoogleTest needs; the engine uses neither.
find_program(KVERN_MINGW_C NAMES i686-w64-mingw32-gcc-posix i686-w64-mingw32-gcc REQUIRED)
find_program(KVERN_MINGW_CXX NAMES i686-w64-mingw32-g++-posix i686-w64-mingw32-g++ REQUIRED)
set(CMAKE_C_COMPILER ${KVERN_MINGW_C})
set(CMAKE_CXX_COMPILER ${KVERN_MINGW_CXX})
set(CMAKE_RC_COMPILER i686-w64-mingw32-windres)
set(CMAKE_FIND_ROOT_PATH /usr/i686-w64-mingw32)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/../scripts/wine.sh)

# The target kvern::kvern: the engine's library and the place of kvern.h.
include("${CMAKE_CURRENT_LIST_DIR}/kvern-targets.cmake")

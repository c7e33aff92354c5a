# What makes a fault in our code harder to use.  Everything of ours on Linux has its tables
# of addresses resolved at the start and read-only then, guarded stacks, marked targets of
# jumps and fortified calls; the engine's hot loops are as fast with them.  On Windows the
# stacks are guarded: in a DLL with a guard of our own (win32_guard.cpp tells why), in a
# program with what the compiler brings.  The sanitizers know the plain calls alone.
include(CheckCXXCompilerFlag)

add_library(kvern_hardening INTERFACE)
add_library(kvern_hardening_exe INTERFACE) # for what is linked into programs alone
target_link_libraries(kvern_hardening_exe INTERFACE kvern_hardening)
if(NOT WIN32)
  check_cxx_compiler_flag(-fcf-protection=full KVERN_HAS_CF_PROTECTION)
  if(KVERN_HAS_CF_PROTECTION)
    target_compile_options(kvern_hardening INTERFACE -fcf-protection=full)
  endif()
  target_compile_options(kvern_hardening INTERFACE -fstack-protector-strong)
  if(NOT KVERN_SANITIZE)
    target_compile_options(kvern_hardening INTERFACE
      $<$<CONFIG:Release>:-U_FORTIFY_SOURCE$<SEMICOLON>-D_FORTIFY_SOURCE=2>)
  endif()
  target_link_options(kvern_options INTERFACE -Wl,-z,relro,-z,now)
else()
  target_compile_options(kvern_hardening INTERFACE -fstack-protector-strong)
  set(KVERN_GUARD_SOURCE ${CMAKE_SOURCE_DIR}/src/platform/win32/win32_guard.cpp)
  target_link_options(kvern_hardening_exe INTERFACE -fstack-protector-strong) # brings their library
endif()

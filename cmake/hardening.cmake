# What makes a fault in our code harder to use.  Everything of ours on Linux has its tables
# of addresses resolved at the start and read-only then; the command and the file manager
# have guarded stacks, marked targets of jumps and fortified calls as well.  Not the engine:
# its hot loops were not measured with them.  The sanitizers know the plain calls alone.
include(CheckCXXCompilerFlag)

add_library(kvern_hardening INTERFACE)
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
endif()

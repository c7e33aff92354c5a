# The packages for Debian: what they are called and need, and what lies in them beside the
# installed files.  lintian finds nothing in them (scripts/check-packages.sh); where it is
# wrong, cmake/debian/PACKAGE.lintian-overrides says why.
find_program(KVERN_GZIP gzip REQUIRED)
set(debian_dir ${CMAKE_SOURCE_DIR}/cmake/debian)
set(made_debian ${made_dir}/debian)

# The newest part of CHANGELOG.md, in the form that Debian has for it.
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS CHANGELOG.md)
execute_process(INPUT_FILE ${CMAKE_SOURCE_DIR}/CHANGELOG.md OUTPUT_VARIABLE changes
  COMMAND_ERROR_IS_FATAL ANY
  COMMAND sed "1,/^## /d; /^## /,$d; s/^  /    /; s/^- /  * /" COMMAND fmt -t -w 78)
string(TIMESTAMP now "%a, %d %b %Y %H:%M:%S +0000" UTC)
file(WRITE ${made_debian}/changelog
  "kvern (${PROJECT_VERSION}) unstable; urgency=medium\n${changes}\n"
  " -- ${CPACK_PACKAGE_CONTACT}  ${now}\n")
execute_process(COMMAND ${KVERN_GZIP} -9nf ${made_debian}/changelog COMMAND_ERROR_IS_FATAL ANY)

# kvern_debian(COMPONENT PACKAGE DESCRIPTION): its first line is the synopsis.
function(kvern_debian component package description)
  string(TOUPPER ${component} upper)
  set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${package} PARENT_SCOPE)
  set(CPACK_DEBIAN_${upper}_DESCRIPTION "${description}" PARENT_SCOPE)
  set(folder ${CMAKE_INSTALL_DATADIR}/doc/${package})
  install(FILES ${made_debian}/changelog.gz DESTINATION ${folder} COMPONENT ${component})
  if(NOT package STREQUAL "kvern") # which has it as all installations have
    install(FILES ${debian_dir}/copyright DESTINATION ${folder} COMPONENT ${component})
  endif()
  if(EXISTS ${debian_dir}/${package}.lintian-overrides)
    install(FILES ${debian_dir}/${package}.lintian-overrides RENAME ${package}
            DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides COMPONENT ${component})
  endif()
endfunction()

# kvern_debian_library(COMPONENT PACKAGE SONAME NAME...): the calls that it exports.
function(kvern_debian_library component package soname)
  string(TOUPPER ${component} upper)
  list(SORT ARGN)
  list(TRANSFORM ARGN REPLACE "(.+)" " \\1@Base ${PROJECT_VERSION}\n" OUTPUT_VARIABLE lines)
  file(WRITE ${made_debian}/${package}/symbols "${soname} ${package} #MINVER#\n"
       "* Build-Depends-Package: libkvern-dev\n" ${lines})
  # CPack would have ldconfig called by scripts, unless some are given.  There are none: the
  # trigger does it.
  set(CPACK_DEBIAN_${upper}_PACKAGE_CONTROL_EXTRA
      "${made_debian}/${package}/symbols;${debian_dir}/triggers;none/postinst;none/postrm"
      PARENT_SCOPE)
  set(CPACK_DEBIAN_${upper}_PACKAGE_CONTROL_STRICT_PERMISSION ON PARENT_SCOPE)
  set(CPACK_DEBIAN_${upper}_PACKAGE_SECTION libs PARENT_SCOPE)
endfunction()

set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_BINARY_DIR})
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(library_package libkvern${KVERN_SOVERSION})
set(of_library "${library_package} (= ${PROJECT_VERSION})")

kvern_debian(library ${library_package} "sort, merge and copy engine for records
Kvern sorts, merges and copies fixed, variable and text records by packed,
zoned, binary and text keys, in a fixed piece of memory. This is the library
that programs run with.")
file(READ ${CMAKE_SOURCE_DIR}/src/kvern.map exported)
string(REGEX MATCHALL "(kvrn|qha5)[a-z]+" exported "${exported}")
kvern_debian_library(library ${library_package} libkvern.so.${KVERN_SOVERSION} ${exported})

kvern_debian(development libkvern-dev "sort, merge and copy engine for records - development files
Kvern sorts, merges and copies fixed, variable and text records by packed,
zoned, binary and text keys, in a fixed piece of memory. This package has the
header, the copybook, the link name, the files for pkg-config and CMake, the
manual of the calls and example programs. The reference pages lie in the
package kvern.")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS ${of_library})
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_RECOMMENDS kvern)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SHLIBDEPS OFF)

kvern_debian(command kvern "sort, merge, copy and check records from the command line
The command of the Kvern engine sorts, merges, copies and checks fixed,
variable and text records by packed, zoned, binary and text keys, with a
filter language, rebuilt records and sums. The documentation of the engine
lies here as well.")
set(CPACK_DEBIAN_COMMAND_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_COMMAND_PACKAGE_DEPENDS ${of_library})

if(TARGET kvern_cobsort)
  kvern_debian(cobsort libkvern-cobsort "faster SORT and MERGE verbs for programs of GnuCOBOL
A library that stands in for the sort routines of GnuCOBOL's run-time and sorts
by the Kvern engine, on several cores and in little memory. Programs stay as
they are: kvern-cob runs them with the library, or they are linked to it. What
it does not sort the run-time sorts as before.")
  file(READ ${CMAKE_SOURCE_DIR}/tools/cobsort/names.h names)
  string(REGEX MATCHALL "each\\([a-z_]+\\)" names "${names}")
  list(TRANSFORM names REPLACE "each.(.+)." "cob_\\1" OUTPUT_VARIABLE exported)
  list(TRANSFORM names REPLACE "each.(.+)." "kvern_\\1")
  kvern_debian_library(cobsort libkvern-cobsort libkvern-cobsort.so.1 ${exported} ${names})
  set(CPACK_DEBIAN_COBSORT_PACKAGE_DEPENDS "${of_library}, libcob4 (>= 3.1)")
  set(CPACK_DEBIAN_COBSORT_PACKAGE_SUGGESTS gnucobol3)
  set(CPACK_DEBIAN_COBSORT_PACKAGE_ENHANCES libcob4)
endif()

# What is installed, where, and the packages that are made of it: three for Debian
# (library, development files, command), one archive for Windows.  docs/packages.md
# tells how they are made and used.
include(CMakePackageConfigHelpers)

set(KVERN_ZSH_DIR ${CMAKE_INSTALL_DATADIR}/zsh/site-functions CACHE STRING
    "Where zsh looks for completions, below the prefix")
set(KVERN_COPY_DIR ${CMAKE_INSTALL_DATADIR}/gnucobol/copy CACHE STRING
    "Where cobc looks for copybooks, below the prefix")
if(WIN32)
  set(CMAKE_INSTALL_DOCDIR doc)
  set(KVERN_COPY_DIR ${CMAKE_INSTALL_INCLUDEDIR})
endif()
set(cmake_dir ${CMAKE_INSTALL_LIBDIR}/cmake/kvern)

# ---- library and development files ------------------------------------------

install(TARGETS kvern EXPORT kvern-targets
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT library
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library
                NAMELINK_COMPONENT development
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
# The engine loads it by name, so it lies where libraries lie.
install(TARGETS kvern_fmgr
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT library
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library)
install(FILES include/kvern.h include/kvern.hpp DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
        COMPONENT development)
install(FILES include/kvern.cpy DESTINATION ${KVERN_COPY_DIR} COMPONENT development)

install(EXPORT kvern-targets NAMESPACE kvern:: DESTINATION ${cmake_dir} COMPONENT development)
write_basic_package_version_file(${made_dir}/kvern-config-version.cmake
                                 COMPATIBILITY SameMajorVersion)
install(FILES cmake/kvern-config.cmake ${made_dir}/kvern-config-version.cmake
        DESTINATION ${cmake_dir} COMPONENT development)

if(WIN32)
  # Other makers of import libraries start from the list of names.
  install(FILES src/kvern.def DESTINATION ${CMAKE_INSTALL_LIBDIR} RENAME m7hqkvrn.def
          COMPONENT development)
else()
  file(RELATIVE_PATH pc_to_prefix ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
  string(REGEX REPLACE "/$" "" pc_to_prefix ${pc_to_prefix})
  configure_file(cmake/kvern.pc.in ${made_dir}/kvern.pc @ONLY)
  install(FILES ${made_dir}/kvern.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
          COMPONENT development)
endif()

# ---- command ----------------------------------------------------------------

install(TARGETS kvern_command RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT command)
if(NOT WIN32 AND CMAKE_INSTALL_PREFIX STREQUAL "/usr") # the system's libraries are found
  set(installed "\$ENV{DESTDIR}${CMAKE_INSTALL_FULL_BINDIR}/kvern")
  install(CODE "file(RPATH_REMOVE FILE \"${installed}\")" COMPONENT command)
endif()

# ---- documentation ----------------------------------------------------------

file(GLOB doc_pages CONFIGURE_DEPENDS docs/*.md)
install(FILES README.md CHANGELOG.md DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT development)
install(FILES ${doc_pages} DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs COMPONENT development)
install(DIRECTORY examples DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT development
        PATTERN __pycache__ EXCLUDE)
if(KVERN_PAGES)
  install(FILES docs/man/libkvern.3 DESTINATION ${CMAKE_INSTALL_MANDIR}/man3
          COMPONENT development)
  install(FILES docs/man/kvern-where.7 DESTINATION ${CMAKE_INSTALL_MANDIR}/man7
          COMPONENT command)
  install(FILES ${made_dir}/kvern.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT command)
  install(FILES ${made_dir}/kvern.bash RENAME kvern COMPONENT command
          DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
  install(FILES ${made_dir}/kvern.zsh RENAME _kvern DESTINATION ${KVERN_ZSH_DIR}
          COMPONENT command)
  install(FILES ${made_dir}/kvern.fish COMPONENT command
          DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d)
endif()

# ---- packages ---------------------------------------------------------------

# Tests may stay unbuilt; the Makefile builds what a package needs.
set(CMAKE_SKIP_INSTALL_ALL_DEPENDENCY ON)
set(CPACK_PACKAGE_VENDOR "Kvern")
set(CPACK_PACKAGE_CONTACT "The Kvern maintainers <kvern@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Sort, merge and copy engine for records")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_OUTPUT_FILE_PREFIX ${CMAKE_SOURCE_DIR}/build/packages)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL library development command)

if(WIN32)
  set(CPACK_GENERATOR ZIP)
  set(CPACK_PACKAGE_FILE_NAME kvern-${PROJECT_VERSION}-win32)
  set(CPACK_COMPONENTS_GROUPING ALL_COMPONENTS_IN_ONE)
  set(CPACK_ARCHIVE_COMPONENT_INSTALL OFF)
else()
  set(CPACK_GENERATOR DEB)
  set(CPACK_DEB_COMPONENT_INSTALL ON)
  set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
  set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_BINARY_DIR})
  set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)

  set(library_package libkvern${KVERN_SOVERSION})
  set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME ${library_package})
  set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
  set(CPACK_DEBIAN_LIBRARY_DESCRIPTION "Sort, merge and copy engine for records
 Kvern sorts, merges and copies fixed, variable and text records by packed, zoned,
 binary and text keys. This is the library that programs run with.")
  set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libkvern-dev)
  set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
  set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${library_package} (= ${PROJECT_VERSION})")
  set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SHLIBDEPS OFF)
  set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "Sort, merge and copy engine for records (development)
 Header, copybook, link name, pkg-config and CMake files and the documentation of the
 Kvern library.")
  set(CPACK_DEBIAN_COMMAND_PACKAGE_NAME kvern)
  set(CPACK_DEBIAN_COMMAND_PACKAGE_SECTION utils)
  set(CPACK_DEBIAN_COMMAND_PACKAGE_DEPENDS "${library_package} (= ${PROJECT_VERSION})")
  set(CPACK_DEBIAN_COMMAND_DESCRIPTION "Sort, merge and copy records from the command line
 The command of the Kvern engine: sorts, merges, copies and checks fixed, variable
 and text records, with a filter language.")
endif()
include(CPack)

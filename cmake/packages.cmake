# What is installed, where, and the packages that are made of it: for Debian one of each
# component (debian.cmake), one archive for Windows.  docs/packages.md tells how they are
# made and used.
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
# The system's own places, those of the packages.
set(KVERN_SYSTEM OFF)
if(NOT WIN32 AND CMAKE_INSTALL_PREFIX STREQUAL "/usr")
  set(KVERN_SYSTEM ON)
endif()

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

# ---- programs ---------------------------------------------------------------

install(TARGETS kvern_command RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT command)
if(KVERN_SYSTEM) # which finds its own libraries without a path
  install(CODE "file(RPATH_REMOVE FILE \"\$ENV{DESTDIR}${CMAKE_INSTALL_FULL_BINDIR}/kvern\")"
          COMPONENT command)
endif()
if(TARGET kvern_cobsort)
  install(TARGETS kvern_cobsort LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT cobsort)
  install(FILES ${cobsort_linked} DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT cobsort)
  install(PROGRAMS ${CMAKE_BINARY_DIR}/kvern-cob DESTINATION ${CMAKE_INSTALL_BINDIR}
          COMPONENT cobsort)
endif()

# ---- documentation ----------------------------------------------------------

# The notices of what is compiled into the command go with it.
file(READ cmake/debian/copyright copyright)
foreach(part libcli11-dev nlohmann-json3-dev)
  if(EXISTS /usr/share/doc/${part}/copyright)
    file(READ /usr/share/doc/${part}/copyright notice)
    string(APPEND copyright "\nThe command holds parts of ${part}:\n\n${notice}")
  endif()
endforeach()
file(WRITE ${made_dir}/copyright "${copyright}")

file(GLOB doc_pages CONFIGURE_DEPENDS docs/*.md)
install(FILES README.md CHANGELOG.md ${made_dir}/copyright DESTINATION ${CMAKE_INSTALL_DOCDIR}
        COMPONENT command)
install(FILES ${doc_pages} DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs COMPONENT command)
install(DIRECTORY examples DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT development
        PATTERN __pycache__ EXCLUDE)

# kvern_manual(COMPONENT PAGE...): pages of the manual, compressed where the system's are.
function(kvern_manual component)
  foreach(page ${ARGN})
    get_filename_component(name ${page} NAME)
    string(REGEX REPLACE ".*[.]" "" section ${name})
    set(folder ${CMAKE_INSTALL_MANDIR}/man${section})
    install(FILES ${page} DESTINATION ${folder} COMPONENT ${component})
    if(KVERN_SYSTEM)
      install(CODE "execute_process(COMMAND_ERROR_IS_FATAL ANY
        COMMAND gzip -9nf \"\$ENV{DESTDIR}/usr/${folder}/${name}\")" COMPONENT ${component})
    endif()
  endforeach()
endfunction()

if(KVERN_PAGES)
  # Every call that libkvern(3) names leads there.
  file(STRINGS docs/man/libkvern.3 calls REGEX "^kvrn.*")
  string(REGEX MATCHALL "kvrn[a-z]+" calls "${calls}")
  list(REMOVE_DUPLICATES calls)
  foreach(call ${calls})
    file(WRITE ${made_dir}/${call}.3 ".so man3/libkvern.3\n")
    kvern_manual(development ${made_dir}/${call}.3)
  endforeach()
  kvern_manual(development docs/man/libkvern.3)
  kvern_manual(command docs/man/kvern-where.7 ${made_dir}/kvern.1)
  if(TARGET kvern_cobsort)
    kvern_manual(cobsort docs/man/kvern-cob.1)
  endif()
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
set(CPACK_PACKAGE_CONTACT "The Kvern maintainers <maintainers@kvern.invalid>")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_OUTPUT_FILE_PREFIX ${CMAKE_SOURCE_DIR}/build/packages)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL library development command)
if(TARGET kvern_cobsort)
  list(APPEND CPACK_COMPONENTS_ALL cobsort)
endif()

if(WIN32)
  set(CPACK_GENERATOR ZIP)
  set(CPACK_PACKAGE_FILE_NAME kvern-${PROJECT_VERSION}-win32)
  set(CPACK_COMPONENTS_GROUPING ALL_COMPONENTS_IN_ONE)
  set(CPACK_ARCHIVE_COMPONENT_INSTALL OFF)
elseif(KVERN_SYSTEM)
  include(cmake/debian.cmake)
endif()
include(CPack)

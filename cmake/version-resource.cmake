# Gives a product for Windows the version that its file properties show.
if(WIN32)
  enable_language(RC)
endif()

function(kvern_version_resource target type file description)
  string(REPLACE "." "," KVERN_VERSION_WORDS ${PROJECT_VERSION})
  set(KVERN_FILE_TYPE ${type})
  set(KVERN_FILE_NAME ${file})
  set(KVERN_FILE_DESCRIPTION ${description})
  configure_file(${PROJECT_SOURCE_DIR}/cmake/version.rc.in ${PROJECT_BINARY_DIR}/${target}.rc @ONLY)
  target_sources(${target} PRIVATE ${PROJECT_BINARY_DIR}/${target}.rc)
endfunction()

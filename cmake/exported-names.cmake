# exported-names.cmake - the names of the functions include/velnor.h exports
# (declarations that begin with VELNOR_API), in VELNOR_EXPORTED_NAMES.  The
# build is configured again whenever the header changes, so a new export is
# picked up by the linker script without further edits.
file(STRINGS ${PROJECT_SOURCE_DIR}/include/velnor.h velnor_api_lines REGEX "^[ \t]*VELNOR_API[ \t]")
set(VELNOR_EXPORTED_NAMES)
foreach(line IN LISTS velnor_api_lines)
  if(line MATCHES "([A-Za-z_][A-Za-z0-9_]*)[ \t]*\\(")
    list(APPEND VELNOR_EXPORTED_NAMES ${CMAKE_MATCH_1})
  endif()
endforeach()
list(REMOVE_DUPLICATES VELNOR_EXPORTED_NAMES)
list(SORT VELNOR_EXPORTED_NAMES)
set_property(DIRECTORY ${PROJECT_SOURCE_DIR} APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS
             ${PROJECT_SOURCE_DIR}/include/velnor.h)

# windows-dll.cmake - how velnor.dll is linked.
#
# Every export is plain: on 32-bit Windows the __stdcall functions are
# exported without their @N decoration (--kill-at), and "round" is added as a
# second name of velnor_round.  GNU ld writes an import library with plain
# symbol names in that case, which programs compiled against velnor.h cannot
# link, so after the link the import library is made again from the export
# list ld wrote (decorated internal names, plain export names).  That list is
# also installed as velnor.def.
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
  set(VELNOR_ROUND_SYMBOL velnor_round@12)
else()
  set(VELNOR_ROUND_SYMBOL velnor_round)
endif()
configure_file(${CMAKE_CURRENT_LIST_DIR}/velnor.def.in ${CMAKE_BINARY_DIR}/velnor-extra.def @ONLY)
target_sources(velnor PRIVATE ${CMAKE_BINARY_DIR}/velnor-extra.def)

set_target_properties(velnor PROPERTIES PREFIX "" OUTPUT_NAME velnor IMPORT_PREFIX lib IMPORT_SUFFIX .dll.a)
target_link_options(velnor PRIVATE -static -static-libgcc -static-libstdc++
                    -Wl,--output-def,${CMAKE_BINARY_DIR}/velnor-ld.def)
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
  target_link_options(velnor PRIVATE -Wl,--kill-at)
endif()

find_program(VELNOR_DLLTOOL NAMES ${VELNOR_MINGW_TRIPLET}-dlltool dlltool REQUIRED)
add_custom_command(TARGET velnor POST_BUILD
  COMMAND ${CMAKE_COMMAND} -DIN=${CMAKE_BINARY_DIR}/velnor-ld.def -DOUT=${CMAKE_BINARY_DIR}/velnor.def
          -DDLLTOOL=${VELNOR_DLLTOOL} -DDLL=$<TARGET_FILE_NAME:velnor> -DIMPLIB=$<TARGET_LINKER_FILE:velnor>
          -P ${CMAKE_CURRENT_LIST_DIR}/make-implib.cmake
  VERBATIM)

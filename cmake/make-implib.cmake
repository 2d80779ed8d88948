# make-implib.cmake - turns the export list GNU ld wrote for velnor.dll into
# a module-definition file that names each function by its decorated symbol
# (filehandler@4) and builds the import library from it with dlltool -k, so
# programs reference the decorated symbol and load the plain export name.
# Variables: IN (ld's list), OUT (.def to write), DLLTOOL, DLL, IMPLIB.
file(STRINGS ${IN} lines)
set(def "LIBRARY ${DLL}\nEXPORTS\n")
foreach(line IN LISTS lines)
  if(line MATCHES "^[ \t]*([A-Za-z_][A-Za-z0-9_]*) = ([A-Za-z_][A-Za-z0-9_]*@[0-9]+) (@[0-9]+.*)$")
    set(name ${CMAKE_MATCH_1})
    set(symbol ${CMAKE_MATCH_2})
    set(rest ${CMAKE_MATCH_3})
    if(symbol MATCHES "^${name}@")
      string(APPEND def "    ${symbol} ${rest}\n")
    else()
      string(APPEND def "    ${name} = ${symbol} ${rest}\n")
    endif()
  elseif(line MATCHES "^[ \t]+[A-Za-z_]")
    string(STRIP "${line}" entry)
    string(APPEND def "    ${entry}\n")
  endif()
endforeach()
file(WRITE ${OUT} "${def}")
execute_process(COMMAND ${DLLTOOL} -k -d ${OUT} -D ${DLL} -l ${IMPLIB} RESULT_VARIABLE rc ERROR_VARIABLE err)
if(NOT rc EQUAL 0 OR err)
  message(FATAL_ERROR "dlltool failed to make ${IMPLIB}: ${err}")
endif()

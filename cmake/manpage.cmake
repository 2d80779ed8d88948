# manpage.cmake - one man page from the program's own help text, run as
# cmake -DVELNOR=<program> -DCOMMAND=<subcommand or ""> -DVERSION=<v>
#       -DOUT=<page> -P manpage.cmake
# help2man reads `velnor [COMMAND] --help`; the page is then named for the
# command (velnor-load(1)), its one-line summary taken from the help's
# first line.
set(args ${COMMAND} --help)
execute_process(COMMAND ${VELNOR} ${args} OUTPUT_VARIABLE help RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "${VELNOR} ${COMMAND} --help failed")
endif()
string(REGEX REPLACE "\n.*" "" summary "${help}")
string(REGEX REPLACE "^velnor - " "" summary "${summary}")
find_program(HELP2MAN help2man REQUIRED)
execute_process(COMMAND ${HELP2MAN} --no-info --no-discard-stderr "--help-option=${COMMAND} --help"
                        --version-string=${VERSION} "--name=${summary}" --output=${OUT}.tmp ${VELNOR}
                RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "help2man failed for velnor ${COMMAND}")
endif()
file(READ ${OUT}.tmp page)
if(COMMAND)
  string(TOUPPER "velnor-${COMMAND}" title)
  string(REPLACE ".TH VELNOR " ".TH ${title} " page "${page}")
  string(REPLACE ".SH NAME\nvelnor \\-" ".SH NAME\nvelnor-${COMMAND} \\-" page "${page}")
endif()
# The build folder's path stands where a user sees the program's name.
get_filename_component(dir ${VELNOR} DIRECTORY)
string(REPLACE "${dir}/" "" page "${page}")
file(WRITE ${OUT} "${page}")
file(REMOVE ${OUT}.tmp)

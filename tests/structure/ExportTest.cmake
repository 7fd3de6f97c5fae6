# The library's dynamic symbols are its one function. Takes NM and LIBRARY.
cmake_minimum_required(VERSION 3.22)
execute_process(COMMAND "${NM}" -D --defined-only "${LIBRARY}" OUTPUT_VARIABLE symbols COMMAND_ERROR_IS_FATAL ANY)
string(REGEX REPLACE "[0-9a-f]+ ([A-Za-z]) " "\\1 " symbols "${symbols}")
if(NOT symbols STREQUAL "T GetRawFileTypeFactory\n")
    message(FATAL_ERROR "exported:\n${symbols}")
endif()

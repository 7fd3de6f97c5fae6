# salvor_check_headers(TARGET LIBRARIES...): a target that compiles every header of the repository by itself. A header
# that its own source includes first is compiled alone with that source and needs no unit here.
function(salvor_check_headers target)
    file(GLOB_RECURSE headers CONFIGURE_DEPENDS RELATIVE ${PROJECT_SOURCE_DIR}
        ${PROJECT_SOURCE_DIR}/frame/*.h ${PROJECT_SOURCE_DIR}/formats/*.h ${PROJECT_SOURCE_DIR}/containers/*.h
        ${PROJECT_SOURCE_DIR}/media/*.h ${PROJECT_SOURCE_DIR}/images/*.h ${PROJECT_SOURCE_DIR}/documents/*.h
        ${PROJECT_SOURCE_DIR}/host/*.h ${PROJECT_SOURCE_DIR}/tests/*.h ${PROJECT_SOURCE_DIR}/fuzz/*.h)
    set(units "")
    foreach(header IN LISTS headers)
        string(REGEX REPLACE "\\.h$" ".cpp" source "${header}")
        set(first "")
        if(EXISTS ${PROJECT_SOURCE_DIR}/${source})
            file(STRINGS ${PROJECT_SOURCE_DIR}/${source} first REGEX "^#include" LIMIT_COUNT 1)
        endif()
        if(NOT first STREQUAL "#include \"${header}\"")
            set(unit ${CMAKE_CURRENT_BINARY_DIR}/${target}/${header}.cpp)
            file(CONFIGURE OUTPUT ${unit} CONTENT "#include \"@header@\"\n" @ONLY)
            list(APPEND units ${unit})
        endif()
    endforeach()
    add_library(${target} OBJECT ${units})
    target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/frame/contract)
    target_link_libraries(${target} PRIVATE ${ARGN})
    # Only compiled, never run.
    target_compile_options(${target} PRIVATE -O0 -g0)
endfunction()

# Installs the library and builds a third party's host against it, far from the source tree.
# Takes BUILD_DIR, SOURCE_DIR (of this script), COMPILER, GENERATOR and FLAGS (a list).
cmake_minimum_required(VERSION 3.22)

set(temp "$ENV{TMPDIR}")
if(NOT temp)
    set(temp /tmp)
endif()
# A folder for each build, so that what an aborted run leaves is cleaned up by the next.
string(MD5 id "${BUILD_DIR}")
set(work "${temp}/rawfiletypes-sdk-${id}")
file(REMOVE_RECURSE "${work}")
set(prefix "${work}/prefix")
list(JOIN FLAGS " " flags)

function(run)
    execute_process(COMMAND ${ARGN} WORKING_DIRECTORY "${work}" RESULT_VARIABLE result
        OUTPUT_VARIABLE output ERROR_VARIABLE output)
    if(NOT result EQUAL 0)
        message(FATAL_ERROR "${ARGN}: ${result}\n${output}")
    endif()
    set(output "${output}" PARENT_SCOPE)
endfunction()

function(run_consumer program)
    run("${program}")
    if(NOT output STREQUAL "113 types\npng at 1, 300 bytes\n")
        message(FATAL_ERROR "${program} says:\n${output}")
    endif()
endfunction()

file(COPY "${SOURCE_DIR}/consumer" DESTINATION "${work}")
run("${CMAKE_COMMAND}" --install "${BUILD_DIR}/frame" --prefix "${prefix}")

run("${CMAKE_COMMAND}" -G "${GENERATOR}" -S consumer -B with-cmake "-DCMAKE_PREFIX_PATH=${prefix}"
    "-DCMAKE_CXX_COMPILER=${COMPILER}" "-DCMAKE_CXX_FLAGS=${flags}")
run("${CMAKE_COMMAND}" --build with-cmake)
run_consumer("${work}/with-cmake/consumer")

file(GLOB_RECURSE pc_file "${prefix}/*/rawfiletypes.pc")
get_filename_component(pc_dir "${pc_file}" DIRECTORY)
set(ENV{PKG_CONFIG_PATH} "${pc_dir}")
run(pkg-config --cflags --libs rawfiletypes)
separate_arguments(pc_flags UNIX_COMMAND "${output}")
run(pkg-config --variable=libdir rawfiletypes)
string(STRIP "${output}" libdir)
run("${COMPILER}" -std=c++17 ${FLAGS} consumer/main.cpp -o with-pkg-config ${pc_flags} "-Wl,-rpath,${libdir}")
run_consumer("${work}/with-pkg-config")

# The headers stand alone, in the oldest language that a host may use.
file(GLOB_RECURSE headers "${prefix}/include/*.h")
if(NOT headers)
    message(FATAL_ERROR "no header was installed")
endif()
foreach(header IN LISTS headers)
    get_filename_component(name "${header}" NAME)
    get_filename_component(include_dir "${header}" DIRECTORY)
    file(WRITE "${work}/alone.cpp" "#include <${name}>\n")
    run("${COMPILER}" -std=c++17 -fsyntax-only -Wall -Wextra -Werror "-I${include_dir}" alone.cpp)
    file(STRINGS "${header}" includes REGEX "^[ \t]*#[ \t]*include")
    foreach(include IN LISTS includes)
        string(REGEX REPLACE ".*\"(.*)\"" "${include_dir}/\\1" included "${include}")
        if(NOT include STREQUAL "#include <cstdint>" AND NOT included IN_LIST headers)
            message(FATAL_ERROR "${name} has ${include}")
        endif()
    endforeach()
endforeach()

file(REMOVE_RECURSE "${work}")

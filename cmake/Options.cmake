option(SALVOR_TESTS "Build the tests" ON)
option(SALVOR_CHECK_HEADERS "Compile every header by itself, with the tests" ON)
option(SALVOR_PRECOMPILE "Precompile what most sources of the program and the tests include" OFF)
option(SALVOR_BENCH "Have a target for the benchmarks" OFF)
option(SALVOR_FUZZ "Build the fuzz targets (clang only)" OFF)
set(SALVOR_SANITIZE "" CACHE STRING "Sanitizers for all targets, as for -fsanitize")

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/lib)

if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
    set(CMAKE_BUILD_TYPE Release CACHE STRING "Build type" FORCE)
endif()

# The project's own targets link this; third-party headers come in as system headers.
add_library(salvor_build_flags INTERFACE)
if(MSVC)
    target_compile_options(salvor_build_flags INTERFACE /W4 /WX /permissive-)
else()
    target_compile_options(salvor_build_flags INTERFACE
        -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wnon-virtual-dtor -Wold-style-cast
        -Wformat=2 -Werror)
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
        # g++ 12 reports a false overlap in the standard library's own string concatenation.
        target_compile_options(salvor_build_flags INTERFACE -Wno-restrict)
    endif()
    if(WIN32)
        # There the interfaces have no virtual destructor; deleting through them is still an error.
        target_compile_options(salvor_build_flags INTERFACE -Wno-non-virtual-dtor)
    endif()
endif()
# Media are hostile: hardening makes it hard to turn a fault into more than a crash.
add_library(salvor_hardening INTERFACE)
if(UNIX AND NOT APPLE)
    include(CheckPIESupported)
    check_pie_supported(LANGUAGES CXX)
    target_compile_options(salvor_hardening INTERFACE -fstack-protector-strong)
    target_link_options(salvor_hardening INTERFACE -Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack)
    if(NOT SALVOR_SANITIZE)
        # Needs the optimiser; the sanitizers check more by themselves.
        target_compile_options(salvor_hardening INTERFACE
            $<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE> $<$<NOT:$<CONFIG:Debug>>:-D_FORTIFY_SOURCE=3>)
    endif()
endif()
if(SALVOR_SANITIZE)
    add_compile_options(-fsanitize=${SALVOR_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${SALVOR_SANITIZE})
endif()

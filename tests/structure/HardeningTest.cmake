# What the binaries do against abuse of a fault. Takes READELF, PROGRAM and LIBRARY.
cmake_minimum_required(VERSION 3.22)
set(wrong "")
foreach(binary IN ITEMS ${PROGRAM} ${LIBRARY})
    execute_process(COMMAND "${READELF}" -W --file-header --program-headers --dynamic --dyn-syms "${binary}"
        OUTPUT_VARIABLE text COMMAND_ERROR_IS_FATAL ANY)
    foreach(rule IN ITEMS
            "is position-independent=Type: +DYN"
            "has no executable stack=GNU_STACK [ 0-9a-fx]+ RW "
            "has read-only relocations=GNU_RELRO"
            "binds all symbols at its start=FLAGS_1[^\n]* NOW"
            "protects its stack=UND __stack_chk_fail")
        string(REGEX REPLACE "=.*" "" promise "${rule}")
        string(REGEX REPLACE "^[^=]*=" "" sign "${rule}")
        if(NOT text MATCHES "${sign}")
            string(APPEND wrong "${binary}: not so: it ${promise}\n")
        endif()
    endforeach()
    if(binary STREQUAL PROGRAM AND NOT text MATCHES "UND __[a-z]+_chk@")
        string(APPEND wrong "${binary}: calls no checked function\n")
    endif()
endforeach()
if(wrong)
    message(FATAL_ERROR "${wrong}")
endif()

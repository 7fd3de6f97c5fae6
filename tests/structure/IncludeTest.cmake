# Who may include whom: the arrows between the rooms of the house. Takes SOURCE_DIR.
cmake_minimum_required(VERSION 3.22)
set(families "containers|media|images|documents")

# The rooms that each room may include besides itself.
set(uses_frame/contract "")
set(uses_frame/bytes "")
set(uses_frame/read "frame/contract|frame/bytes")
set(uses_frame/memory "${uses_frame/read}|frame/read")
set(uses_frame/scan "${uses_frame/memory}|frame/memory")
set(uses_formats "${uses_frame/scan}|frame/scan")
foreach(family IN ITEMS containers media images documents)
    set(uses_${family} "${uses_formats}|formats")
endforeach()
set(uses_frame/registry "${uses_containers}|${families}")
# The program's rooms stand above each other: each may include those before it, and the contract, bytes and formats of the
# library. The platform room knows nothing of the program, and no other room knows the system.
set(host_rooms say medium records validators workers scan validate volumes plan details report files mount app)
set(uses_host/platform "")
set(library "frame/contract|frame/bytes|formats")
set(below "${library}|host/platform")
foreach(room IN LISTS host_rooms)
    set(uses_host/${room} "${below}")
    string(APPEND below "|host/${room}")
endforeach()
# Planning is pure: it sees no medium and no file. Validators know a file's bytes, but neither the system nor the run
# around them. Each family of validators is a room of its own, and all of them may look at text.
set(uses_host/plan "host/scan|host/validate|host/validators|host/say|frame/contract")
set(uses_host/validators "host/medium|${library}")
foreach(family IN ITEMS containers media images documents text)
    set(uses_host/validators/${family} "${uses_host/validators}|host/validators|host/validators/text")
endforeach()
# Scans note where texts may begin, and details lie in containers and films that validators read.
foreach(room IN ITEMS scan validate)
    string(APPEND uses_host/${room} "|host/validators/text")
endforeach()
string(APPEND uses_host/details "|host/validators/containers|host/validators/media")
# Headers that the program's other rooms take from elsewhere. Those of the language have no suffix and no folder, and a
# few of them show what differs between systems: error numbers, signals, files that open as text.
set(program_libraries fmt/format fmt/chrono pugixml fuse3/fuse fuse3/fuse_lowlevel nlohmann/json simdjson CLI/CLI
    openssl/evp zlib tsk/libtsk libewf libdeflate exiv2/exiv2 libavformat/avformat qpdf/qpdf-c)
list(JOIN program_libraries "|" program_libraries)
set(system_headers "^(cerrno|csignal|fstream)$")

set(wrong "")
file(GLOB_RECURSE files RELATIVE "${SOURCE_DIR}" "${SOURCE_DIR}/frame/*.h" "${SOURCE_DIR}/frame/*.cpp"
    "${SOURCE_DIR}/formats/*" "${SOURCE_DIR}/containers/*" "${SOURCE_DIR}/media/*" "${SOURCE_DIR}/images/*"
    "${SOURCE_DIR}/documents/*" "${SOURCE_DIR}/host/*.h" "${SOURCE_DIR}/host/*.cpp")
foreach(file IN LISTS files)
    get_filename_component(room "${file}" DIRECTORY)
    if(NOT DEFINED uses_${room})
        string(APPEND wrong "${file}: not in a known room; see docs/architecture.md\n")
        continue()
    endif()
    set(allowed "${uses_${room}}")
    file(STRINGS "${SOURCE_DIR}/${file}" lines REGEX "^[ \t]*#[ \t]*include")
    foreach(line IN LISTS lines)
        string(REGEX REPLACE "^[^<\"]*[<\"]([^>\"]*).*" "\\1" name "${line}")
        if(line MATCHES "\"")
            get_filename_component(target "${name}" DIRECTORY)
            # The contract's headers stand beside each other wherever a host has installed them.
            if(room STREQUAL "frame/contract" AND target STREQUAL "")
                continue()
            endif()
            if(NOT target STREQUAL room AND NOT target MATCHES "^(${allowed})$")
                string(APPEND wrong "${file}: ${line}: '${room}' does not know '${target}'\n")
            endif()
        elseif(room MATCHES "^host/" AND NOT room STREQUAL "host/platform")
            set(known FALSE)
            if(name MATCHES "^[a-z_0-9]+$" AND NOT name MATCHES "${system_headers}")
                set(known TRUE)
            elseif(name MATCHES "^(${program_libraries})\\.h(pp)?$" OR EXISTS "${SOURCE_DIR}/frame/contract/${name}")
                set(known TRUE)
            endif()
            if(NOT known)
                string(APPEND wrong "${file}: ${line}: only host/platform knows the system\n")
            endif()
        elseif(NOT room MATCHES "^host" AND NOT name MATCHES "^[a-z_0-9]+$" AND NOT name MATCHES "^Q[A-Za-z]+$")
            # Headers of the language have no suffix and no folder; those of systems have.
            string(APPEND wrong "${file}: ${line}: the library is built from the language's and Qt's own headers\n")
        endif()
    endforeach()
endforeach()

if(wrong)
    message(FATAL_ERROR "${wrong}")
endif()

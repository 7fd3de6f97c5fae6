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
# The program's rooms may include each other; of the library they know the contract, bytes and formats. Planning is pure:
# it sees no medium and no file. The platform room knows nobody, and nobody else knows the system.
set(host_rooms "host/app|host/medium|host/scan|host/validate|host/plan|host/files|host/report|host/platform")
set(uses_host "${host_rooms}|frame/contract|frame/bytes|formats")
set(uses_host/plan "host/scan|host/validate|host/app|frame/contract")
set(uses_host/platform "")
# Headers that the program's other rooms take from elsewhere. Those of the language have no suffix and no folder, and a
# few of them show what differs between systems: error numbers, signals, files that open as text.
set(program_libraries "^(fmt/format|nlohmann/json|CLI/CLI|openssl/evp|zlib)\\.h(pp)?$")
set(system_headers "^(cerrno|csignal|fstream)$")
# Not yet moved.
set(unmoved "host/report/|host/files/|host/app/commands|host/scan/journal|host/validate/outcomes")

set(wrong "")
file(GLOB_RECURSE files RELATIVE "${SOURCE_DIR}" "${SOURCE_DIR}/frame/*.h" "${SOURCE_DIR}/frame/*.cpp"
    "${SOURCE_DIR}/formats/*" "${SOURCE_DIR}/containers/*" "${SOURCE_DIR}/media/*" "${SOURCE_DIR}/images/*"
    "${SOURCE_DIR}/documents/*" "${SOURCE_DIR}/host/*.h" "${SOURCE_DIR}/host/*.cpp")
foreach(file IN LISTS files)
    get_filename_component(room "${file}" DIRECTORY)
    if(DEFINED uses_${room})
        set(allowed "${uses_${room}}")
    elseif(room MATCHES "^host/(.*)" AND "${host_rooms}" MATCHES "(^|\\|)${room}(\\||$)")
        set(allowed "${uses_host}")
    else()
        string(APPEND wrong "${file}: no room of the house; see docs/architecture.md\n")
        continue()
    endif()
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
            elseif(name MATCHES "${program_libraries}" OR EXISTS "${SOURCE_DIR}/frame/contract/${name}")
                set(known TRUE)
            endif()
            if(NOT known AND NOT file MATCHES "${unmoved}")
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

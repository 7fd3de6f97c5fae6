# Man pages and completions, which the program itself prints, and Debian packages of program, library and SDK:
# configure with the preset package, build, then run cpack in build/package.

set(salvor_shared_texts ${PROJECT_BINARY_DIR}/share)
add_custom_command(OUTPUT ${salvor_shared_texts}/done
    COMMAND ${CMAKE_COMMAND} -DPROGRAM=$<TARGET_FILE:salvor> -DFOLDER=${salvor_shared_texts}
        -DVERSION=${PROJECT_VERSION} -P ${PROJECT_SOURCE_DIR}/cmake/SharedTexts.cmake
    DEPENDS salvor ${PROJECT_SOURCE_DIR}/cmake/SharedTexts.cmake)
add_custom_target(salvor_shared_texts ALL DEPENDS ${salvor_shared_texts}/done)
install(DIRECTORY ${salvor_shared_texts}/man1 DESTINATION ${CMAKE_INSTALL_MANDIR} COMPONENT program)
install(FILES ${salvor_shared_texts}/salvor.bash RENAME salvor
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT program)
install(FILES ${salvor_shared_texts}/salvor.zsh RENAME _salvor
    DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions COMPONENT program)
install(FILES ${salvor_shared_texts}/salvor.fish
    DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d COMPONENT program)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
# Each package has a description of its own, before which the project's would be put.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(CPACK_PACKAGE_CONTACT "Salvor maintainers <salvor@salvor.example>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL program library sdk)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
set(CPACK_COMPONENT_PROGRAM_DEPENDS library)
set(CPACK_COMPONENT_SDK_DEPENDS library)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)

# The name and description of each component's package; the first line of the description is the short one.
function(salvor_package component name section description)
    string(TOUPPER ${component} key)
    set(CPACK_DEBIAN_${key}_PACKAGE_NAME ${name} PARENT_SCOPE)
    set(CPACK_DEBIAN_${key}_PACKAGE_SECTION ${section} PARENT_SCOPE)
    set(CPACK_DEBIAN_${key}_DESCRIPTION "${description}" PARENT_SCOPE)
    install(FILES ${PROJECT_SOURCE_DIR}/cmake/copyright ${salvor_shared_texts}/changelog.gz
        DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${name} COMPONENT ${component})
endfunction()
salvor_package(program salvor admin "brings files back from disks whose file system is gone
It reads a disk, a memory card or an image as a plain stream of sectors,
recognises files by their structure, works out how long each one is and
copies it out. It never writes to the medium.")
salvor_package(library librawfiletypes0 libs "recognises files in a raw sector stream
The scanners of Salvor: 113 types of files are found by their headers in
blocks of sectors, and their sizes are worked out.")
salvor_package(sdk librawfiletypes-dev libdevel "recognises files in a raw sector stream (development)
Headers, CMake package and pkg-config file of the library that finds 113
types of files in a stream of sectors.")
# Loaded at run time.
get_target_property(salvor_required salvor SALVOR_REQUIRED_PACKAGES)
set(CPACK_DEBIAN_PROGRAM_PACKAGE_DEPENDS "${salvor_required}")
# Without these, films and PDF have no details.
get_target_property(salvor_loaded salvor SALVOR_LOADED_PACKAGES)
set(CPACK_DEBIAN_PROGRAM_PACKAGE_RECOMMENDS "${salvor_loaded}")
# The system must know a new library at once.
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/cmake/triggers)
include(CPack)

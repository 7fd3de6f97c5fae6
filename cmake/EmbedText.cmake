# Writes the C++ source OUTPUT. In it, the constants of HEADER hold the page's parts, PageHtml, PageStyle and
# PageScript, made from the files in FOLDER; SCRIPTS are joined in their order.
cmake_minimum_required(VERSION 3.22)

function(add_constant name)
    set(text "")
    foreach(file IN LISTS ARGN)
        file(READ "${FOLDER}/${file}" part)
        string(APPEND text "${part}")
    endforeach()
    # String literals have a bounded length, but adjacent ones are joined.
    string(LENGTH "${text}" length)
    set(literals "")
    set(from 0)
    while(from LESS length)
        string(SUBSTRING "${text}" ${from} 8000 piece)
        string(APPEND literals "\n    R\"~page~(${piece})~page~\"")
        math(EXPR from "${from} + 8000")
    endwhile()
    file(APPEND "${OUTPUT}.new" "const std::string_view ${name} =${literals};\n\n")
endfunction()

file(WRITE "${OUTPUT}.new" "#include \"${HEADER}\"\n\nnamespace salvor {\n\n")
add_constant(PageHtml page.html)
add_constant(PageStyle page.css)
string(REPLACE "," ";" SCRIPTS "${SCRIPTS}")
add_constant(PageScript ${SCRIPTS})
file(APPEND "${OUTPUT}.new" "}  // namespace salvor\n")
file(RENAME "${OUTPUT}.new" "${OUTPUT}")

# Turns the files of the page into a source file of the central router, as the build directory is
# configured: whoever reads the sources without building (the static analysis) finds it there too.
# A file that changes has the directory configured again.
#
#   page_assets(OUTPUT)   writes that source file
function(page_assets output)
    set(folder ${CMAKE_SOURCE_DIR}/web)
    file(GLOB scripts RELATIVE ${folder} CONFIGURE_DEPENDS ${folder}/*.js)
    set(PAGE_SCRIPTS "")
    set(PAGE_SCRIPT_ENTRIES "")
    set(number 0)
    foreach(script ${scripts})
        file(READ ${folder}/${script} content)
        string(APPEND PAGE_SCRIPTS
            "constexpr char kScript${number}[] = R\"tamvo_asset(${content})tamvo_asset\";\n")
        string(APPEND PAGE_SCRIPT_ENTRIES
            "    {\"/${script}\", \"text/javascript; charset=utf-8\", kScript${number}},\n")
        math(EXPR number "${number} + 1")
    endforeach()
    file(READ ${folder}/page.html PAGE_HTML)
    file(READ ${folder}/page.css PAGE_CSS)
    file(READ ${folder}/icon.svg ICON_SVG)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${folder}/page.html
        ${folder}/page.css ${folder}/icon.svg)
    foreach(script ${scripts})
        set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${folder}/${script})
    endforeach()
    configure_file(${CMAKE_SOURCE_DIR}/cmake/page_assets.cpp.in ${output} @ONLY)
endfunction()

# The toolkit's meta-object code by rules of the build itself. What CMAKE_AUTOMOC would do takes a process and a
# translation unit more for each program, which is a third of the time of building programs of one file each.
#
# Every source becomes SOURCE.moc, to be included at its end. A header among the sources, or beside one of them, is
# compiled with the target if it declares such a class when the build is configured.
function(quillora_moc target)
    set_target_properties(${target} PROPERTIES AUTOMOC OFF)
    target_include_directories(${target} PRIVATE "${CMAKE_CURRENT_BINARY_DIR}/${target}.moc")
    get_target_property(sources ${target} SOURCES)
    set(headers)
    foreach(source IN LISTS sources)
        get_filename_component(path ${source} ABSOLUTE)
        if(path MATCHES "\\.cpp$")
            quillora_moc_rule(${target} "${path}" "%.moc")
        endif()
        string(REGEX REPLACE "\\.cpp$" ".h" header "${path}")
        if(EXISTS "${header}")
            list(APPEND headers "${header}")
        endif()
    endforeach()
    list(REMOVE_DUPLICATES headers)
    foreach(header IN LISTS headers)
        file(STRINGS "${header}" found LIMIT_COUNT 1 REGEX "^ *Q_(OBJECT|GADGET|NAMESPACE)")
        if(found)
            quillora_moc_rule(${target} "${header}" "moc_%.cpp")
        endif()
    endforeach()
endfunction()

function(quillora_moc_rule target source pattern)
    get_filename_component(name ${source} NAME_WE)
    string(REPLACE "%" "${name}" output "${CMAKE_CURRENT_BINARY_DIR}/${target}.moc/${pattern}")
    add_custom_command(OUTPUT "${output}"
        COMMAND Qt6::moc --no-notes "${source}" -o "${output}"
        DEPENDS "${source}" Qt6::moc VERBATIM)
    target_sources(${target} PRIVATE "${output}")
endfunction()

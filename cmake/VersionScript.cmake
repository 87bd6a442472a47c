# cosupdate_add_exporting_library(NAME VERSION_SCRIPT FILE
#                                 SOURCES SOURCE... | OBJECTS OBJECT_LIBRARY)
#
# A shared library that exports what FILE, a linker version script, lists and
# nothing else. Its code is compiled with hidden visibility (in the object
# library, when it is built from one), and the link fails on a symbol left
# undefined rather than when a caller loads it.
function(cosupdate_add_exporting_library name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "VERSION_SCRIPT;OBJECTS" "SOURCES")
    if(NOT arg_VERSION_SCRIPT OR (NOT arg_SOURCES AND NOT arg_OBJECTS))
        message(FATAL_ERROR "cosupdate_add_exporting_library(${name}): "
                            "VERSION_SCRIPT and SOURCES or OBJECTS are required")
    endif()
    add_library(${name} SHARED ${arg_SOURCES})
    set(compiled ${name})
    if(arg_OBJECTS)
        target_link_libraries(${name} PRIVATE ${arg_OBJECTS})
        set_target_properties(${arg_OBJECTS} PROPERTIES POSITION_INDEPENDENT_CODE ON)
        set(compiled ${arg_OBJECTS})
    endif()
    set_target_properties(${compiled} PROPERTIES
        CXX_VISIBILITY_PRESET hidden
        VISIBILITY_INLINES_HIDDEN ON)
    target_link_options(${name} PRIVATE
        LINKER:--version-script=${arg_VERSION_SCRIPT} LINKER:--no-undefined)
    set_target_properties(${name} PROPERTIES LINK_DEPENDS ${arg_VERSION_SCRIPT})
endfunction()

# quillvane_wayland_protocol(TARGET XML): generates the client header and glue code of one Wayland
# protocol with wayland-scanner and adds them to TARGET. The header is included as
# "<name>-client-protocol.h", name being the XML file's base name. Backends that share a protocol
# may each ask for it; it is generated once.
find_program(QUILLVANE_WAYLAND_SCANNER wayland-scanner REQUIRED)
enable_language(C)

function(quillvane_wayland_protocol target xml)
    get_filename_component(name ${xml} NAME_WE)
    set(dir ${CMAKE_CURRENT_BINARY_DIR}/wayland-protocols)
    set(header ${dir}/${name}-client-protocol.h)
    set(code ${dir}/${name}-protocol.c)
    get_property(done GLOBAL PROPERTY QUILLVANE_WAYLAND_PROTOCOL_${target}_${name})
    if(done)
        return()
    endif()
    set_property(GLOBAL PROPERTY QUILLVANE_WAYLAND_PROTOCOL_${target}_${name} TRUE)
    add_custom_command(OUTPUT ${header} ${code}
        COMMAND ${CMAKE_COMMAND} -E make_directory ${dir}
        COMMAND ${QUILLVANE_WAYLAND_SCANNER} client-header ${xml} ${header}
        COMMAND ${QUILLVANE_WAYLAND_SCANNER} private-code ${xml} ${code}
        DEPENDS ${xml} VERBATIM)
    target_sources(${target} PRIVATE ${header} ${code})
    target_include_directories(${target} PRIVATE ${dir})
endfunction()

# A program's connection to the session's Wayland compositor (WaylandSession): outputs, keymap and
# the data-control clipboard, for the backends that talk to a compositor. Included from
# src/host/CMakeLists.txt when any of them is built.
include(${PROJECT_SOURCE_DIR}/cmake/WaylandProtocols.cmake)
pkg_check_modules(QUILLVANE_WAYLAND REQUIRED IMPORTED_TARGET wayland-client)
pkg_get_variable(QUILLVANE_WAYLAND_PROTOCOLS wayland-protocols pkgdatadir)
quillvane_wayland_protocol(QuillvaneHost
    ${QUILLVANE_WAYLAND_PROTOCOLS}/unstable/xdg-output/xdg-output-unstable-v1.xml)
quillvane_wayland_protocol(QuillvaneHost ${CMAKE_CURRENT_LIST_DIR}/wlr-data-control-unstable-v1.xml)
target_sources(QuillvaneHost PRIVATE
    ${CMAKE_CURRENT_LIST_DIR}/DataControlClipboard.cpp
    ${CMAKE_CURRENT_LIST_DIR}/WaylandSession.cpp)
target_link_libraries(QuillvaneHost PRIVATE PkgConfig::QUILLVANE_WAYLAND)

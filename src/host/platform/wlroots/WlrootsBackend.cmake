# The wlroots input backend, included from src/host/CMakeLists.txt when QUILLVANE_INPUT_WLROOTS is
# on: the virtual pointer and keyboard protocols on the compositor's Wayland socket.
include(${PROJECT_SOURCE_DIR}/cmake/WaylandProtocols.cmake)
pkg_check_modules(QUILLVANE_WLROOTS REQUIRED IMPORTED_TARGET wayland-client xkbcommon)
pkg_get_variable(QUILLVANE_WAYLAND_PROTOCOLS wayland-protocols pkgdatadir)
quillvane_wayland_protocol(QuillvaneHost
    ${CMAKE_CURRENT_LIST_DIR}/wlr-virtual-pointer-unstable-v1.xml)
quillvane_wayland_protocol(QuillvaneHost
    ${CMAKE_CURRENT_LIST_DIR}/virtual-keyboard-unstable-v1.xml)
quillvane_wayland_protocol(QuillvaneHost
    ${QUILLVANE_WAYLAND_PROTOCOLS}/unstable/xdg-output/xdg-output-unstable-v1.xml)
target_sources(QuillvaneHost PRIVATE
    ${CMAKE_CURRENT_LIST_DIR}/TextKeymap.cpp
    ${CMAKE_CURRENT_LIST_DIR}/WlrootsBackend.cpp)
target_link_libraries(QuillvaneHost PRIVATE PkgConfig::QUILLVANE_WLROOTS)

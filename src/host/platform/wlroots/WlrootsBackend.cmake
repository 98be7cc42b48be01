# The wlroots input backend, included from src/host/CMakeLists.txt when QUILLVANE_INPUT_WLROOTS is
# on: the virtual pointer and keyboard protocols, on the compositor connection of WaylandSession.
include(${PROJECT_SOURCE_DIR}/cmake/WaylandProtocols.cmake)
pkg_check_modules(QUILLVANE_WLROOTS REQUIRED IMPORTED_TARGET wayland-client xkbcommon)
quillvane_wayland_protocol(QuillvaneHost
    ${CMAKE_CURRENT_LIST_DIR}/wlr-virtual-pointer-unstable-v1.xml)
quillvane_wayland_protocol(QuillvaneHost
    ${CMAKE_CURRENT_LIST_DIR}/virtual-keyboard-unstable-v1.xml)
target_sources(QuillvaneHost PRIVATE
    ${CMAKE_CURRENT_LIST_DIR}/TextKeymap.cpp
    ${CMAKE_CURRENT_LIST_DIR}/WlrootsBackend.cpp)
target_link_libraries(QuillvaneHost PRIVATE PkgConfig::QUILLVANE_WLROOTS)

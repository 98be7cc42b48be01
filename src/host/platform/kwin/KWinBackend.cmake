# The KWin input backend, included from src/host/CMakeLists.txt when QUILLVANE_INPUT_KWIN is on:
# KDE's fake-input protocol on the compositor's Wayland socket.
include(${PROJECT_SOURCE_DIR}/cmake/WaylandProtocols.cmake)
pkg_check_modules(QUILLVANE_KWIN REQUIRED IMPORTED_TARGET wayland-client xkbcommon)
find_package(PlasmaWaylandProtocols REQUIRED)
pkg_get_variable(QUILLVANE_WAYLAND_PROTOCOLS wayland-protocols pkgdatadir)
quillvane_wayland_protocol(QuillvaneHost ${PLASMA_WAYLAND_PROTOCOLS_DIR}/fake-input.xml)
quillvane_wayland_protocol(QuillvaneHost
    ${QUILLVANE_WAYLAND_PROTOCOLS}/unstable/xdg-output/xdg-output-unstable-v1.xml)
quillvane_wayland_protocol(QuillvaneHost
    ${CMAKE_CURRENT_LIST_DIR}/../wayland/wlr-data-control-unstable-v1.xml)
target_sources(QuillvaneHost PRIVATE
    ${CMAKE_CURRENT_LIST_DIR}/KWinBackend.cpp
    ${CMAKE_CURRENT_LIST_DIR}/../wayland/DataControlClipboard.cpp
    ${CMAKE_CURRENT_LIST_DIR}/../common/ClipboardTextRoute.cpp)
target_link_libraries(QuillvaneHost PRIVATE PkgConfig::QUILLVANE_KWIN)

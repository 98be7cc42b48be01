# The KWin input backend, included from src/host/CMakeLists.txt when QUILLVANE_INPUT_KWIN is on:
# KDE's fake-input protocol on the compositor's Wayland socket.
# It speaks through platform/wayland's WaylandSession, which src/host/CMakeLists.txt adds.
find_package(PlasmaWaylandProtocols REQUIRED)
quillvane_wayland_protocol(QuillvaneHost ${PLASMA_WAYLAND_PROTOCOLS_DIR}/fake-input.xml)
target_sources(QuillvaneHost PRIVATE ${CMAKE_CURRENT_LIST_DIR}/KWinBackend.cpp)

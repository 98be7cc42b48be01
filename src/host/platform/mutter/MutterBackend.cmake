# The Mutter input backend, included from src/host/CMakeLists.txt when QUILLVANE_INPUT_MUTTER is
# on: GNOME's remote desktop interface on the session bus.
find_package(Qt6 REQUIRED COMPONENTS DBus)
pkg_check_modules(QUILLVANE_MUTTER REQUIRED IMPORTED_TARGET xkbcommon gio-2.0)
target_sources(QuillvaneHost PRIVATE
    ${CMAKE_CURRENT_LIST_DIR}/DBusSignalRelay.cpp
    ${CMAKE_CURRENT_LIST_DIR}/GnomeInputSources.cpp
    ${CMAKE_CURRENT_LIST_DIR}/MutterBackend.cpp
    ${CMAKE_CURRENT_LIST_DIR}/MutterClipboard.cpp)
target_link_libraries(QuillvaneHost PRIVATE Qt6::DBus PkgConfig::QUILLVANE_MUTTER)

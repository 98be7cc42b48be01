# The X11 input backend, included from src/host/CMakeLists.txt when QUILLVANE_INPUT_X11 is on:
# XTest posts the events, RandR and Xinerama describe the displays.
pkg_check_modules(QUILLVANE_X11 REQUIRED IMPORTED_TARGET x11 xtst xrandr xinerama)
target_sources(QuillvaneHost PRIVATE
    ${CMAKE_CURRENT_LIST_DIR}/SpareKeyTyper.cpp
    ${CMAKE_CURRENT_LIST_DIR}/WheelStepAccumulator.cpp
    ${CMAKE_CURRENT_LIST_DIR}/X11Backend.cpp
    ${CMAKE_CURRENT_LIST_DIR}/X11Displays.cpp)
target_link_libraries(QuillvaneHost PRIVATE PkgConfig::QUILLVANE_X11)

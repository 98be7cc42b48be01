# The uinput input backend, included from src/host/CMakeLists.txt when QUILLVANE_INPUT_UINPUT is
# on: a virtual pointer and keyboard created through /dev/uinput with libevdev.
pkg_check_modules(QUILLVANE_UINPUT REQUIRED IMPORTED_TARGET libevdev)
target_sources(QuillvaneHost PRIVATE
    ${CMAKE_CURRENT_LIST_DIR}/HiResWheel.cpp
    ${CMAKE_CURRENT_LIST_DIR}/UinputBackend.cpp)
target_link_libraries(QuillvaneHost PRIVATE PkgConfig::QUILLVANE_UINPUT)

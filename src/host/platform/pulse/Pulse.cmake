# The sound server side of the voice: libpulse on the GLib main loop, for PulseAudio and
# pipewire-pulse alike (audio output and the virtual microphone).
pkg_check_modules(QUILLVANE_PULSE REQUIRED IMPORTED_TARGET libpulse libpulse-mainloop-glib)
target_sources(QuillvaneHost PRIVATE
    ${CMAKE_CURRENT_LIST_DIR}/AudioOutput.cpp
    ${CMAKE_CURRENT_LIST_DIR}/MicrophoneCommand.cpp
    ${CMAKE_CURRENT_LIST_DIR}/MicrophonePacer.cpp
    ${CMAKE_CURRENT_LIST_DIR}/PulseServer.cpp
    ${CMAKE_CURRENT_LIST_DIR}/VirtualMicrophone.cpp)
target_link_libraries(QuillvaneHost PUBLIC PkgConfig::QUILLVANE_PULSE)

# Run at install time (install(CODE) in CMakeLists.txt), when the prefix is final: writes the
# desktop entry with Exec naming the installed program by its absolute path, and installs it. KWin
# grants the fake-input protocol only to a program whose desktop entry names it, and it finds that
# entry by comparing Exec's path with the running executable, so a bare "quillvane" would not do.
# Expects QUILLVANE_DESKTOP_SOURCE, QUILLVANE_DESKTOP_STAGED and QUILLVANE_BINDIR. file(INSTALL)
# adds DESTDIR itself.
file(READ "${QUILLVANE_DESKTOP_SOURCE}" entry)
string(REPLACE "@QUILLVANE_BINARY@" "${CMAKE_INSTALL_PREFIX}/${QUILLVANE_BINDIR}/quillvane" entry
       "${entry}")
file(WRITE "${QUILLVANE_DESKTOP_STAGED}" "${entry}")
file(INSTALL DESTINATION "${CMAKE_INSTALL_PREFIX}/share/applications" TYPE FILE
     FILES "${QUILLVANE_DESKTOP_STAGED}")

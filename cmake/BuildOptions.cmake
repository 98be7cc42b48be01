# Every target links quillvane_build_options; it is the one place that sets the language level,
# the warnings and Qt's strictness switches.
add_library(quillvane_build_options INTERFACE)
target_compile_features(quillvane_build_options INTERFACE cxx_std_20)
set(CMAKE_CXX_EXTENSIONS OFF)
target_compile_options(quillvane_build_options INTERFACE -Wall -Wextra -Wpedantic)
if(DEFINED ENV{CI} AND "$ENV{CI}" STREQUAL "true")
    target_compile_options(quillvane_build_options INTERFACE -Werror)
endif()
target_compile_definitions(quillvane_build_options INTERFACE
    QT_NO_KEYWORDS QT_NO_CAST_FROM_ASCII QT_NO_CONTEXTLESS_CONNECT)
# The version has one source, project(VERSION); the programs report it through
# QCoreApplication::applicationVersion().
target_compile_definitions(quillvane_build_options INTERFACE QUILLVANE_VERSION="${PROJECT_VERSION}")

if(QUILLVANE_FUZZ)
    # Fuzz builds instrument everything they link, so findings inside the core are attributed.
    target_compile_options(quillvane_build_options INTERFACE
        -fsanitize=fuzzer-no-link,address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
    target_link_options(quillvane_build_options INTERFACE -fsanitize=address,undefined)
endif()

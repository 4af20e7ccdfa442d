find_package(PkgConfig REQUIRED)
find_package(Qt6 6.4 REQUIRED COMPONENTS Core Gui Widgets Network DBus Svg Test)
find_package(QCoro6 REQUIRED COMPONENTS Core)
find_package(ICU REQUIRED COMPONENTS uc i18n)
pkg_check_modules(XCB REQUIRED IMPORTED_TARGET xcb xcb-xinput xcb-xtest xcb-xkb)
pkg_check_modules(XFIXES REQUIRED IMPORTED_TARGET xcb-xfixes) # for tests
pkg_check_modules(PULSE REQUIRED IMPORTED_TARGET libpulse)
pkg_check_modules(LIBPROXY REQUIRED IMPORTED_TARGET libproxy-1.0)
pkg_check_modules(GIO REQUIRED IMPORTED_TARGET gio-2.0)
pkg_check_modules(SECRET REQUIRED IMPORTED_TARGET libsecret-1)
pkg_check_modules(SECCOMP REQUIRED IMPORTED_TARGET libseccomp)
pkg_check_modules(SENTENCEPIECE REQUIRED IMPORTED_TARGET sentencepiece)

# Debian's pocketsphinx.pc names an include folder that does not exist, so the paths are set by hand.
find_path(POCKETSPHINX_INCLUDE pocketsphinx.h PATH_SUFFIXES pocketsphinx REQUIRED)
find_path(SPHINXBASE_INCLUDE sphinxbase/err.h REQUIRED)
find_library(POCKETSPHINX_LIBRARY pocketsphinx REQUIRED)
find_library(SPHINXBASE_LIBRARY sphinxbase REQUIRED)
add_library(PocketSphinx INTERFACE)
target_include_directories(PocketSphinx SYSTEM INTERFACE
    "${POCKETSPHINX_INCLUDE}" "${SPHINXBASE_INCLUDE}" "${SPHINXBASE_INCLUDE}/sphinxbase")
target_link_libraries(PocketSphinx INTERFACE "${POCKETSPHINX_LIBRARY}" "${SPHINXBASE_LIBRARY}")

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_AUTOMOC ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

if(NOT CMAKE_BUILD_TYPE)
    set(CMAKE_BUILD_TYPE RelWithDebInfo CACHE STRING "" FORCE)
endif()

# Nobody's words may go to a stranger's server by default: the default host is reserved for documentation
# (RFC 6761), so it resolves nowhere. A distributor that runs a backend sets its own.
set(QUILLORA_DEFAULT_ENDPOINT "https://translate.quillora.example/v1/translate" CACHE STRING
    "Endpoint of the hosted translation backend for users who have not entered their own")

option(QUILLORA_BUILD_TESTS "Build the tests and the benchmarks, and what only they use" ON)

# For those who work on it: another compiler finds other things, and that must keep nobody from a package.
option(QUILLORA_WARNINGS_ARE_ERRORS "Let each warning of the compiler fail the build" OFF)

set(QUILLORA_SANITIZE "" CACHE STRING "Sanitizers to build with, as given to -fsanitize=")

add_library(quillora_options INTERFACE)
target_compile_options(quillora_options INTERFACE
    -Wall -Wextra -Wpedantic -Wconversion -Wshadow $<$<BOOL:${QUILLORA_WARNINGS_ARE_ERRORS}>:-Werror>
    -fno-omit-frame-pointer)
target_include_directories(quillora_options INTERFACE "${CMAKE_SOURCE_DIR}/src")
target_compile_definitions(quillora_options INTERFACE
    QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII QT_NO_KEYWORDS QT_NO_FOREACH QT_DISABLE_DEPRECATED_BEFORE=0x060400)
if(QUILLORA_SANITIZE)
    target_compile_options(quillora_options INTERFACE -fsanitize=${QUILLORA_SANITIZE} -fno-sanitize-recover=undefined)
    target_link_options(quillora_options INTERFACE -fsanitize=${QUILLORA_SANITIZE})
endif()

# Some compilers accept coroutines and miscompile them silently. A program that trips over the known cases
# decides at configure time, because nothing else would notice before a user's text is garbage.
if(NOT DEFINED QUILLORA_COROUTINES_WORK)
    try_run(QUILLORA_PROBE_RESULT QUILLORA_PROBE_COMPILED
        "${CMAKE_BINARY_DIR}/coroutine-probe"
        "${CMAKE_CURRENT_LIST_DIR}/coroutine_probe.cpp"
        CXX_STANDARD 20 CXX_STANDARD_REQUIRED ON
        COMPILE_OUTPUT_VARIABLE QUILLORA_PROBE_OUTPUT)
    if(NOT QUILLORA_PROBE_COMPILED)
        message(FATAL_ERROR "${CMAKE_CXX_COMPILER} cannot compile the coroutine probe.\n"
            "Use clang 19 (Debian 12: clang-19) or GCC 13 or newer.\n${QUILLORA_PROBE_OUTPUT}")
    endif()
    if(NOT QUILLORA_PROBE_RESULT EQUAL 0)
        message(FATAL_ERROR "${CMAKE_CXX_COMPILER} miscompiles coroutines (probe case ${QUILLORA_PROBE_RESULT}).\n"
            "Use clang 19 (Debian 12: clang-19) or GCC 13 or newer.")
    endif()
    set(QUILLORA_COROUTINES_WORK TRUE CACHE INTERNAL "The compiler passed the coroutine probe")
endif()

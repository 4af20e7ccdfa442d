# Debian's pocketsphinx.pc names an include folder that does not exist, so the paths are set by hand.
find_path(POCKETSPHINX_INCLUDE pocketsphinx.h PATH_SUFFIXES pocketsphinx REQUIRED)
find_library(POCKETSPHINX_LIBRARY pocketsphinx REQUIRED)
add_library(PocketSphinx INTERFACE)
target_include_directories(PocketSphinx SYSTEM INTERFACE "${POCKETSPHINX_INCLUDE}")
target_link_libraries(PocketSphinx INTERFACE "${POCKETSPHINX_LIBRARY}")
# From version 5 on it holds what stood in a library of its own before.
find_path(SPHINXBASE_INCLUDE sphinxbase/err.h)
find_library(SPHINXBASE_LIBRARY sphinxbase)
if(SPHINXBASE_INCLUDE AND SPHINXBASE_LIBRARY)
    target_include_directories(PocketSphinx SYSTEM INTERFACE
        "${SPHINXBASE_INCLUDE}" "${SPHINXBASE_INCLUDE}/sphinxbase")
    target_link_libraries(PocketSphinx INTERFACE "${SPHINXBASE_LIBRARY}")
endif()

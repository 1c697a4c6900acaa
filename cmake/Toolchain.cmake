# Compiler, linker and cache settings that hold for every target.

find_program(CCACHE ccache)
if(CCACHE)
    # The base folder and the missing directory hash let two checkouts share one cache.
    set(CMAKE_CXX_COMPILER_LAUNCHER
        ${CMAKE_COMMAND} -E env CCACHE_BASEDIR=${CMAKE_SOURCE_DIR} CCACHE_NOHASHDIR=1
        CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime ${CCACHE})
endif()

find_program(MOLD mold)
if(MOLD)
    add_link_options(-fuse-ld=mold)
endif()

add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual -Werror)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # With a cached precompiled header, ccache needs the preprocessor's state kept out of it.
    add_compile_options(-fpch-preprocess)
endif()

if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND NOT CMAKE_BUILD_TYPE STREQUAL "Debug")
    # In code that it has inlined, this compiler sees faults in optionals and strings that aren't there.
    set(faultsThatArentThere -Wno-maybe-uninitialized -Wno-array-bounds -Wno-stringop-overflow -Wno-stringop-overread
        -Wno-restrict)
    add_compile_options(${faultsThatArentThere})
    # What is optimised as a whole is inlined again when it is linked.
    add_link_options(${faultsThatArentThere})
endif()

set(VARNOLEX_SANITIZE "" CACHE STRING "Sanitizers, as -fsanitize takes them")
if(VARNOLEX_SANITIZE)
    # Optimising would take longer than it saves in the runs, and readable reports need no more than line numbers.
    set(CMAKE_CXX_FLAGS_RELWITHDEBINFO "-O0 -g1")
    add_compile_options(-fsanitize=${VARNOLEX_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    # What the sanitizers put between the statements makes the compiler see faults that aren't there; the plain builds
    # compile the same sources with every warning an error.
    add_compile_options(-Wno-error)
    add_link_options(-fsanitize=${VARNOLEX_SANITIZE})
endif()

if(VARNOLEX_FUZZ)
    if(NOT CMAKE_CXX_COMPILER_ID MATCHES "Clang")
        message(FATAL_ERROR "the fuzz targets need clang")
    endif()
    # A fuzzer searches by the branches that it sees taken, so every object tells of its own.
    add_compile_options(-fsanitize=fuzzer-no-link)
    add_link_options(-fsanitize=fuzzer-no-link)
endif()

if(CMAKE_BUILD_TYPE STREQUAL "Release")
    # The processing road runs through all the libraries: what is shipped is optimised as a whole.
    set(CMAKE_INTERPROCEDURAL_OPTIMIZATION ON)
endif()

find_package(Threads REQUIRED)

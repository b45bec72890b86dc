# What a build can be asked for, and the flags that every target shares.

option(TAVRO_TOOLS "Build the bridge simulator and the developers' tools" ON)
option(TAVRO_TESTS "Build the tests" ON)
option(TAVRO_BENCH "Build the benchmarks" OFF)
option(TAVRO_FUZZ "Build the fuzz targets (clang)" OFF)
if(DEFINED ENV{CI})
    set(werror ON)
else()
    set(werror OFF)
endif()
option(TAVRO_WERROR "Warnings are errors; on by default where CI is set" ${werror})
set(TAVRO_SANITIZE "" CACHE STRING "Sanitizers for every target, such as address,undefined")

if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
    set(CMAKE_BUILD_TYPE Release)
endif()

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_VERIFY_INTERFACE_HEADER_SETS ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)

# Precompiled headers and ccache agree only when ccache overlooks what differs between two
# identical precompiled headers: their time stamps and the macros defined before them.
find_program(TAVRO_CCACHE ccache)
if(TAVRO_CCACHE)
    set(CMAKE_CXX_COMPILER_LAUNCHER ${CMAKE_COMMAND} -E env
        CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime
        CCACHE_BASEDIR=${PROJECT_SOURCE_DIR} CCACHE_NOHASHDIR=1
        ${TAVRO_CCACHE})
endif()

# Everything may end in the shared module. Said as an option, since CMake would give programs
# -fPIE instead, and they could not share the precompiled header.
add_compile_options(-fPIC)

add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wconversion
    $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor>
    $<$<COMPILE_LANGUAGE:CXX>:-Woverloaded-virtual> -Wnull-dereference)
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    add_compile_options(-Wthread-safety -Wno-sign-conversion)
else()
    # gcc 12 sees faults inside the standard library's own strings and containers that are none.
    add_compile_options(-Wno-null-dereference -Wno-restrict -Wno-stringop-overflow
        -Wno-array-bounds -Wno-sign-conversion -fpch-preprocess)
endif()
if(TAVRO_WERROR)
    add_compile_options(-Werror)
endif()

# The same input gives the same bits on every machine: no contraction into fused operations.
add_compile_options(-ffp-contract=off)

if(TAVRO_SANITIZE)
    add_compile_options(-fsanitize=${TAVRO_SANITIZE} -fno-sanitize-recover=all
        -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${TAVRO_SANITIZE})
endif()

# How this house makes its targets, so that the lists in the folders stay lists.

# nlohmann JSON takes seconds to parse; it is compiled once, and every target that names it
# reuses the result.
function(tavro_json_pch target)
    if(NOT TARGET tavro_json_pch)
        file(WRITE ${PROJECT_BINARY_DIR}/json_pch.cpp "// holds the precompiled header\n")
        add_library(tavro_json_pch OBJECT ${PROJECT_BINARY_DIR}/json_pch.cpp)
        target_link_libraries(tavro_json_pch PUBLIC nlohmann_json::nlohmann_json)
        target_precompile_headers(tavro_json_pch PRIVATE <nlohmann/json.hpp>)
    endif()
    target_precompile_headers(${target} REUSE_FROM tavro_json_pch)
endfunction()

# tavro_library(NAME HEADERS ... SOURCES ... LINKS ...): a static library whose headers are
# checked to compile alone and are included from src/. Without sources it is headers only.
function(tavro_library name)
    cmake_parse_arguments(ARG "" "" "HEADERS;SOURCES;LINKS" ${ARGN})
    if(ARG_SOURCES)
        add_library(${name} STATIC)
        set(scope PUBLIC)
    else()
        add_library(${name} INTERFACE)
        set(scope INTERFACE)
    endif()
    target_link_libraries(${name} ${scope} ${ARG_LINKS})
    target_sources(${name} ${scope} FILE_SET HEADERS BASE_DIRS ${PROJECT_SOURCE_DIR}/src
        FILES ${ARG_HEADERS})
    if(ARG_SOURCES)
        target_sources(${name} PRIVATE ${ARG_SOURCES})
        if("nlohmann_json::nlohmann_json" IN_LIST ARG_LINKS)
            tavro_json_pch(${name})
        endif()
    endif()
endfunction()

# tavro_room(LIBRARY HEADERS ... SOURCES ...): what a folder adds to a library that spans several.
function(tavro_room library)
    cmake_parse_arguments(ARG "" "" "HEADERS;SOURCES" ${ARGN})
    target_sources(${library} PUBLIC FILE_SET HEADERS BASE_DIRS ${PROJECT_SOURCE_DIR}/src
        FILES ${ARG_HEADERS})
    target_sources(${library} PRIVATE ${ARG_SOURCES})
endfunction()

# tavro_test(FOLDER SOURCES ... LINKS ... [SPEED fast|slow]): the test program of a folder. Its
# tests are labelled FOLDER-SPEED, so that `ctest -L deck` and `ctest -L fast` both work: a list of
# labels does not survive the discovery of tests.
function(tavro_test folder)
    cmake_parse_arguments(ARG "" "SPEED" "SOURCES;LINKS" ${ARGN})
    if(NOT ARG_SPEED)
        set(ARG_SPEED fast)
    endif()
    set(name ${folder}_test)
    add_executable(${name} ${ARG_SOURCES})
    target_link_libraries(${name} PRIVATE ${ARG_LINKS} GTest::gtest_main)
    tavro_json_pch(${name})
    include(GoogleTest)
    gtest_discover_tests(${name} TEST_PREFIX "${folder}/" DISCOVERY_TIMEOUT 60
        PROPERTIES LABELS "${folder}-${ARG_SPEED}" TIMEOUT 300)
endfunction()

# tavro_module(NAME SOURCES ...): a native module in the packages of the build tree, from the folder
# NAME/ with its package.tvr and src/. It includes the engine's headers and links nothing of it: it
# binds to the engine of the program that loads it.
function(tavro_module name)
    cmake_parse_arguments(ARG "" "" "SOURCES" ${ARGN})
    set(folder ${PROJECT_BINARY_DIR}/packages/${name})
    add_library(${name} MODULE ${ARG_SOURCES})
    target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/src)
    target_link_libraries(${name} PRIVATE Threads::Threads)
    set_target_properties(${name} PROPERTIES PREFIX "" OUTPUT_NAME ${name}.tvrmodule
        LIBRARY_OUTPUT_DIRECTORY ${folder}/native/linux_x64)
    file(COPY ${name}/package.tvr ${name}/src DESTINATION ${folder})
endfunction()

# tavro_module_host(TARGET): a program that loads modules holds the engine whole and exports it.
function(tavro_module_host target)
    set_target_properties(${target} PROPERTIES ENABLE_EXPORTS ON
        LINK_LIBRARY_OVERRIDE_tavro_engine WHOLE_ARCHIVE)
endfunction()

# tavro_bench(FOLDER SOURCES ... LINKS ...): the benchmark program of a folder.
function(tavro_bench folder)
    cmake_parse_arguments(ARG "" "" "SOURCES;LINKS" ${ARGN})
    set(name ${folder}_bench)
    add_executable(${name} ${ARG_SOURCES})
    target_link_libraries(${name} PRIVATE ${ARG_LINKS} benchmark::benchmark_main)
    tavro_json_pch(${name})
endfunction()

# tavro_fuzz(NAME LINKS ...): fuzz/NAME.cpp, with its seeds in fuzz/corpus/NAME/.
function(tavro_fuzz name)
    cmake_parse_arguments(ARG "" "" "LINKS" ${ARGN})
    add_executable(fuzz_${name} ${name}.cpp)
    target_link_libraries(fuzz_${name} PRIVATE ${ARG_LINKS})
    target_link_options(fuzz_${name} PRIVATE -fsanitize=fuzzer)
    set_property(GLOBAL APPEND PROPERTY TAVRO_FUZZ_TARGETS fuzz_${name})
endfunction()

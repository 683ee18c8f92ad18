# Everything that holds for each of our own targets: they link project_options.
find_program(CCACHE_PROGRAM ccache)
if(CCACHE_PROGRAM)
    set(CMAKE_C_COMPILER_LAUNCHER ${CCACHE_PROGRAM})
    set(CMAKE_CXX_COMPILER_LAUNCHER ${CCACHE_PROGRAM})
endif()

add_library(project_options INTERFACE)
# Ratios and times must come out alike on every machine, hence no contraction into fused operations.
target_compile_options(project_options INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -ffp-contract=off)
target_compile_definitions(project_options INTERFACE
    QT_NO_KEYWORDS QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII QT_NO_FOREACH)
if(DEFINED ENV{CI} OR VORNEX_WERROR)
    target_compile_options(project_options INTERFACE -Werror)
endif()

if(VORNEX_SANITIZE)
    add_compile_options(-fsanitize=address,undefined -fno-omit-frame-pointer -fno-sanitize-recover=undefined)
    add_link_options(-fsanitize=address,undefined)
endif()
if(VORNEX_FUZZ)
    add_compile_options(-fsanitize=fuzzer-no-link,address,undefined -fno-omit-frame-pointer)
    add_link_options(-fsanitize=address,undefined)
endif()

# quiet_generated_qml(TARGET), after qt_add_qml_module: the C++ that qmlcachegen makes of the QML files isn't ours
# to mend, so it is compiled without warnings.
function(quiet_generated_qml target)
    get_target_property(sources ${target} SOURCES)
    list(FILTER sources INCLUDE REGEX "/qmlcache/")
    set_source_files_properties(${sources} PROPERTIES COMPILE_OPTIONS -w)
endfunction()

# vornex_test(NAME sources...): one Qt Test program that is one CTest test, run without a display.
function(vornex_test name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "TIMEOUT" "SOURCES;LIBRARIES;LABELS")
    qt_add_executable(${name} ${arg_SOURCES})
    set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/tests)
    target_link_libraries(${name} PRIVATE ${arg_LIBRARIES} Qt6::Test project_options)
    target_compile_definitions(${name} PRIVATE
        VORNEX_BIN_DIR="${CMAKE_RUNTIME_OUTPUT_DIRECTORY}" VORNEX_SOURCE_DIR="${PROJECT_SOURCE_DIR}")
    if(VORNEX_SANITIZE)
        # GCC 12 takes what the sanitizers add for uses of uninitialised optionals.
        target_compile_options(${name} PRIVATE -Wno-maybe-uninitialized)
    endif()
    add_test(NAME ${name} COMMAND ${name})
    if(NOT arg_TIMEOUT)
        set(arg_TIMEOUT 180)
    endif()
    set_tests_properties(${name} PROPERTIES TIMEOUT ${arg_TIMEOUT} LABELS "${arg_LABELS}"
        ENVIRONMENT "QT_QPA_PLATFORM=offscreen;LC_ALL=C.UTF-8")
endfunction()

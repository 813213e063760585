# Shared compile settings and the one helper that registers a test.

add_library(pellmora_warnings INTERFACE)
target_compile_options(pellmora_warnings INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual
    $<$<BOOL:${PELLMORA_WERROR}>:-Werror>)
target_compile_definitions(pellmora_warnings INTERFACE
    QT_NO_URL_CAST_FROM_STRING QT_NO_FOREACH)

# The tests' runtime folder: a socket path holds at most 107 bytes, so a
# deep build folder gets a short one of its own under /tmp.
set(PELLMORA_TEST_RUNTIME_DIR ${CMAKE_BINARY_DIR}/test-home/run)
string(LENGTH "${PELLMORA_TEST_RUNTIME_DIR}/pellmora/browser.sock" _pellmora_socket_length)
if(_pellmora_socket_length GREATER 100)
    string(MD5 _pellmora_build_hash "${CMAKE_BINARY_DIR}")
    string(SUBSTRING "${_pellmora_build_hash}" 0 12 _pellmora_build_hash)
    set(PELLMORA_TEST_RUNTIME_DIR /tmp/pellmora-test-run-${_pellmora_build_hash})
endif()

# Every test runs with a fixed language, locale and time zone, and with
# private XDG folders so it can never touch the user's real library.
set(PELLMORA_TEST_ENV
    LANG=C.UTF-8
    LC_ALL=C.UTF-8
    TZ=Europe/Zurich
    # a desktop-sized screen: windows are bounded by the screen they open on
    QT_QPA_PLATFORM=offscreen:configfile=${PROJECT_SOURCE_DIR}/tests/fakes/offscreen-screen.json
    PELLMORA_NO_NOTIFICATIONS=1
    XDG_DATA_HOME=${CMAKE_BINARY_DIR}/test-home/data
    XDG_CONFIG_HOME=${CMAKE_BINARY_DIR}/test-home/config
    XDG_CACHE_HOME=${CMAKE_BINARY_DIR}/test-home/cache
    # so a test's browser hub never meets the user's browsers or running app
    XDG_RUNTIME_DIR=${PELLMORA_TEST_RUNTIME_DIR})
file(MAKE_DIRECTORY ${PELLMORA_TEST_RUNTIME_DIR})
file(CHMOD ${PELLMORA_TEST_RUNTIME_DIR} PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE)
if(PELLMORA_SANITIZE)
    list(APPEND PELLMORA_TEST_ENV
        "ASAN_OPTIONS=detect_leaks=1:abort_on_error=0:strict_string_checks=1"
        "LSAN_OPTIONS=suppressions=${PROJECT_SOURCE_DIR}/cmake/lsan-suppressions.txt:print_suppressions=0"
        "UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1")
endif()

# pellmora_add_test(NAME name SOURCES Test*.cpp ... LIBS lib ... [ENV K=V ...] [ARGS a ...] [TIMEOUT s])
# The tests of one folder build into one executable, tests_<folder>; each
# test runs the class of its first Test*.cpp source in a process of its own,
# with ARGS passed on to QTest (test functions to run, say).
function(pellmora_add_test)
    cmake_parse_arguments(T "" "NAME;TIMEOUT" "SOURCES;LIBS;ENV;ARGS" ${ARGN})
    get_filename_component(folder ${CMAKE_CURRENT_SOURCE_DIR} NAME)
    set(suite tests_${folder})
    if(NOT TARGET ${suite})
        add_executable(${suite} ${PROJECT_SOURCE_DIR}/tests/main/TestMain.cpp)
        target_link_libraries(${suite} PRIVATE pellmora_test_main Qt6::Test pellmora_warnings)
        target_include_directories(${suite} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
    endif()
    target_sources(${suite} PRIVATE ${T_SOURCES})
    target_link_libraries(${suite} PRIVATE ${T_LIBS})
    set(class "")
    foreach(source IN LISTS T_SOURCES)
        get_filename_component(base ${source} NAME_WE)
        get_filename_component(ext ${source} EXT)
        if(ext STREQUAL ".cpp" AND base MATCHES "^Test")
            set(class ${base})
            break()
        endif()
    endforeach()
    if(NOT class)
        message(FATAL_ERROR "pellmora_add_test(${T_NAME}): no Test*.cpp among the sources")
    endif()
    add_test(NAME ${T_NAME} COMMAND ${suite} ${class} ${T_ARGS})
    if(NOT T_TIMEOUT)
        set(T_TIMEOUT 120)
    endif()
    set_tests_properties(${T_NAME} PROPERTIES
        TIMEOUT ${T_TIMEOUT}
        ENVIRONMENT "${PELLMORA_TEST_ENV};${T_ENV}")
endfunction()

# pellmora_add_bench(NAME name SOURCES a.cpp ... LIBS lib ...)
function(pellmora_add_bench)
    cmake_parse_arguments(B "" "NAME" "SOURCES;LIBS" ${ARGN})
    # Built by `make bench` and `make check`, not by every build.
    add_executable(${B_NAME} EXCLUDE_FROM_ALL ${B_SOURCES})
    target_link_libraries(${B_NAME} PRIVATE pellmora_warnings pellmora_bench_support ${B_LIBS})
    set_property(GLOBAL APPEND PROPERTY PELLMORA_BENCHES ${B_NAME})
endfunction()

# orvane_add_test(<name> SOURCES <files...> LIBS <libs...>)
# One QtTest executable, registered with ctest, run offscreen with a time limit.
set(ORVANE_TEST_TIMEOUT 120 CACHE STRING "Time limit of one test executable, in seconds")

# The program's web service, for tests: a local port where nothing listens, so a start-up report
# or update check that a test's program makes fails at once and reaches no other machine.
set(ORVANE_TEST_SERVICE "ORVANE_SERVICE_URL=http://127.0.0.1:1")

function(orvane_add_test name)
    cmake_parse_arguments(ARG "" "" "SOURCES;LIBS" ${ARGN})
    add_executable(${name} ${ARG_SOURCES})
    target_link_libraries(${name} PRIVATE ${ARG_LIBS} Qt6::Test orvane_config)
    target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
    target_compile_definitions(${name} PRIVATE TEST_DATA_DIR="${PROJECT_SOURCE_DIR}/tests/data")
    add_test(NAME ${name} COMMAND ${name})
    set_tests_properties(${name} PROPERTIES
        ENVIRONMENT "QT_QPA_PLATFORM=offscreen;${ORVANE_TEST_SERVICE}"
        TIMEOUT ${ORVANE_TEST_TIMEOUT})
endfunction()

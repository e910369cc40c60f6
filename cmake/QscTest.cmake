# qsc_add_test(NAME sources... [LIBS libraries...]): one GoogleTest program, registered case by case.
#
# Programs export their symbols, so that a test replaces the outside (popen, syslog, zlog, ...) simply by
# defining it: the dynamic linker then gives the library the test's definition.
function(qsc_add_test name)
  cmake_parse_arguments(test "" "" "LIBS" ${ARGN})
  add_executable(${name} ${test_UNPARSED_ARGUMENTS})
  target_link_libraries(${name} PRIVATE qsc_warnings ${test_LIBS} GTest::gtest GTest::gtest_main)
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
  set_target_properties(${name} PROPERTIES
    ENABLE_EXPORTS ON RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/tests)
  gtest_discover_tests(${name} TEST_PREFIX ${name}. DISCOVERY_TIMEOUT 30 PROPERTIES TIMEOUT 120)
endfunction()

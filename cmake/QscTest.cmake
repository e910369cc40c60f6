# qsc_add_test(NAME sources... [LIBS libraries...] [LABEL label]): one GoogleTest program, registered case by
# case. The label "threads" stands for programs that also run under the thread sanitizer.
#
# Programs export their symbols, so that a test replaces the outside (popen, syslog, zlog, ...) simply by
# defining it: the dynamic linker then gives the library the test's definition.
function(qsc_add_test name)
  cmake_parse_arguments(test "" "LABEL" "LIBS" ${ARGN})
  add_executable(${name} ${test_UNPARSED_ARGUMENTS})
  target_link_libraries(${name} PRIVATE qsc_warnings ${test_LIBS} GTest::gtest GTest::gtest_main)
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
  # The product is compiled as it ships; for the tests around it what counts is that they are built soon.
  target_compile_options(${name} PRIVATE -O0 -g1)
  target_precompile_headers(${name} PRIVATE <gtest/gtest.h> <algorithm> <functional> <map> <string> <vector>)
  set_target_properties(${name} PROPERTIES
    ENABLE_EXPORTS ON RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/tests)
  if(test_LABEL)
    set_property(GLOBAL APPEND PROPERTY QSC_TESTS_${test_LABEL} ${name})
  endif()
  gtest_discover_tests(${name} TEST_PREFIX ${name}. DISCOVERY_TIMEOUT 30 PROPERTIES TIMEOUT 120 LABELS "${test_LABEL}")
endfunction()

# qsc_add_inside(NAME sources...): tests of what libqsyscmdhal does not export. Its objects and the tests are one shared
# library, which ./dev mutate makes again as it does those of the product; a program of qsc_add_test() links it whole.
function(qsc_add_inside name)
  add_library(${name} SHARED ${ARGN} $<TARGET_OBJECTS:qsyscmdhal>)
  # The fakes, and GoogleTest itself, are the program's.
  target_link_libraries(${name} PRIVATE qsc_warnings qsc_base qrnuci PkgConfig::JSONC zlog::zlog -Wl,-z,undefs)
  target_link_options(${name} INTERFACE -Wl,--no-as-needed)
  target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR}/include
    PRIVATE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/tests $<TARGET_PROPERTY:GTest::gtest,INTERFACE_INCLUDE_DIRECTORIES>)
  target_compile_options(${name} PRIVATE -O0 -g1)
  target_precompile_headers(${name} PRIVATE <gtest/gtest.h> <algorithm> <functional> <map> <string> <vector>)
  set_target_properties(${name} PROPERTIES LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/tests)
endfunction()

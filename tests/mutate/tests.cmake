add_test(NAME mutate.finds_what_no_test_notices COMMAND ${BATS} ${CMAKE_CURRENT_LIST_DIR}/mutate.bats)
set_tests_properties(mutate.finds_what_no_test_notices PROPERTIES TIMEOUT 120)

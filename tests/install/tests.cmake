add_test(NAME install.programs_build_against_the_installed_tree
  COMMAND ${CMAKE_CURRENT_LIST_DIR}/run.sh ${PROJECT_BINARY_DIR} ${CMAKE_C_COMPILER})
set_tests_properties(install.programs_build_against_the_installed_tree PROPERTIES TIMEOUT 120)
add_test(NAME install.feed_packages_install_and_start
  COMMAND ${CMAKE_CURRENT_LIST_DIR}/feed.sh ${PROJECT_BINARY_DIR})
set_tests_properties(install.feed_packages_install_and_start PROPERTIES TIMEOUT 120)

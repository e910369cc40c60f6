# What an installation consists of.
include(CMakePackageConfigHelpers)
include(GNUInstallDirs)

install(TARGETS qsyscmdhal qrnuci EXPORT qsyscmdhalTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(TARGETS qsc DESTINATION ${CMAKE_INSTALL_BINDIR})
install(TARGETS qscd DESTINATION ${CMAKE_INSTALL_SBINDIR})
install(DIRECTORY include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/qsyscmdhal FILES_MATCHING PATTERN "*.h")
install(FILES packaging/zlog.conf DESTINATION ${CMAKE_INSTALL_DATADIR}/qsyscmdhal)

# Relative, so that an installation can be put anywhere.
file(RELATIVE_PATH QSC_PREFIX_FROM_PC /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
configure_file(packaging/qsyscmdhal.pc.in qsyscmdhal.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/qsyscmdhal.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

set(package ${CMAKE_INSTALL_LIBDIR}/cmake/qsyscmdhal)
configure_package_config_file(cmake/qsyscmdhalConfig.cmake.in qsyscmdhalConfig.cmake
  INSTALL_DESTINATION ${package})
write_basic_package_version_file(qsyscmdhalConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/qsyscmdhalConfig.cmake ${PROJECT_BINARY_DIR}/qsyscmdhalConfigVersion.cmake
  DESTINATION ${package})
install(EXPORT qsyscmdhalTargets NAMESPACE qsyscmdhal:: DESTINATION ${package})

# What an installation consists of.
include(CMakePackageConfigHelpers)
include(GNUInstallDirs)

install(TARGETS qsyscmdhal qrnuci EXPORT qsyscmdhalTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library NAMELINK_COMPONENT development)
install(TARGETS qsc DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
install(TARGETS qscd DESTINATION ${CMAKE_INSTALL_SBINDIR} COMPONENT tools)
install(DIRECTORY include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/qsyscmdhal
  COMPONENT development FILES_MATCHING PATTERN "*.h")
install(FILES tools/client/qsc_client.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/qsyscmdhal COMPONENT development)
install(FILES tools/python/qsc.py docs/daemon.md DESTINATION ${CMAKE_INSTALL_DATADIR}/qsyscmdhal COMPONENT tools)
install(FILES packaging/systemd/qscd.service packaging/systemd/qscd.socket packaging/systemd/qscd-restore.service
  DESTINATION lib/systemd/system COMPONENT tools)
install(FILES packaging/rpcd/qsc.json DESTINATION ${CMAKE_INSTALL_DATADIR}/qsyscmdhal/rpcd COMPONENT tools)
install(FILES packaging/qscd.access DESTINATION ${CMAKE_INSTALL_DATADIR}/qsyscmdhal COMPONENT tools)
install(FILES packaging/zlog.conf DESTINATION ${CMAKE_INSTALL_DATADIR}/qsyscmdhal COMPONENT library)

# Relative, so that an installation can be put anywhere.
file(RELATIVE_PATH QSC_PREFIX_FROM_PC /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
configure_file(packaging/qsyscmdhal.pc.in qsyscmdhal.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/qsyscmdhal.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)

set(package ${CMAKE_INSTALL_LIBDIR}/cmake/qsyscmdhal)
configure_package_config_file(cmake/qsyscmdhalConfig.cmake.in qsyscmdhalConfig.cmake
  INSTALL_DESTINATION ${package})
write_basic_package_version_file(qsyscmdhalConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/qsyscmdhalConfig.cmake ${PROJECT_BINARY_DIR}/qsyscmdhalConfigVersion.cmake
  DESTINATION ${package} COMPONENT development)
install(EXPORT qsyscmdhalTargets NAMESPACE qsyscmdhal:: DESTINATION ${package} COMPONENT development)

install(FILES packaging/man/qsc.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools)
install(FILES packaging/man/qsyscmdhal.7 DESTINATION ${CMAKE_INSTALL_MANDIR}/man7 COMPONENT tools)
install(FILES packaging/man/qscd.8 DESTINATION ${CMAKE_INSTALL_MANDIR}/man8 COMPONENT tools)
install(FILES packaging/man/libqsyscmdhal.3 DESTINATION ${CMAKE_INSTALL_MANDIR}/man3 COMPONENT development)
install(FILES packaging/completion/qsc.bash DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME qsc
  COMPONENT tools)

# `cpack` in the build folder: the library, what building against it takes, and the tools.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "The qsyscmdhal maintainers <root@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_COMPONENTS_ALL library development tools)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME libqsyscmdhal1)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_DEPENDS "libzlog1")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/packaging/debian/triggers)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libqsyscmdhal-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "libqsyscmdhal1 (= ${PROJECT_VERSION}), libjson-c-dev")
set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME qsyscmdhal-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "libqsyscmdhal1 (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS
  ${CMAKE_LIBRARY_OUTPUT_DIRECTORY} ${PROJECT_SOURCE_DIR}/${QSC_DEPS}/root/usr/lib/${CMAKE_LIBRARY_ARCHITECTURE})
include(CPack)

# zlog::zlog: from the system, or from the unpacked package that `./dev setup` leaves under build/deps.
set(QSC_DEPS build/deps CACHE STRING "Where ./dev setup has unpacked packages, from the repository's root")
set(deps ${PROJECT_SOURCE_DIR}/${QSC_DEPS}/root/usr)
find_path(ZLOG_INCLUDE_DIR zlog.h HINTS ${deps}/include)
find_library(ZLOG_LIBRARY zlog HINTS ${deps}/lib PATH_SUFFIXES ${CMAKE_LIBRARY_ARCHITECTURE})

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(Zlog
  REQUIRED_VARS ZLOG_LIBRARY ZLOG_INCLUDE_DIR
  REASON_FAILURE_MESSAGE "run ./dev setup, which brings it")

if(Zlog_FOUND AND NOT TARGET zlog::zlog)
  add_library(zlog::zlog UNKNOWN IMPORTED)
  set_target_properties(zlog::zlog PROPERTIES
    IMPORTED_LOCATION ${ZLOG_LIBRARY} INTERFACE_INCLUDE_DIRECTORIES ${ZLOG_INCLUDE_DIR})
endif()

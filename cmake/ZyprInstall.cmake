# cmake --install: headers, libraries, the CMake package and the pkg-config files.
include(CMakePackageConfigHelpers)

install(FILES include/zypr.h include/zypr_support.h core/include/zypcore.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
set_target_properties(zypcore PROPERTIES EXPORT_NAME core)
install(TARGETS zypr zypcore EXPORT zyprTargets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})

set(packageDirectory ${CMAKE_INSTALL_LIBDIR}/cmake/zypr)
install(EXPORT zyprTargets NAMESPACE zypr:: DESTINATION ${packageDirectory})
configure_package_config_file(cmake/zyprConfig.cmake.in ${PROJECT_BINARY_DIR}/zyprConfig.cmake INSTALL_DESTINATION ${packageDirectory})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/zyprConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/zyprConfig.cmake ${PROJECT_BINARY_DIR}/zyprConfigVersion.cmake DESTINATION ${packageDirectory})

# Relative, so that the files hold wherever the installation is moved.
file(RELATIVE_PATH prefixFromPackage /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
foreach(package zypr zypcore)
  configure_file(cmake/${package}.pc.in ${PROJECT_BINARY_DIR}/${package}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${package}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endforeach()

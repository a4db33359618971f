# The installed package: find_package(KSBeaconSDK) gives KSBeaconSDK::KSBeaconSDK (the engine) and one
# target per platform. The public headers keep their tree below include/KSBeaconSDK, which is the
# include root: "BeaconSDK/KSBeaconSDK.h", as in the project's own tree.

include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

get_property(ks_libraries GLOBAL PROPERTY KS_INSTALLED_LIBRARIES)
install(TARGETS ${ks_libraries} EXPORT KSBeaconSDKTargets
        FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/KSBeaconSDK
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})

set(ks_package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/KSBeaconSDK)
install(EXPORT KSBeaconSDKTargets NAMESPACE KSBeaconSDK:: DESTINATION ${ks_package_dir})
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/KSBeaconSDKConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/KSBeaconSDKConfig.cmake INSTALL_DESTINATION ${ks_package_dir})
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/KSBeaconSDKConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/KSBeaconSDKConfig.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/KSBeaconSDKConfigVersion.cmake
        DESTINATION ${ks_package_dir})

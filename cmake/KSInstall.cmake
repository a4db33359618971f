# The installed package: find_package(KSBeaconSDK) gives KSBeaconSDK::KSBeaconSDK (the engine) and one
# target per platform. Headers keep their tree below include/KSBeaconSDK; the umbrella header is
# <KSBeaconSDK/KSBeaconSDK.h>.

include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(ks_installed KSPlatformApi KSStorage KSFoundation KSModel KSPortal KSReachability KSEngine KSLocationEngine
                 KSHttp KSSimulated KSLinux)

foreach(target ${ks_installed})
  target_include_directories(${target} INTERFACE
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/KSBeaconSDK>)
endforeach()

install(TARGETS KSBeaconSDK ${ks_installed} EXPORT KSBeaconSDKTargets
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/BeaconSDK DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/KSBeaconSDK
        FILES_MATCHING PATTERN "*.h")
install(FILES ${PROJECT_SOURCE_DIR}/BeaconSDK/KSBeaconSDK.h
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/KSBeaconSDK)

set(ks_package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/KSBeaconSDK)
install(EXPORT KSBeaconSDKTargets NAMESPACE KSBeaconSDK:: DESTINATION ${ks_package_dir})
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/KSBeaconSDKConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/KSBeaconSDKConfig.cmake INSTALL_DESTINATION ${ks_package_dir})
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/KSBeaconSDKConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/KSBeaconSDKConfig.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/KSBeaconSDKConfigVersion.cmake
        DESTINATION ${ks_package_dir})

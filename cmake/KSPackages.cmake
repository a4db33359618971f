# Debian packages by CPack, one for each install component:
#   libksbeacon1      the C interface's library
#   libksbeacon-dev   headers, static libraries, CMake and pkg-config files
#   ksbeacon          the command with its units, manual page, completions and sample configuration
#   python3-ksbeacon  the Python package
# scripts/check-packages.sh makes and tries them.
set(KS_PACKAGE_MAINTAINER "KSBeaconSDK maintainers <maintainers@ksbeacon.invalid>" CACHE STRING
    "Whom the Debian packages name")
set(ks_packages libksbeacon1 libksbeacon-dev ksbeacon python3-ksbeacon)
set(ks_files ${PROJECT_SOURCE_DIR}/packages)

# What the policy wants of each package.
set(ks_changelog ${CMAKE_CURRENT_BINARY_DIR}/packages/changelog.Debian)
file(WRITE ${ks_changelog}.text "ksbeacon (${PROJECT_VERSION}-1) bookworm; urgency=medium

  * The changes are listed in CHANGELOG.md.

 -- ${KS_PACKAGE_MAINTAINER}  Mon, 04 May 2026 09:00:00 +0000
")
execute_process(COMMAND gzip -9n INPUT_FILE ${ks_changelog}.text OUTPUT_FILE ${ks_changelog}.gz)
foreach(package ${ks_packages})
  install(FILES ${ks_files}/copyright ${ks_changelog}.gz DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${package}
          COMPONENT ${package} EXCLUDE_FROM_ALL)
endforeach()

set(CPACK_GENERATOR DEB)
set(CPACK_COMPONENTS_ALL ${ks_packages})
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_SET_DESTDIR ON)
set(CPACK_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGE_CONTACT "${KS_PACKAGE_MAINTAINER}")
set(CPACK_DEBIAN_PACKAGE_SOURCE ksbeacon)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_CURRENT_BINARY_DIR}/bindings/c)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(ks_same "(= ${PROJECT_VERSION}-1)")

set(CPACK_DEBIAN_LIBKSBEACON1_PACKAGE_NAME libksbeacon1)
set(CPACK_DEBIAN_LIBKSBEACON1_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBKSBEACON1_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_LIBKSBEACON1_PACKAGE_CONTROL_EXTRA ${ks_files}/triggers)
set(CPACK_COMPONENT_LIBKSBEACON1_DESCRIPTION "proximity engine, shared library
 Hears beacons, knows places, decides by the rules of a portal's contents
 what to show, and reports what happened. This is the library behind its C
 interface.")

set(CPACK_DEBIAN_LIBKSBEACON-DEV_PACKAGE_NAME libksbeacon-dev)
set(CPACK_DEBIAN_LIBKSBEACON-DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_LIBKSBEACON-DEV_PACKAGE_DEPENDS "libksbeacon1 ${ks_same}")
set(CPACK_DEBIAN_LIBKSBEACON-DEV_PACKAGE_SUGGESTS
    "libboost1.81-dev, libboost-json1.81-dev, libboost-url1.81-dev, libcurl4-openssl-dev, libfmt-dev, libglib2.0-dev, libhowardhinnant-date-dev, libicu-dev, libpugixml-dev, libssl-dev, libzstd-dev")
set(CPACK_COMPONENT_LIBKSBEACON-DEV_DESCRIPTION "proximity engine, development files
 Hears beacons, knows places, decides by the rules of a portal's contents
 what to show, and reports what happened. These are the headers for C and
 C++17, with files for pkg-config and CMake. The classes of the engine
 itself, as static libraries, also need the suggested packages.")

set(CPACK_DEBIAN_KSBEACON_PACKAGE_NAME ksbeacon)
set(CPACK_DEBIAN_KSBEACON_PACKAGE_SECTION net)
set(CPACK_DEBIAN_KSBEACON_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_KSBEACON_PACKAGE_RECOMMENDS "bluez, glib-networking, libjs-leaflet")
set(CPACK_DEBIAN_KSBEACON_PACKAGE_SUGGESTS "geoclue-2.0, gpsd")
set(CPACK_COMPONENT_KSBEACON_DESCRIPTION "proximity engine, command and service
 Hears beacons, knows places, decides by the rules of a portal's contents
 what to show, and reports what happened. The command runs it on this
 machine, also as a service, simulates it in virtual time, and serves and
 checks the documents of a portal.")

set(CPACK_DEBIAN_PYTHON3-KSBEACON_PACKAGE_NAME python3-ksbeacon)
set(CPACK_DEBIAN_PYTHON3-KSBEACON_PACKAGE_SECTION python)
set(CPACK_DEBIAN_PYTHON3-KSBEACON_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_PYTHON3-KSBEACON_PACKAGE_DEPENDS
    "libksbeacon1 (>= ${PROJECT_VERSION}), python3 (>= 3.11), python3-cffi")
# For studies.
set(CPACK_DEBIAN_PYTHON3-KSBEACON_PACKAGE_SUGGESTS "python3-distributed, python3-pandas")
# They make and remove the interpreter's own files.
set(CPACK_DEBIAN_PYTHON3-KSBEACON_PACKAGE_CONTROL_EXTRA ${ks_files}/python/postinst ${ks_files}/python/prerm)
set(CPACK_COMPONENT_PYTHON3-KSBEACON_DESCRIPTION "proximity engine, Python package
 Hears beacons, knows places, decides by the rules of a portal's contents
 what to show, and reports what happened. With this package Python programs
 feed devices, run scenarios as tests, and replay recordings.")
include(CPack)

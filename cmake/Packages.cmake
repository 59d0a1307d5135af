# Debian packages, with cpack: ./dev package. A build made for any prefix will do.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME orba-util)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # each package has one of its own
set(CPACK_PACKAGE_CONTACT "The liborba_util authors <root@localhost>" CACHE STRING "Who maintains the packages: NAME <ADDRESS>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_COMPONENTS_ALL library store development)
if(ORBA_TOOL)
  list(APPEND CPACK_COMPONENTS_ALL tool)
endif()
set(CPACK_STRIP_FILES ON)
set(CPACK_PROJECT_FOLDER ${PROJECT_SOURCE_DIR})
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/PackageFiles.cmake)

set(package_version ${PROJECT_VERSION}-1)
file(WRITE ${PROJECT_BINARY_DIR}/triggers "activate-noawait ldconfig\n")
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# Where dpkg-shlibdeps finds the libraries that are being packed.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/platform/nvram)

set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME liborba-util0)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA ${PROJECT_BINARY_DIR}/triggers)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_DEPENDS "libnvram0 (>= ${package_version})")
set(CPACK_DEBIAN_LIBRARY_DESCRIPTION "toolbox of a small Linux wireless router
Turns a router's settings into the commands that make them real: iptables,
ebtables, ip rule, route, brctl, iwpriv, switch and crontab lines; and answers
its web pages. A C interface that needs the C library and libnvram alone.")

set(CPACK_DEBIAN_STORE_PACKAGE_NAME libnvram0)
set(CPACK_DEBIAN_STORE_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_STORE_PACKAGE_CONTROL_EXTRA ${PROJECT_BINARY_DIR}/triggers)
set(CPACK_DEBIAN_STORE_DESCRIPTION "settings store of a router, for any Linux machine
The key and value store that liborba_util reads its settings from, kept in text
files. A router brings its own library of this name; this one is for the desk.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME liborba-util-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_GENERATE_SHLIBS OFF)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
  "liborba-util0 (= ${package_version}), libnvram0 (= ${package_version}), libc6-dev")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SUGGESTS "orba, pkg-config | cmake")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "toolbox of a small Linux wireless router - development files
Headers of liborba_util and libnvram, what pkg-config and CMake need to find
them, and the manual pages of both.")

set(CPACK_DEBIAN_TOOL_PACKAGE_NAME orba)
set(CPACK_DEBIAN_TOOL_PACKAGE_SECTION net)
set(CPACK_DEBIAN_TOOL_PACKAGE_DEPENDS "libnvram0 (>= ${package_version})")
set(CPACK_DEBIAN_TOOL_PACKAGE_GENERATE_SHLIBS OFF)
set(CPACK_DEBIAN_TOOL_PACKAGE_RECOMMENDS
  "iproute2, iptables, ebtables, bridge-utils, net-tools, iputils-arping, busybox, python3")
set(CPACK_DEBIAN_TOOL_PACKAGE_SUGGESTS "bash-completion, liborba-util-dev")
set(CPACK_DEBIAN_TOOL_DESCRIPTION "shows what a router's settings make of the router
Calls any function of liborba_util on a simulated device and shows the
commands, files and settings that come of it; checks configurations; and runs
the commands for real in a lab of network namespaces, for which the recommended
packages are needed. Brings nvram_get, nvram_set and nvram_show for the store.")
include(CPack)

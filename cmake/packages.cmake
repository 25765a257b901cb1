# Debian packages: `cpack --config build/release/CPackConfig.cmake` writes a .deb file for each package.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME l3-advance)
set(CPACK_PACKAGE_VENDOR "The l3_advance maintainers")
# No mail arrives at the default: who ships packages names a contact of their own (SECURITY.md).
set(L3_PACKAGE_MAINTAINER "The l3_advance maintainers <maintainers@users.noreply.example>"
    CACHE STRING "Maintainer line of the Debian packages, as \"Name <address>\"")
set(CPACK_PACKAGE_CONTACT "${L3_PACKAGE_MAINTAINER}")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL library devel)
if(TARGET l3ctl)
  list(APPEND CPACK_COMPONENTS_ALL tools)
endif()
if(TARGET l3_transaction)
  list(APPEND CPACK_COMPONENTS_ALL transaction)
endif()
if(TARGET l3-console)
  list(APPEND CPACK_COMPONENTS_ALL console)
endif()
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION net)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_BINARY_DIR})

configure_file(${PROJECT_SOURCE_DIR}/cmake/debian-changelog.in ${CMAKE_BINARY_DIR}/debian/changelog @ONLY)
set(CPACK_L3_CHANGELOG ${CMAKE_BINARY_DIR}/debian/changelog)
set(CPACK_L3_SOURCE ${PROJECT_SOURCE_DIR})
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/debian_files.cmake)

set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME libl3-advance)
set(CPACK_COMPONENT_LIBRARY_DESCRIPTION
    "It turns settings into packet-filter rules, route QoS and pass-through
switches and keeps them in one configuration file. The process that loads it
supplies the platform calls.")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_DEPENDS "libc6")
# The dynamic linker's cache is renewed when the library comes and when it goes.
file(WRITE ${CMAKE_BINARY_DIR}/debian/triggers "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA ${CMAKE_BINARY_DIR}/debian/triggers)

set(CPACK_DEBIAN_DEVEL_PACKAGE_NAME libl3-advance-dev)
set(CPACK_COMPONENT_DEVEL_DESCRIPTION
    "Headers, pkg-config and CMake package files.")
set(CPACK_DEBIAN_DEVEL_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVEL_PACKAGE_DEPENDS "libl3-advance (= ${PROJECT_VERSION})")
if(TARGET l3_transaction)
  string(APPEND CPACK_DEBIAN_DEVEL_PACKAGE_DEPENDS ", libl3-transaction (= ${PROJECT_VERSION})")
endif()

set(CPACK_DEBIAN_TRANSACTION_PACKAGE_NAME libl3-transaction)
set(CPACK_COMPONENT_TRANSACTION_DESCRIPTION
    "Transactions for programs that call the layer-3 control library: all rules of
a change are made at once, or everything is rolled back.")
set(CPACK_DEBIAN_TRANSACTION_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_TRANSACTION_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_TRANSACTION_PACKAGE_DEPENDS "libl3-advance (= ${PROJECT_VERSION}), iptables")
set(CPACK_DEBIAN_TRANSACTION_PACKAGE_CONTROL_EXTRA ${CMAKE_BINARY_DIR}/debian/triggers)

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME l3ctl)
set(CPACK_COMPONENT_TOOLS_DESCRIPTION
    "The command line: applies, shows and clears the settings of the layer-3
control library.")
set(CPACK_DEBIAN_TOOLS_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "libl3-advance (= ${PROJECT_VERSION}), iptables")
# Zones by name; POSIX strings need no files.
set(CPACK_DEBIAN_TOOLS_PACKAGE_RECOMMENDS "tzdata")
foreach(script postinst prerm postrm)
  list(APPEND CPACK_DEBIAN_TOOLS_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/packaging/debian/${script})
endforeach()
set(CPACK_DEBIAN_TOOLS_PACKAGE_CONTROL_STRICT_PERMISSION TRUE)

set(CPACK_DEBIAN_CONSOLE_PACKAGE_NAME l3-advance-console)
set(CPACK_COMPONENT_CONSOLE_DESCRIPTION
    "The web console: a server without any rights, and its broker, which
runs l3ctl as a fixed table allows.")
set(CPACK_DEBIAN_CONSOLE_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_CONSOLE_PACKAGE_DEPENDS "l3ctl (= ${PROJECT_VERSION}), passwd")
set(console_scripts ${PROJECT_SOURCE_DIR}/packaging/debian-console)
set(CPACK_DEBIAN_CONSOLE_PACKAGE_CONTROL_EXTRA
    "${console_scripts}/postinst;${console_scripts}/prerm;${console_scripts}/postrm")
set(CPACK_DEBIAN_CONSOLE_PACKAGE_CONTROL_STRICT_PERMISSION ON)

include(CPack)

# What `cmake --install` lays down: the library, its headers, pkg-config and CMake package files.
include(CMakePackageConfigHelpers)

install(TARGETS l3_advance EXPORT l3_advance_targets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/l3_advance DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT devel)
install(EXPORT l3_advance_targets NAMESPACE l3_advance:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/l3_advance COMPONENT devel)

configure_package_config_file(
  ${PROJECT_SOURCE_DIR}/cmake/l3_advance-config.cmake.in ${CMAKE_BINARY_DIR}/l3_advance-config.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/l3_advance)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/l3_advance-config-version.cmake
                                 COMPATIBILITY SameMajorVersion)
# The way up from the folder of the .pc file, which moves with the prefix.
file(RELATIVE_PATH L3_PREFIX_FROM_PKGCONFIG /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
string(REGEX REPLACE "/$" "" L3_PREFIX_FROM_PKGCONFIG ${L3_PREFIX_FROM_PKGCONFIG})
configure_file(${PROJECT_SOURCE_DIR}/cmake/l3_advance.pc.in ${CMAKE_BINARY_DIR}/l3_advance.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/l3_advance-config.cmake ${CMAKE_BINARY_DIR}/l3_advance-config-version.cmake
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/l3_advance COMPONENT devel)
install(FILES ${CMAKE_BINARY_DIR}/l3_advance.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT devel)
# What ./run builds can be installed alone, so these are left out where they were not built.
if(TARGET l3_transaction)
  install(TARGETS l3_transaction LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT transaction OPTIONAL)
  install(FILES ${PROJECT_SOURCE_DIR}/LICENSE DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/libl3-transaction RENAME copyright
          COMPONENT transaction)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/l3_transaction.pc.in ${CMAKE_BINARY_DIR}/l3_transaction.pc @ONLY)
  install(FILES ${CMAKE_BINARY_DIR}/l3_transaction.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT devel)
  install(FILES ${CMAKE_BINARY_DIR}/l3_transaction.o DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT devel
          OPTIONAL)
  install(FILES ${PROJECT_SOURCE_DIR}/man/l3_transaction.3 DESTINATION ${CMAKE_INSTALL_MANDIR}/man3 COMPONENT devel)
endif()
if(TARGET l3ctl)
  install(TARGETS l3ctl RUNTIME DESTINATION ${CMAKE_INSTALL_SBINDIR} COMPONENT tools)
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/schema DESTINATION ${CMAKE_INSTALL_DATADIR}/l3_advance COMPONENT tools
          FILES_MATCHING PATTERN "*.schema.json")
  # Building and installing run no program that was built: it may be for another machine.
  install(FILES ${PROJECT_SOURCE_DIR}/man/l3ctl.8 DESTINATION ${CMAKE_INSTALL_MANDIR}/man8 COMPONENT tools)
  install(FILES ${PROJECT_SOURCE_DIR}/packaging/completion/l3ctl.bash
          DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME l3ctl COMPONENT tools)
  install(FILES ${PROJECT_SOURCE_DIR}/packaging/completion/l3ctl.zsh
          DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/site-functions RENAME _l3ctl COMPONENT tools)
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/fleet/monitoring DESTINATION ${CMAKE_INSTALL_DATADIR}/l3_advance COMPONENT tools
          PATTERN "*.test.yml" EXCLUDE)
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/packaging/systemd/ DESTINATION lib/systemd/system COMPONENT tools)
  # What all of it was made of; a build without the programs has no such list. Whoever builds l3ctl gets it too, so
  # that it can be installed.
  find_package(Python3 COMPONENTS Interpreter)
  if(Python3_FOUND)
    add_custom_target(
      bill_of_materials
      COMMAND ${Python3_EXECUTABLE} ${PROJECT_SOURCE_DIR}/packaging/make-sbom ${CMAKE_BINARY_DIR}
              > ${CMAKE_BINARY_DIR}/l3_advance.spdx.json VERBATIM)
    add_dependencies(l3ctl bill_of_materials)
    install(FILES ${CMAKE_BINARY_DIR}/l3_advance.spdx.json DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/libl3-advance
            COMPONENT library)
  endif()
  install(FILES ${PROJECT_SOURCE_DIR}/LICENSE DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/l3ctl RENAME copyright
          COMPONENT tools)
endif()
if(TARGET l3-console)
  install(TARGETS l3-console RUNTIME DESTINATION ${CMAKE_INSTALL_SBINDIR} COMPONENT console OPTIONAL)
  install(TARGETS l3-console-broker RUNTIME DESTINATION ${CMAKE_INSTALL_LIBEXECDIR} COMPONENT console OPTIONAL)
  install(FILES ${PROJECT_SOURCE_DIR}/man/l3-console.8 DESTINATION ${CMAKE_INSTALL_MANDIR}/man8 COMPONENT console)
  install(FILES ${PROJECT_SOURCE_DIR}/console/openapi.yaml DESTINATION ${CMAKE_INSTALL_DATADIR}/l3_advance/console
          COMPONENT console)
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/packaging/systemd/ DESTINATION lib/systemd/system COMPONENT console)
  install(FILES ${PROJECT_SOURCE_DIR}/LICENSE DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/l3-advance-console
          RENAME copyright COMPONENT console)
endif()

install(FILES ${PROJECT_SOURCE_DIR}/LICENSE DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/libl3-advance RENAME copyright
        COMPONENT library)
install(FILES ${PROJECT_SOURCE_DIR}/LICENSE DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/libl3-advance-dev
        RENAME copyright COMPONENT devel)
install(FILES ${PROJECT_SOURCE_DIR}/man/l3_advance.3 DESTINATION ${CMAKE_INSTALL_MANDIR}/man3 COMPONENT devel)

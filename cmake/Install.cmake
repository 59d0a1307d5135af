include(CMakePackageConfigHelpers)

install(TARGETS orba_util nvram EXPORT orba_util
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  PUBLIC_HEADER DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

# For CMake: find_package(orba_util), then link orba::orba_util.
set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/orba_util)
install(EXPORT orba_util NAMESPACE orba:: FILE orba_util-config.cmake
  DESTINATION ${package_folder})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/orba_util-config-version.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/orba_util-config-version.cmake DESTINATION ${package_folder})

# For everyone else: pkg-config --cflags --libs orba_util.
configure_file(cmake/orba_util.pc.in orba_util.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/orba_util.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# The tool and the store's programs.
foreach(program orba nvram_get nvram_set nvram_show)
  if(TARGET ${program})
    set_target_properties(${program} PROPERTIES INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
    install(TARGETS ${program} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  endif()
endforeach()

# The lab, for the tool, and the configurations to try it with.
install(DIRECTORY lab examples DESTINATION ${CMAKE_INSTALL_DATADIR}/orba_util
  USE_SOURCE_PERMISSIONS)

include(CMakePackageConfigHelpers)

# The parts, each a Debian package of its own in Packages.cmake: `library`,
# `store` (libnvram, which a device brings itself), `development` and `tool`.
function(install_library target component)
  install(TARGETS ${target} EXPORT orba_util
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
      COMPONENT ${component} NAMELINK_COMPONENT development
    PUBLIC_HEADER DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development
    INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
endfunction()
install_library(orba_util library)
install_library(nvram store)

# For CMake: find_package(orba_util), then link orba::orba_util.
set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/orba_util)
install(EXPORT orba_util NAMESPACE orba:: FILE orba_util-config.cmake
  DESTINATION ${package_folder} COMPONENT development)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/orba_util-config-version.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/orba_util-config-version.cmake
  DESTINATION ${package_folder} COMPONENT development)

# For everyone else: pkg-config --cflags --libs orba_util. Its paths go from
# where the file stands, so it holds wherever the files are put.
file(RELATIVE_PATH prefix_from_pkgconfig ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" prefix_from_pkgconfig ${prefix_from_pkgconfig})
configure_file(cmake/orba_util.pc.in orba_util.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/orba_util.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
install(FILES man/orba_util.3 man/nvram.3
  DESTINATION ${CMAKE_INSTALL_MANDIR}/man3 COMPONENT development)

# The tool and the store's programs.
#
# A program finds libnvram from where it stands, in the build folder and in any
# prefix. To change the one place to the other, CMake would leave room with
# colons, and the loader takes an empty entry for the folder that its user is in:
# so the room is slashes, and the place is set here.
set(installed_place "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
string(REGEX REPLACE "." "/" room "${installed_place}")
if(TARGET orba)
  foreach(program orba nvram_get nvram_set nvram_show)
    get_target_property(folder ${program} BINARY_DIR)
    file(RELATIVE_PATH built_place ${folder} ${PROJECT_BINARY_DIR}/platform/nvram)
    set_target_properties(${program} PROPERTIES
      BUILD_WITH_INSTALL_RPATH ON INSTALL_RPATH "$ORIGIN/${built_place}${room}")
    install(TARGETS ${program} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tool)
    install(CODE "file(RPATH_SET NEW_RPATH [[${installed_place}]]
      FILE \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_BINDIR}/${program}\")" COMPONENT tool)
    string(REGEX REPLACE "^nvram_.*" nvram_get page ${program})  # one page for all three
    install(FILES man/${page}.1 RENAME ${program}.1
      DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tool)
  endforeach()
  install(FILES tools/cli/completion.bash RENAME orba
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT tool)
  # The lab, for the tool, and the configurations to try it with.
  install(DIRECTORY lab examples DESTINATION ${CMAKE_INSTALL_DATADIR}/orba_util
    COMPONENT tool USE_SOURCE_PERMISSIONS PATTERN __pycache__ EXCLUDE)
endif()

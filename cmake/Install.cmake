install(TARGETS orba_util nvram EXPORT orba_util
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  PUBLIC_HEADER DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

# The store's programs.
if(TARGET nvram_get)
  install(TARGETS nvram_get nvram_set nvram_show
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()

# What Debian wants of the files of a package, beyond where they are installed.
# cpack runs this between installing a package's files and packing them.
function(run)
  execute_process(COMMAND ${ARGV} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)  # SOURCE_DATE_EPOCH, when set
set(changelog "${CPACK_PACKAGE_NAME} (${CPACK_PACKAGE_VERSION}-1) unstable; urgency=medium

  * Packed from version ${CPACK_PACKAGE_VERSION}.

 -- ${CPACK_PACKAGE_CONTACT}  ${date}
")

foreach(component ${CPACK_COMPONENTS_ALL})
  set(root ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/${component}/usr)
  string(TOUPPER ${component} upper)
  set(package ${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
  set(doc ${root}/share/doc/${package})

  # Files in /usr find their libraries without being told where.
  file(GLOB programs ${root}/bin/*)
  foreach(program ${programs})
    file(RPATH_REMOVE FILE ${program})
  endforeach()

  # These go to /usr and nowhere else, so that no path has to be told from where a file stands.
  file(GLOB told ${root}/lib/*/pkgconfig/*.pc)
  foreach(file ${told})
    file(READ ${file} text)
    string(REGEX REPLACE "prefix=[^\n]*" "prefix=/usr" text "${text}")
    file(WRITE ${file} "${text}")
  endforeach()

  file(MAKE_DIRECTORY ${doc})
  file(COPY_FILE ${CPACK_PROJECT_FOLDER}/LICENSE ${doc}/copyright)
  file(COPY_FILE ${CPACK_PROJECT_FOLDER}/CHANGELOG.md ${doc}/changelog)
  file(WRITE ${doc}/changelog.Debian "${changelog}")
  file(GLOB texts ${root}/share/man/man*/*.[0-9])
  run(gzip -9n ${doc}/changelog ${doc}/changelog.Debian ${texts})
  file(GLOB_RECURSE files ${doc}/*)
  run(chmod 0644 ${files})
  run(find ${root} -type d -exec chmod 0755 {} +)  # whatever the umask is
endforeach()

# The installed layout, for `cmake --install` (any prefix, DESTDIR honoured)
# and for the Debian package that `cpack -G DEB` builds from the same rules:
#
#   bin/tbkit
#   libexec/<project>/updatechecker, Errors.plist   (the flash files go here too)
#   sbin/updatechecker -> ../libexec/<project>/updatechecker
#   share/man/man8/tbkit.8, updatechecker.8
#   share/bash-completion/completions/tbkit, updatechecker
include(GNUInstallDirs)

set(TBT_LIBEXEC_DIR ${CMAKE_INSTALL_LIBEXECDIR}/${PROJECT_NAME})
set(TBT_LIBEXEC_FULL_DIR ${CMAKE_INSTALL_FULL_LIBEXECDIR}/${PROJECT_NAME})

install(TARGETS tbkit RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(TARGETS updatechecker RUNTIME DESTINATION ${TBT_LIBEXEC_DIR})
install(FILES ${PROJECT_SOURCE_DIR}/resources/Errors.plist DESTINATION ${TBT_LIBEXEC_DIR})

# The link in sbin is relative, so the tree works under any prefix and DESTDIR.
file(RELATIVE_PATH tbt_link_target /root/${CMAKE_INSTALL_SBINDIR} /root/${TBT_LIBEXEC_DIR}/updatechecker)
set(tbt_link ${PROJECT_BINARY_DIR}/install-links/updatechecker)
file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/install-links)
file(CREATE_LINK ${tbt_link_target} ${tbt_link} SYMBOLIC)
install(FILES ${tbt_link} DESTINATION ${CMAKE_INSTALL_SBINDIR})

# Man pages name the installed directories and the version. The build tree
# gets them for the prefix configured; installing fills them in again for the
# prefix installed to (cpack installs to its own).
foreach(page tbkit updatechecker)
  configure_file(${PROJECT_SOURCE_DIR}/man/${page}.8.in ${PROJECT_BINARY_DIR}/man/${page}.8 @ONLY)
  install(FILES ${PROJECT_SOURCE_DIR}/completions/${page}
          DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
endforeach()
install(CODE "
  set(PROJECT_NAME [[${PROJECT_NAME}]])
  set(PROJECT_VERSION [[${PROJECT_VERSION}]])
  set(TBT_LIBEXEC_FULL_DIR \"\${CMAKE_INSTALL_PREFIX}/${TBT_LIBEXEC_DIR}\")
  set(CMAKE_INSTALL_FULL_SBINDIR \"\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_SBINDIR}\")
  foreach(page tbkit updatechecker)
    configure_file(\"${PROJECT_SOURCE_DIR}/man/\${page}.8.in\"
                   \"${PROJECT_BINARY_DIR}/man-installed/\${page}.8\" @ONLY)
    file(INSTALL \"${PROJECT_BINARY_DIR}/man-installed/\${page}.8\"
         DESTINATION \"\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_MANDIR}/man8\")
  endforeach()
")

# Debian package of the same tree.
set(CPACK_PACKAGE_NAME ${PROJECT_NAME})
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Thunderbolt toolkit and display-firmware update checker")
set(CPACK_PACKAGE_DESCRIPTION
    "tbkit reaches every toolkit operation: topology, paths, register access, EEPROM, NVM and device ROMs. "
    "updatechecker decides whether attached Thunderbolt displays need a firmware update and schedules it. "
    "Both run against the real host or a simulated one.")
set(CPACK_PACKAGE_CONTACT "tbtkit maintainers <maintainers@tbtkit.invalid>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
# The C and C++ runtime libraries the programs link, found by dpkg-shlibdeps.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_STRIP_FILES ON)
include(CPack)

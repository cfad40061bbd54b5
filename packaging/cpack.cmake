# Debian packages, one for each built component; `packaging/build` makes them. The architecture comes from the
# toolchain.

if(NOT FTP_CLIENTD_REDACT_PASSWORDS)
  message(FATAL_ERROR "A package must not log passwords: FTP_CLIENTD_REDACT_PASSWORDS=ON")
endif()

set(CPACK_PACKAGE_CONTACT "ftp_clientd authors <maintainers@ftp-clientd.example>"
  CACHE STRING "Who answers for the packages: Name <address>")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME ftp-clientd)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "") # each package has its own
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_SET_DESTDIR ON) # keeps the prefix for the paths in the unit
set(CPACK_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

find_program(DPKG_ARCHITECTURE dpkg-architecture)
if(DPKG_ARCHITECTURE AND CMAKE_LIBRARY_ARCHITECTURE)
  execute_process(COMMAND ${DPKG_ARCHITECTURE} -f -t${CMAKE_LIBRARY_ARCHITECTURE} -qDEB_HOST_ARCH
    OUTPUT_VARIABLE CPACK_DEBIAN_PACKAGE_ARCHITECTURE OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
endif()

# Dependencies from dpkg-shlibdeps, or by name when cross-compiling, as those libraries belong to no installed package.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
# dpkg-shlibdeps knows the versions of libcurl's symbols, not of its options: CURLOPT_UPLOAD_BUFFERSIZE came with 7.62.
set(daemon_libraries ", libcurl4 (>= 7.62.0) | libcurl4t64")
set(tools_libraries "")
set(library_libraries "")
set(spool_libraries "")
if(CMAKE_CROSSCOMPILING)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS OFF)
  string(APPEND daemon_libraries ", libc6 (>= 2.34), libssl3 (>= 3.0.0)")
  if(CMAKE_SYSTEM_PROCESSOR MATCHES "^arm") # its C++ ABI refers to it
    string(APPEND daemon_libraries ", libgcc-s1 (>= 3.5)")
  endif()
  set(library_libraries "libc6 (>= 2.34)")
  set(tools_libraries "libc6 (>= 2.34), libgcc-s1 (>= 3.5), libssl3 (>= 3.0.0), libstdc++6 (>= 12)")
  set(spool_libraries ", ${tools_libraries}, libsqlite3-0 (>= 3.34)")
else()
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
endif()

set(changelog ${PROJECT_SOURCE_DIR}/packaging/debian/changelog)
set(packed_changelog ${PROJECT_BINARY_DIR}/packaging/changelog.Debian.gz)
add_custom_command(OUTPUT ${packed_changelog} DEPENDS ${changelog} COMMAND gzip -9nc ${changelog} > ${packed_changelog})
add_custom_target(changelog ALL DEPENDS ${packed_changelog})

# package(<component> NAME <package> SECTION <section> SUMMARY <line> TEXT <line>... [DEPENDS <list>])
# packaging/debian/<component>/* are its maintainer scripts and other control files.
macro(package component)
  cmake_parse_arguments(ARG "" "NAME;SECTION;SUMMARY;DEPENDS" "TEXT" ${ARGN})
  string(TOUPPER ${component} key)
  list(JOIN ARG_TEXT "\n" ARG_TEXT)
  list(APPEND CPACK_COMPONENTS_ALL ${component})
  set(CPACK_DEBIAN_${key}_PACKAGE_NAME ${ARG_NAME})
  set(CPACK_DEBIAN_${key}_PACKAGE_SECTION ${ARG_SECTION})
  set(CPACK_DEBIAN_${key}_DESCRIPTION "${ARG_SUMMARY}\n${ARG_TEXT}")
  set(CPACK_DEBIAN_${key}_PACKAGE_DEPENDS "${ARG_DEPENDS}")
  file(GLOB CPACK_DEBIAN_${key}_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/packaging/debian/${component}/*)
  install(FILES ${PROJECT_SOURCE_DIR}/packaging/debian/copyright ${packed_changelog}
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${ARG_NAME} COMPONENT ${component})
endmacro()

package(daemon NAME ftp-clientd SECTION net DEPENDS "systemd-sysusers, init-system-helpers (>= 1.54~)${daemon_libraries}"
  SUMMARY "file-transfer client daemon for embedded devices"
  TEXT "Takes one job at a time over a local socket: download a small file, upload"
       "a file, look up a remote file, over FTP, FTPS, SFTP or Zixi. Notifies the"
       "network manager of the device when a job ends."
       "."
       "Members of the group ftpclient may use it. It acts as root: they can send"
       "nearly any file away and overwrite nearly any file.")

if(TARGET ftpctl)
  package(tools NAME ftpctl SECTION net DEPENDS "${tools_libraries}"
    SUMMARY "command-line client of the file-transfer daemon"
    TEXT "Gives downloads, uploads and look-ups to ftp_clientd, shows their progress"
         "and cancels them.")
  set(CPACK_DEBIAN_TOOLS_PACKAGE_RECOMMENDS ftp-clientd)
endif()

if(TARGET ftpspool)
  package(spool NAME ftpspool SECTION net DEPENDS "ftp-clientd, init-system-helpers (>= 1.54~)${spool_libraries}"
    SUMMARY "queue of uploads for the file-transfer daemon"
    TEXT "Hand a file over once, and it is uploaded however often the network, the"
         "server, the daemon or the power fails meanwhile. Entries are kept in an"
         "SQLite database; a service uploads them through ftp_clientd and repeats"
         "uploads that may still succeed.")
endif()

if(TARGET ftpclient_shared)
  package(library NAME libftpclient0 SECTION libs DEPENDS "${library_libraries}"
    SUMMARY "client library of the file-transfer daemon"
    TEXT "Lets a program use ftp_clientd: builds requests, exchanges them over its"
         "control socket, reads its notices.")
  package(development NAME libftpclient-dev SECTION libdevel DEPENDS "libftpclient0 (= ${PROJECT_VERSION}-1)"
    SUMMARY "client library of the file-transfer daemon (development)"
    TEXT "Headers and link library for programs that use ftp_clientd through"
         "libftpclient.")
endif()

include(CPack)

# Where `cmake --install` puts the components daemon, tools and spool; the client library adds two of its own. Every folder
# is below the prefix, so that any prefix and DESTDIR work.

# The daemon's private folder, which no linker searches. Here a device replaces the two libraries: RUNPATH is relative to
# the daemon.
set(private_dir lib/ftp_clientd)
file(RELATIVE_PATH to_private /${CMAKE_INSTALL_SBINDIR} /${private_dir})
# The same RUNPATH in the build tree, with lib/: if it had to change at installation, cmake would add an empty entry,
# which means the working folder.
set_target_properties(ftp_clientd PROPERTIES
  INSTALL_RPATH "\$ORIGIN/${to_private};\$ORIGIN/../lib" BUILD_WITH_INSTALL_RPATH ON)

function(install_completions component program) # written by scripts/completions
  set(folder ${PROJECT_SOURCE_DIR}/packaging/completions)
  install(FILES ${folder}/${program} DESTINATION share/bash-completion/completions COMPONENT ${component})
  install(FILES ${folder}/_${program} DESTINATION share/zsh/vendor-completions COMPONENT ${component})
endfunction()

install(TARGETS ftp_clientd RUNTIME DESTINATION ${CMAKE_INSTALL_SBINDIR} COMPONENT daemon)
install(TARGETS secure zixiFeeder LIBRARY DESTINATION ${private_dir} COMPONENT daemon)
install(TARGETS ftp_clientd_start RUNTIME DESTINATION ${private_dir} COMPONENT daemon)
if(TARGET ftpctl)
  install(TARGETS ftpctl RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
  install_completions(tools ftpctl)
  install(FILES examples/camera.conf DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/ftpctl COMPONENT tools)
endif()

if(TARGET ftpspool)
  install(TARGETS ftpspool RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT spool)
  install_completions(spool ftpspool)
  install(FILES examples/camera.conf DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/ftpspool COMPONENT spool)
endif()

# For client programs: "wire/wire.h" with -I<prefix>/include/ftp_clientd, the protocol's page, examples.
install(DIRECTORY wire DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/ftp_clientd COMPONENT development
  FILES_MATCHING PATTERN "*.h")
install(FILES docs/protocol.md examples/fetch.c examples/send.cpp
  DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/libftpclient-dev COMPONENT development)

# The unit's paths are set at installation, when --prefix is known.
install(CODE "
  set(PRIVATE_DIR \"\${CMAKE_INSTALL_PREFIX}/${private_dir}\")
  set(DAEMON \"\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_SBINDIR}/ftp_clientd\")
  set(unit \"\${CMAKE_INSTALL_PREFIX}/lib/systemd/system/ftp_clientd.service\")
  configure_file(\"${PROJECT_SOURCE_DIR}/packaging/ftp_clientd.service.in\" \"\$ENV{DESTDIR}\${unit}\" @ONLY)
  list(APPEND CMAKE_INSTALL_MANIFEST_FILES \"\${unit}\")" COMPONENT daemon)
if(TARGET ftpspool)
  install(CODE "
    set(SPOOL \"\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_BINDIR}/ftpspool\")
    set(unit \"\${CMAKE_INSTALL_PREFIX}/lib/systemd/system/ftpspool.service\")
    configure_file(\"${PROJECT_SOURCE_DIR}/packaging/ftpspool.service.in\" \"\$ENV{DESTDIR}\${unit}\" @ONLY)
    list(APPEND CMAKE_INSTALL_MANIFEST_FILES \"\${unit}\")" COMPONENT spool)
endif()
install(FILES packaging/ftp_clientd.sysusers DESTINATION lib/sysusers.d RENAME ftp_clientd.conf COMPONENT daemon)

# install_manual(<component> <page>...): installs pages of docs/man, compressed.
function(install_manual component)
  foreach(page ${ARGN})
    string(REGEX MATCH "[0-9]$" section ${page})
    set(source ${PROJECT_SOURCE_DIR}/docs/man/${page})
    set(packed ${PROJECT_BINARY_DIR}/packaging/man/${page}.gz)
    add_custom_command(OUTPUT ${packed} DEPENDS ${source}
      COMMAND gzip -9nc ${source} > ${packed} COMMENT "Packing ${page}")
    set_property(GLOBAL APPEND PROPERTY packed_manuals ${packed})
    install(FILES ${packed} DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section} COMPONENT ${component})
  endforeach()
endfunction()

function(pages_of result) # pages_of(<variable> <pattern>...)
  list(TRANSFORM ARGN PREPEND ${PROJECT_SOURCE_DIR}/docs/man/)
  file(GLOB found RELATIVE ${PROJECT_SOURCE_DIR}/docs/man CONFIGURE_DEPENDS ${ARGN})
  set(${result} ${found} PARENT_SCOPE)
endfunction()

file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/packaging/man)
pages_of(pages *.8)
install_manual(daemon ${pages})
if(TARGET ftpctl)
  pages_of(pages ftpctl*.1)
  install_manual(tools ${pages})
endif()
if(TARGET ftpspool)
  install_manual(spool ftpspool.1)
endif()
get_property(packed_manuals GLOBAL PROPERTY packed_manuals)
add_custom_target(manuals ALL DEPENDS ${packed_manuals})

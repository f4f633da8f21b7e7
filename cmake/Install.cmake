# What `cmake --install` puts into a prefix: the program, and what other programs embed as a CMake package.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(installed siminfo_core siminfo_text siminfo_generator siminfo_in_memory)
if(TARGET siminfo)
  list(APPEND installed siminfo)
endif()
install(TARGETS ${installed} EXPORT siminfo RUNTIME COMPONENT siminfo ARCHIVE COMPONENT siminfo
        FILE_SET HEADERS COMPONENT siminfo)
if(TARGET siminfo-collect)
  install(TARGETS siminfo-collect COMPONENT collect)
endif()

# Manual pages and completions are made from the command line's own definitions.
if(TARGET siminfo)
  set(cli ${PROJECT_SOURCE_DIR}/src/siminfo/cli)
  add_executable(siminfo_documents ${cli}/documents.cpp ${cli}/manual.cpp ${cli}/completion.cpp)
  target_link_libraries(siminfo_documents PRIVATE siminfo_cli)
  set(documents ${PROJECT_BINARY_DIR}/documents)
  file(MAKE_DIRECTORY ${documents})
  string(TIMESTAMP today "%Y-%m-%d" UTC)
  find_program(GZIP gzip REQUIRED)
  add_custom_command(
    OUTPUT ${documents}/siminfo.1.gz
    COMMAND ${CMAKE_COMMAND} -E rm -f ${documents}/*.gz
    COMMAND siminfo_documents ${documents} ${PROJECT_SOURCE_DIR}/docs/snapshot.md ${today}
    COMMAND sh -c "exec \"$0\" -9nkf *.1 *.5" ${GZIP}
    WORKING_DIRECTORY ${documents}
    DEPENDS siminfo_documents ${PROJECT_SOURCE_DIR}/docs/snapshot.md VERBATIM)
  add_custom_target(documents ALL DEPENDS ${documents}/siminfo.1.gz)
  install(DIRECTORY ${documents}/ DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT siminfo
          FILES_MATCHING PATTERN *.1.gz PATTERN siminfo-collect.1.gz EXCLUDE)
  if(TARGET siminfo-collect)
    install(FILES ${documents}/siminfo-collect.1.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT collect)
  endif()
  install(FILES ${documents}/siminfo-snapshot.5.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man5 COMPONENT siminfo)
  install(FILES ${documents}/siminfo.bash DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
          RENAME siminfo COMPONENT siminfo)
  install(FILES ${documents}/_siminfo DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions COMPONENT siminfo)
  install(FILES ${documents}/siminfo.fish DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d
          COMPONENT siminfo)
endif()

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/siminfo)
install(EXPORT siminfo NAMESPACE siminfo:: FILE siminfo-targets.cmake DESTINATION ${package_dir} COMPONENT siminfo)
write_basic_package_version_file(siminfo-config-version.cmake COMPATIBILITY SameMinorVersion)
install(FILES cmake/siminfo-config.cmake cmake/SiminfoGenerate.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/siminfo-config-version.cmake
        DESTINATION ${package_dir} COMPONENT siminfo)

option(SIMINFO_PACKAGES "Have cpack make packages of what is installed" OFF)
set(SIMINFO_MAINTAINER "The siminfo authors <siminfo@example.com>" CACHE STRING "Who answers for the packages")
if(SIMINFO_PACKAGES)
  include(cmake/Packages.cmake)
endif()

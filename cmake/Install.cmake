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

# What `cpack` makes of a build for /usr: the Debian packages siminfo and siminfo-collect. packaging/make_packages.sh
# runs it.
set(CPACK_GENERATOR DEB)
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_PACKAGE_CONTACT "${SIMINFO_MAINTAINER}")
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL siminfo collect)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_SECTION net)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)

set(CPACK_DEBIAN_SIMINFO_PACKAGE_NAME siminfo)
set(CPACK_DEBIAN_SIMINFO_PACKAGE_RECOMMENDS "cmake, g++, ibsim-utils, make")
set(CPACK_DEBIAN_SIMINFO_PACKAGE_SUGGESTS "infiniband-diags, siminfo-collect")
set(CPACK_DEBIAN_SIMINFO_DESCRIPTION "generator of simulated InfiniBand nodes
siminfo turns a discovered InfiniBand fabric into the C++ source of simulated
nodes, which answer as the real ones did. It shows what a fabric snapshot
holds, compares two, proves the generated source, and lets InfiniBand tools
talk to the simulated nodes.

Headers, static libraries and a CMake package for programs that embed the
generator are part of this package.")
set(CPACK_DEBIAN_COLLECT_PACKAGE_NAME siminfo-collect)
set(CPACK_DEBIAN_COLLECT_PACKAGE_ENHANCES siminfo)
set(CPACK_DEBIAN_COLLECT_DESCRIPTION "walk of an InfiniBand fabric for siminfo
siminfo-collect walks the InfiniBand fabric that this host is a part of, or
reads a saved discovery, and writes the fabric snapshot that siminfo takes.
The command \"siminfo collect\" starts it.")

# Debian wants a changelog of a form of its own: the entry of this version.
file(STRINGS CHANGELOG.md lines)
string(TIMESTAMP now "%a, %d %b %Y %H:%M:%S +0000" UTC)
set(changes "")
set(is_ours FALSE)
foreach(line IN LISTS lines)
  if(line MATCHES "^## ")
    string(FIND "${line} " "## ${PROJECT_VERSION} " at)
    string(COMPARE EQUAL ${at} 0 is_ours)
  elseif(is_ours)
    string(REGEX REPLACE "^- " "* " line "${line}")
    string(APPEND changes "  ${line}\n")
  endif()
endforeach()
if(changes STREQUAL "")
  message(FATAL_ERROR "CHANGELOG.md says nothing of version ${PROJECT_VERSION}")
endif()

# Of what is compiled into the programs, CLI11 asks for its notice.
file(READ LICENSE notices)
file(READ /usr/share/doc/libcli11-dev/copyright cli11)
string(APPEND notices "\n${cli11}")

foreach(component siminfo collect)
  string(TOUPPER ${component} upper)
  set(package ${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
  set(folder ${PROJECT_BINARY_DIR}/doc/${package})
  file(WRITE ${folder}/changelog
       "${package} (${PROJECT_VERSION}) stable; urgency=medium\n${changes}\n -- ${SIMINFO_MAINTAINER}  ${now}\n")
  file(WRITE ${folder}/copyright "${notices}")
  execute_process(COMMAND gzip -9nf ${folder}/changelog COMMAND_ERROR_IS_FATAL ANY)
  install(FILES ${folder}/changelog.gz ${folder}/copyright DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${package}
          COMPONENT ${component})
endforeach()

include(CPack)

# Installation of targets and other files. No installed file contains the prefix, so that an installation can be moved.
# Components: runtime, development, simulator, tools, documentation.
include(CMakePackageConfigHelpers)

# Headers are included by their paths in the source tree.
set(QZ_INSTALL_HEADERS ${CMAKE_INSTALL_INCLUDEDIR}/qzsensoragent)
cmake_path(RELATIVE_PATH CMAKE_INSTALL_PREFIX
  BASE_DIRECTORY ${CMAKE_INSTALL_FULL_BINDIR} OUTPUT_VARIABLE QZ_BIN_TO_PREFIX)

# qz_install_library(TARGET): installs a library with its headers, and exports it for find_package.
function(qz_install_library aTarget)
  install(TARGETS ${aTarget} EXPORT QZSensorAgentCommonTargets
    LIBRARY COMPONENT runtime NAMELINK_COMPONENT development
    INCLUDES DESTINATION ${QZ_INSTALL_HEADERS}
    FILE_SET HEADERS DESTINATION ${QZ_INSTALL_HEADERS} COMPONENT development)
endfunction()

set(QZ_INSTALL_CONFIG ${CMAKE_INSTALL_LIBDIR}/cmake/QZSensorAgentCommon)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/QZSensorAgentCommonConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(EXPORT QZSensorAgentCommonTargets
  NAMESPACE QZSensorAgent:: DESTINATION ${QZ_INSTALL_CONFIG} COMPONENT development)
install(FILES
  cmake/QZSensorAgentCommonConfig.cmake
  ${PROJECT_BINARY_DIR}/QZSensorAgentCommonConfigVersion.cmake
  DESTINATION ${QZ_INSTALL_CONFIG} COMPONENT development)

cmake_path(RELATIVE_PATH CMAKE_INSTALL_PREFIX
  BASE_DIRECTORY ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig OUTPUT_VARIABLE QZ_PKGCONFIG_TO_PREFIX)
set(qz_pkgconfig_names qzsensoragentcommon qzsensoragentkit qzsensoragenthbawitness)
if(GTest_FOUND)
  list(APPEND qz_pkgconfig_names qzsensoragenttesting)
endif()
foreach(name IN LISTS qz_pkgconfig_names)
  configure_file(cmake/${name}.pc.in ${PROJECT_BINARY_DIR}/${name}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${name}.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
endforeach()

# The documents keep their relative links to each other and to the examples. The reference of the public headers is
# installed if the target documentation has been built.
file(GLOB qz_documents CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/docs/*.md)
# The installed README leaves out what only the source tree has.
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS README.md)
file(READ README.md qz_readme)
string(REGEX REPLACE "## Two commands in the source tree\n.*(## An agent in ten lines)" "\\1" qz_readme "${qz_readme}")
string(REGEX REPLACE "## The source tree\n.*(All rights reserved)" "\\1" qz_readme "${qz_readme}")
file(WRITE ${PROJECT_BINARY_DIR}/README.md "${qz_readme}")
install(FILES ${PROJECT_BINARY_DIR}/README.md CHANGELOG.md CONTRIBUTING.md SECURITY.md
  DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT documentation)
install(FILES ${qz_documents} DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs COMPONENT documentation)
install(DIRECTORY docs/pictures docs/simulator DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs COMPONENT documentation)
install(DIRECTORY ${PROJECT_BINARY_DIR}/docs/html
  DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs COMPONENT documentation OPTIONAL)
install(DIRECTORY examples DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT documentation)

# Wireshark and tshark load every dissector in this folder.
if(QZ_BUILD_TOOLS)
  install(FILES share/wireshark/qz_scope_data.lua
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/wireshark/plugins COMPONENT tools)
endif()

# The units name qzagent without its folder, so that the installation can be moved. No package enables them.
if(QZ_BUILD_TOOLS)
  install(DIRECTORY share/systemd/ DESTINATION lib/systemd/system COMPONENT tools)
endif()

if(QZ_BUILD_TOOLS)
  install(DIRECTORY share/grafana DESTINATION ${CMAKE_INSTALL_DATADIR}/qzagent COMPONENT tools)
endif()

# Manual pages and shell completions belong to the component of their program.
if(QZ_BUILD_TOOLS)
  file(GLOB qz_help CONFIGURE_DEPENDS
    ${PROJECT_SOURCE_DIR}/docs/man/*.1
    ${PROJECT_SOURCE_DIR}/docs/man/*.5
    ${PROJECT_SOURCE_DIR}/tools/completions/*)
  foreach(file IN LISTS qz_help)
    set(folder ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
    if(file MATCHES "/docs/man/.*\\.([15])$")
      set(folder ${CMAKE_INSTALL_MANDIR}/man${CMAKE_MATCH_1})
    endif()
    set(component tools)
    if(file MATCHES "/qzsim[^/]*$")
      set(component simulator)
    elseif(file MATCHES "/qzframework-check[^/]*$")
      set(component development)
    endif()
    install(FILES ${file} DESTINATION ${folder} COMPONENT ${component})
  endforeach()
endif()

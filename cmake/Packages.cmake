# One Debian package per component; scripts/packages builds and checks them.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME qzsensoragentcommon)
set(CPACK_PACKAGE_CONTACT "Sensor Agent Team <sensor-agent@example.invalid>")
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_COMPONENTS_ALL runtime development simulator tools documentation)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/PreparePackages.cmake)
# Permissions must not depend on the umask of the build.
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SOURCE ${CPACK_PACKAGE_NAME})
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})

# A cross build has no packages for every machine. dpkg-shlibdeps knows no libraries of other machines, so the packages
# name them, with the versions of docs/install.md: libstdc++ of GCC 5.2, 11 and 12 has the symbols GLIBCXX_3.4.21, 3.4.29
# and 3.4.30.
set(CPACK_QZ_STRIP ${CMAKE_STRIP})
if(CMAKE_CROSSCOMPILING)
  list(REMOVE_ITEM CPACK_COMPONENTS_ALL documentation)
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE ${QZ_DEBIAN_ARCHITECTURE})
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS OFF)
  set(qz_runtime_needs ", libc6 (>= 2.34), libgcc-s1 (>= 4.2), libstdc++6 (>= 5.2)")
  set(qz_development_needs ", libc6 (>= 2.34), libgcc-s1 (>= 4.2), libstdc++6 (>= 11)")
  set(qz_simulator_needs "libc6 (>= 2.34), libgcc-s1 (>= 4.2), libstdc++6 (>= 12), libnettle8")
  set(qz_tools_needs ", ${qz_simulator_needs}, libsmartcols1 (>= 2.31)")
endif()

# The first line of each package's description is its summary.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")

# qz_package(COMPONENT PACKAGE SECTION DESCRIPTION): sets what all packages have.
macro(qz_package aComponent aPackage aSection aDescription)
  string(TOUPPER ${aComponent} component)
  set(CPACK_DEBIAN_${component}_PACKAGE_NAME ${aPackage})
  set(CPACK_DEBIAN_${component}_PACKAGE_SECTION ${aSection})
  set(CPACK_COMPONENT_${component}_DESCRIPTION "${aDescription}")
  # Only packages contain these files; a plain installation leaves them out.
  set(folder ${CMAKE_INSTALL_DATAROOTDIR}/doc/${aPackage})
  install(FILES packaging/copyright DESTINATION ${folder} COMPONENT ${aComponent} EXCLUDE_FROM_ALL)
  install(FILES packaging/changelog RENAME changelog.Debian
    DESTINATION ${folder} COMPONENT ${aComponent} EXCLUDE_FROM_ALL)
endmacro()

set(qz_purpose
"An agent on a host with Fibre Channel adapters uses this library for the
value records that it reports, and to access the adapters through the SNIA
HBA API and the vendor's diagnostic library.")

qz_package(runtime libqzsensoragentcommon1 libs
"common layer of a sensor agent for storage networks
${qz_purpose}
This package contains the library, the framework that it uses, and the agent
kit: owners, an event queue and views of records.")
# The library calls the common library without linking it, so dpkg-shlibdeps does not find this dependency.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS "libhbaapi2${qz_runtime_needs}")
# PreparePackages.cmake writes shlibs and symbols. Without a postinst and a postrm, CPack generates scripts that call
# ldconfig, which the trigger already does. Naming two files that do not exist prevents that.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA
  ${PROJECT_SOURCE_DIR}/packaging/triggers
  ${CPACK_PACKAGE_DIRECTORY}/shlibs
  ${CPACK_PACKAGE_DIRECTORY}/symbols
  ${PROJECT_SOURCE_DIR}/packaging/none/postinst
  ${PROJECT_SOURCE_DIR}/packaging/none/postrm)

qz_package(development libqzsensoragentcommon-dev libdevel
"common layer of a sensor agent for storage networks (development)
${qz_purpose}
This package contains the headers, the files for CMake and pkg-config, doubles
of the HBA API and the diagnostic library for unit tests, and a
program that checks replacements of the framework.")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
  "libqzsensoragentcommon1 (= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}), libhbaapi-dev${qz_development_needs}")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SUGGESTS "libgtest-dev, libqzsensoragentcommon-doc, qzsim")

qz_package(simulator qzsim utils
"runs a program with simulated Fibre Channel adapters
The program runs unchanged and needs neither root nor an adapter: it calls the
real SNIA common library, which loads a simulated HBA library. A scenario, a
small TOML file, describes the adapters and the calls that fail.")
set(CPACK_DEBIAN_SIMULATOR_PACKAGE_DEPENDS "${qz_simulator_needs}")
set(CPACK_DEBIAN_SIMULATOR_PACKAGE_SUGGESTS "libhbaapi2, qzagent")

qz_package(tools qzagent admin
"reference agent for storage-network diagnostics
Takes the inventory of a host's Fibre Channel adapters, measures latencies,
and watches and records diagnostic events, as tables or as JSON.")
# dpkg-shlibdeps ignores the private library, which belongs to no installed package, so it is named here.
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "libqzsensoragentcommon1 (>= ${PROJECT_VERSION})${qz_tools_needs}")
set(CPACK_DEBIAN_TOOLS_PACKAGE_SUGGESTS "qzsim, graphviz")

qz_package(documentation libqzsensoragentcommon-doc doc
"common layer of a sensor agent for storage networks (documentation)
${qz_purpose}
This package contains the documents, the reference of the headers, and
examples.")
set(CPACK_DEBIAN_DOCUMENTATION_PACKAGE_ARCHITECTURE all)
install(FILES packaging/doc-base RENAME libqzsensoragentcommon
  DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc-base COMPONENT documentation EXCLUDE_FROM_ALL)

include(CPack)

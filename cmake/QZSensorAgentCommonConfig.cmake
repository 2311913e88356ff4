# Defines the targets
#
#   QZSensorAgent::AgentCommon   the library, with the framework and the common library of the HBA API
#   QZSensorAgent::Framework     only the framework
#
# The library calls the common library without linking it, so its users link the common library too.
include(CMakeFindDependencyMacro)
find_dependency(PkgConfig)
if(NOT TARGET PkgConfig::HBAAPI)
  pkg_check_modules(HBAAPI QUIET IMPORTED_TARGET HBAAPI)
endif()
if(NOT TARGET PkgConfig::HBAAPI)
  set(QZSensorAgentCommon_FOUND FALSE)
  set(QZSensorAgentCommon_NOT_FOUND_MESSAGE "pkg-config does not find HBAAPI, the SNIA common library")
  return()
endif()

include(${CMAKE_CURRENT_LIST_DIR}/QZSensorAgentCommonTargets.cmake)

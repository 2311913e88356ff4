# Defines the targets
#
#   QZSensorAgent::AgentCommon   the library, with the framework and the common library of the HBA API
#   QZSensorAgent::Framework     only the framework
#   QZSensorAgent::AgentKit      owners, an event queue, views and values for agents, with the library
#   QZSensorAgent::HbaWitness    keeps the last answer of the HBA API, with the agent kit
#   QZSensorAgent::Testing       scripted HBA API and diagnostic library for unit tests, if GoogleTest is found
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

if(NOT TARGET GTest::gtest)
  find_package(GTest QUIET)
endif()
if(TARGET GTest::gtest)
  # An installation that was built without GoogleTest has no such targets.
  include(${CMAKE_CURRENT_LIST_DIR}/QZSensorAgentTestingTargets.cmake OPTIONAL)
endif()

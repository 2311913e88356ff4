find_package(PkgConfig REQUIRED)

# The SNIA common library of the HBA API, and its headers. The library calls it, and users of the library link it.
pkg_check_modules(HBAAPI REQUIRED IMPORTED_TARGET HBAAPI)

find_package(Threads REQUIRED)

if(QZ_BUILD_TOOLS)
  find_package(CLI11 REQUIRED)
  find_package(fmt REQUIRED)
  # The shared library of {fmt} needs the shared libstdc++, so programs with the static one contain {fmt}.
  add_library(qz_fmt INTERFACE)
  if(QZ_STATIC_RUNTIME)
    target_include_directories(qz_fmt SYSTEM INTERFACE $<TARGET_PROPERTY:fmt::fmt,INTERFACE_INCLUDE_DIRECTORIES>)
    target_link_libraries(qz_fmt INTERFACE qzsim_format)
  else()
    target_link_libraries(qz_fmt INTERFACE fmt::fmt)
  endif()
  find_package(nlohmann_json REQUIRED)
  find_package(tomlplusplus REQUIRED)
  pkg_check_modules(SMARTCOLS REQUIRED IMPORTED_TARGET smartcols)
  pkg_check_modules(NETTLE REQUIRED IMPORTED_TARGET nettle)
endif()

# The doubles for unit tests of agents are built where GoogleTest is installed.
find_package(GTest QUIET)

if(QZ_BUILD_TESTS)
  find_package(GTest REQUIRED)
  # Debian has libcbor only for the machines that it supports, so the cross build skips the tests that compare with it.
  if(CMAKE_CROSSCOMPILING)
    set(CBOR_FOUND FALSE)
  else()
    pkg_check_modules(CBOR REQUIRED IMPORTED_TARGET libcbor)
    find_package(Python3 REQUIRED COMPONENTS Interpreter)
  endif()
endif()

if(QZ_BUILD_BENCHMARKS)
  find_package(benchmark REQUIRED)
  # The peers that the benchmarks compare with.
  find_path(MSGPACK_INCLUDE_DIR msgpack.hpp REQUIRED)
  find_package(FlatBuffers REQUIRED)
  find_program(FLATC_EXECUTABLE flatc REQUIRED)
  find_package(Protobuf REQUIRED)
  pkg_check_modules(CBOR REQUIRED IMPORTED_TARGET libcbor)
endif()

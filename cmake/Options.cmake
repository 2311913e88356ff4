# qz_options has the compile options of every target of this project. It is linked privately, so that users of the
# libraries do not inherit them.
add_library(qz_options INTERFACE)

# For code that must not be instrumented.
add_library(qz_plain_options INTERFACE)
target_compile_features(qz_plain_options INTERFACE cxx_std_17)
target_compile_options(qz_plain_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion
  $<$<BOOL:${QZ_WERROR}>:-Werror>)
target_link_libraries(qz_options INTERFACE qz_plain_options)

if(QZ_SANITIZE)
  target_compile_options(qz_options INTERFACE
    -fsanitize=${QZ_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(qz_options INTERFACE -fsanitize=${QZ_SANITIZE})
endif()

# The simulated libraries may be loaded into a program without sanitizers, so clang++ must use the shared runtime of the
# address sanitizer, as g++ does. The check of function types is off, since types of different libraries never compare
# equal.
if(QZ_SANITIZE MATCHES "^address" AND CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  execute_process(
    COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=libclang_rt.asan-${CMAKE_SYSTEM_PROCESSOR}.so
    OUTPUT_VARIABLE runtime OUTPUT_STRIP_TRAILING_WHITESPACE)
  cmake_path(GET runtime PARENT_PATH runtime_folder)
  target_compile_options(qz_options INTERFACE -fno-sanitize=function)
  target_link_options(qz_options INTERFACE -shared-libasan -Wl,-rpath,${runtime_folder})
endif()

if(QZ_COVERAGE)
  # ccache does not cache what is compiled with these options, unless they are in a file of specs.
  set(counted agentkit anonymise backend pcapng simulator toml tools)
  list(TRANSFORM counted REPLACE ".+" "${PROJECT_SOURCE_DIR}/\\0/.*")
  file(CONFIGURE OUTPUT ${PROJECT_BINARY_DIR}/coverage.specs
    CONTENT "*cc1plus:\n+ -fprofile-update=prefer-atomic -fprofile-filter-files=${counted}\n")
  target_compile_options(qz_options INTERFACE --coverage -specs=${PROJECT_BINARY_DIR}/coverage.specs)
  # The libraries must not export gcov's functions.
  target_link_options(qz_options INTERFACE --coverage -Wl,--exclude-libs,libgcov.a)
  # Counts of an older build do not apply to the new code.
  add_custom_target(forget_counts ALL
    COMMAND find ${PROJECT_BINARY_DIR} -name "*.gcda" -delete VERBATIM)
endif()

# qz_tool_options has the compile options of the tools. On 32-bit machines they have times after 2038, files above 2 GiB
# and file serial numbers of 64 bits. The preloaded library of the simulator does not, because it defines the C
# library's functions for both sizes.
add_library(qz_tool_options INTERFACE)
target_link_libraries(qz_tool_options INTERFACE qz_options)
target_compile_definitions(qz_tool_options INTERFACE _FILE_OFFSET_BITS=64 _TIME_BITS=64)
if(QZ_STATIC_RUNTIME)
  target_link_options(qz_tool_options INTERFACE
    $<$<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>:-static-libstdc++;-static-libgcc>)
endif()

# Programs and tests run from these folders of the build.
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/lib)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)

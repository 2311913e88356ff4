# CPack runs this script after it has installed the files of the packages and before it packs them.
set(runtime_package libqzsensoragentcommon1)
set(components ${CPACK_TEMPORARY_DIRECTORY}/*)

# Manual pages and changelogs are compressed without timestamps or names.
file(GLOB_RECURSE texts ${components}/usr/share/man/*.[15] ${components}/usr/share/doc/changelog.Debian)
foreach(text IN LISTS texts)
  execute_process(COMMAND gzip -9nf ${text} COMMAND_ERROR_IS_FATAL ANY)
endforeach()

file(GLOB libraries ${components}/usr/lib/*/lib*.so.*.*.*)
file(GLOB programs ${components}/usr/bin/* ${components}/usr/lib/*/qzsim/*)
execute_process(
  COMMAND ${CPACK_QZ_STRIP} --strip-unneeded --remove-section=.comment --remove-section=.note ${libraries} ${programs}
  COMMAND_ERROR_IS_FATAL ANY)

file(GLOB archives ${components}/usr/lib/*/lib*.a)
execute_process(
  COMMAND ${CPACK_QZ_STRIP} --strip-debug --remove-section=.comment --enable-deterministic-archives ${archives}
  COMMAND_ERROR_IS_FATAL ANY)

# A package built with the libraries depends on the version that introduced the symbols that it uses. Where symbols are
# not checked, it depends on the version that it was built with, by soname.
set(shlibs "")
foreach(library IN LISTS libraries)
  string(REGEX MATCH "(lib[^/]*)\\.so\\.([0-9]+)" soname ${library})
  string(APPEND shlibs "${CMAKE_MATCH_1} ${CMAKE_MATCH_2} ${runtime_package} (>= ${CPACK_PACKAGE_VERSION})\n")
endforeach()
file(WRITE ${CPACK_PACKAGE_DIRECTORY}/shlibs ${shlibs})
list(TRANSFORM libraries PREPEND -e)
if(CPACK_DEBIAN_PACKAGE_ARCHITECTURE)
  set(architecture -a${CPACK_DEBIAN_PACKAGE_ARCHITECTURE})
endif()
execute_process(
  COMMAND dpkg-gensymbols ${architecture} -q -c0 -p${runtime_package} -v${CPACK_PACKAGE_VERSION} ${libraries}
          -P${CPACK_TEMPORARY_DIRECTORY}/runtime -I${CMAKE_CURRENT_LIST_DIR}/../packaging/symbols
          -O${CPACK_PACKAGE_DIRECTORY}/symbols
  WORKING_DIRECTORY ${CPACK_TEMPORARY_DIRECTORY} COMMAND_ERROR_IS_FATAL ANY)

# CPack runs this when the packages' files are laid out, before it packs them.
set(runtime_package libqzsensoragentcommon1)
set(components ${CPACK_TEMPORARY_DIRECTORY}/*)

# Manual pages and changelogs are compressed, without anything of the time or place.
file(GLOB_RECURSE texts ${components}/usr/share/man/*.[15] ${components}/usr/share/doc/changelog.Debian)
foreach(text IN LISTS texts)
  execute_process(COMMAND gzip -9nf ${text} COMMAND_ERROR_IS_FATAL ANY)
endforeach()

file(GLOB libraries ${components}/usr/lib/*/lib*.so.*.*.*)
file(GLOB programs ${components}/usr/bin/* ${components}/usr/lib/*/qzsim/*)
execute_process(
  COMMAND strip --strip-unneeded --remove-section=.comment --remove-section=.note ${libraries} ${programs}
  COMMAND_ERROR_IS_FATAL ANY)

file(GLOB archives ${components}/usr/lib/*/lib*.a)
execute_process(
  COMMAND strip --strip-debug --remove-section=.comment --enable-deterministic-archives ${archives}
  COMMAND_ERROR_IS_FATAL ANY)

# Whoever is built with the libraries asks for the version that it was built with: by the symbols that it
# uses, or, where these are not looked at, by the soname.
set(shlibs "")
foreach(library IN LISTS libraries)
  string(REGEX MATCH "(lib[^/]*)\\.so\\.([0-9]+)" soname ${library})
  string(APPEND shlibs "${CMAKE_MATCH_1} ${CMAKE_MATCH_2} ${runtime_package} (>= ${CPACK_PACKAGE_VERSION})\n")
endforeach()
file(WRITE ${CPACK_PACKAGE_DIRECTORY}/shlibs ${shlibs})
list(TRANSFORM libraries PREPEND -e)
execute_process(
  COMMAND dpkg-gensymbols -q -c0 -p${runtime_package} -v${CPACK_PACKAGE_VERSION} ${libraries}
          -P${CPACK_TEMPORARY_DIRECTORY}/runtime -I${CMAKE_CURRENT_LIST_DIR}/../packaging/symbols
          -O${CPACK_PACKAGE_DIRECTORY}/symbols
  WORKING_DIRECTORY ${CPACK_TEMPORARY_DIRECTORY} COMMAND_ERROR_IS_FATAL ANY)

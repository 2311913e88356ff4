# qz_export_listed(TARGET LIST): the library exports only the names in LIST, one demangled name per line. Without this,
# it also exports the functions of the standard library that the compiler did not inline. One of them can have a static
# variable of the binding STB_GNU_UNIQUE, and the dynamic linker never unmaps a library that exports such a variable.
#
# A name in the linker's script is a pattern without the types of parameters and template arguments, because these
# depend on the machine and the linker. exports_tests compares the complete names.
function(qz_export_listed aTarget aList)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${aList})
  file(STRINGS ${aList} names REGEX "^[^#]")
  list(TRANSFORM names REPLACE "^inline " "")
  list(TRANSFORM names REPLACE "[(].*" "(*")
  foreach(level RANGE 2)  # template arguments can be templates
    list(TRANSFORM names REPLACE "<[^<>]*>" "*")
  endforeach()
  list(TRANSFORM names REPLACE "[^A-Za-z0-9_:*]" "?")
  list(REMOVE_DUPLICATES names)
  list(JOIN names ";\n    " patterns)
  set(script ${PROJECT_BINARY_DIR}/${aTarget}.map)
  file(CONFIGURE OUTPUT ${script} CONTENT
"{
  global:
    extern \"C++\" {
    @patterns@;
    };
  local: *;
};
" @ONLY)
  target_link_options(${aTarget} PRIVATE -Wl,--version-script=${script})
  set_property(TARGET ${aTarget} APPEND PROPERTY LINK_DEPENDS ${script})
endfunction()

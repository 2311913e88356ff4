# Writes a source that defines string views with the contents of files. Each further argument is NAME=FILE. A change of a
# file configures the build again.
function(qz_embed source header namespace)
  set(text "#include \"${header}\"\n\nnamespace ${namespace}\n{\n")
  foreach(pair IN LISTS ARGN)
    string(REGEX MATCH "^([^=]+)=(.+)$" ignored "${pair}")
    set(name ${CMAKE_MATCH_1})
    get_filename_component(file "${CMAKE_MATCH_2}" ABSOLUTE)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${file}")
    file(READ "${file}" content HEX)
    string(REGEX REPLACE "(..)" "0x\\1," content "${content}")
    string(APPEND text "namespace\n{\nconstexpr unsigned char ${name}Bytes[] = {${content}};\n}\n"
                       "std::string_view const ${name}(reinterpret_cast<char const*>(${name}Bytes), "
                       "sizeof ${name}Bytes);\n")
  endforeach()
  string(APPEND text "}\n")
  file(CONFIGURE OUTPUT "${source}" CONTENT "${text}" @ONLY)
endfunction()

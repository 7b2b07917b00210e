# Makes the linker's .def file and the MinGW import library from the export table.

# Sets KVEXA_DEF_FILE and KVEXA_IMPORT_LIBRARY, and adds the target kvexa_import_library.
function(kvexaExportFiles table)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${table})
  set(exportLines "LIBRARY KVEXA_LIB.dll\nEXPORTS\n")
  set(importLines "${exportLines}")
  file(STRINGS ${table} entries REGEX "^EXPORT")
  foreach(entry IN LISTS entries)
    if(NOT entry MATCHES "^EXPORT(_ALIAS)?\\(([A-Za-z0-9]+), ([A-Za-z0-9]+), ([0-9]+)\\)$")
      message(FATAL_ERROR "${table} has a line that is no entry: ${entry}")
    endif()
    set(name ${CMAKE_MATCH_2})
    set(convention ${CMAKE_MATCH_3})
    set(function ${name})
    if(CMAKE_MATCH_1)
      set(function ${CMAKE_MATCH_3})
      set(convention STDCALL)
    endif()
    math(EXPR bytes "4 * ${CMAKE_MATCH_4}")
    if(convention STREQUAL "CDECL")
      string(APPEND exportLines "  ${name}\n")
      string(APPEND importLines "  ${name}\n")
    else()
      # The linker drops a leading underscore of its own accord; this form keeps it.
      string(APPEND exportLines "  _${name}@${bytes} = ${function}@${bytes}\n")
      string(APPEND importLines "  ${name}@${bytes} == _${name}@${bytes}\n")
    endif()
  endforeach()

  set(def ${CMAKE_CURRENT_BINARY_DIR}/KVEXA_LIB.def)
  set(importDef ${CMAKE_CURRENT_BINARY_DIR}/import.def)
  file(CONFIGURE OUTPUT ${def} CONTENT "${exportLines}")
  file(CONFIGURE OUTPUT ${importDef} CONTENT "${importLines}")

  set(library ${CMAKE_CURRENT_BINARY_DIR}/import/libKVEXA_LIB.dll.a)
  file(MAKE_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/import)
  add_custom_command(
    OUTPUT ${library}
    COMMAND i686-w64-mingw32-dlltool --deterministic-libraries -d ${importDef} -l ${library}
    DEPENDS ${importDef}
    COMMENT "Making the MinGW import library")
  add_custom_target(kvexa_import_library DEPENDS ${library})

  set(KVEXA_DEF_FILE ${def} PARENT_SCOPE)
  set(KVEXA_IMPORT_LIBRARY ${library} PARENT_SCOPE)
endfunction()

# Makes the linker's .def file and the import libraries for MinGW and MSVC from the export table.

# Sets KVEXA_DEF_FILE, KVEXA_IMPORT_LIBRARY (MinGW) and KVEXA_MSVC_IMPORT_LIBRARY, and adds the target
# kvexa_import_library, which makes both libraries.
function(kvexaExportFiles table)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${table})
  set(exportLines "LIBRARY KVEXA_LIB.dll\nEXPORTS\n")
  set(importLines "${exportLines}")
  set(msvcLines "${exportLines}")
  set(stubs "  .text\n")
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
      string(APPEND msvcLines "  ${name}\n")
      string(APPEND stubs "  .globl _${name}\n_${name}:\n")
    else()
      # The linker drops a leading underscore of its own accord; this form keeps it.
      string(APPEND exportLines "  _${name}@${bytes} = ${function}@${bytes}\n")
      string(APPEND importLines "  ${name}@${bytes} == _${name}@${bytes}\n")
      string(APPEND msvcLines "  _${name}@${bytes}\n")
      string(APPEND stubs "  .globl _${name}@${bytes}\n_${name}@${bytes}:\n")
    endif()
  endforeach()

  set(def ${CMAKE_CURRENT_BINARY_DIR}/KVEXA_LIB.def)
  set(importDef ${CMAKE_CURRENT_BINARY_DIR}/import.def)
  file(CONFIGURE OUTPUT ${def} CONTENT "${exportLines}")
  file(CONFIGURE OUTPUT ${importDef} CONTENT "${importLines}")

  set(msvcDef ${CMAKE_CURRENT_BINARY_DIR}/msvc.def)
  set(stubSource ${CMAKE_CURRENT_BINARY_DIR}/stubs.s)
  file(CONFIGURE OUTPUT ${msvcDef} CONTENT "${msvcLines}")
  file(CONFIGURE OUTPUT ${stubSource} CONTENT "${stubs}  ret\n")

  set(folder ${CMAKE_CURRENT_BINARY_DIR}/import)
  set(library ${folder}/libKVEXA_LIB.dll.a)
  set(msvcLibrary ${folder}/KVEXA_LIB.lib)
  file(MAKE_DIRECTORY ${folder})
  # Its symbols are named after the place of the library, so no folder may stand in the call.
  add_custom_command(
    OUTPUT ${library}
    COMMAND i686-w64-mingw32-dlltool --deterministic-libraries -t KVEXA_LIB_ -d ${importDef} -l libKVEXA_LIB.dll.a
    WORKING_DIRECTORY ${folder}
    DEPENDS ${importDef}
    COMMENT "Making the MinGW import library")

  # Microsoft's linker wants records of another kind, which lld-link writes beside a DLL. That DLL of empty
  # functions is thrown away.
  find_program(LLD_LINK NAMES lld-link lld-link-14 REQUIRED)
  set(stubObject ${folder}/stubs.o)
  add_custom_command(
    OUTPUT ${msvcLibrary}
    COMMAND i686-w64-mingw32-as ${stubSource} -o ${stubObject}
    COMMAND ${LLD_LINK} /dll /noentry /machine:x86 /safeseh:no /def:${msvcDef} /implib:${msvcLibrary}
            /out:${folder}/stubs.dll ${stubObject}
    DEPENDS ${msvcDef} ${stubSource}
    COMMENT "Making the MSVC import library"
    VERBATIM)
  add_custom_target(kvexa_import_library DEPENDS ${library} ${msvcLibrary})

  set(KVEXA_DEF_FILE ${def} PARENT_SCOPE)
  set(KVEXA_IMPORT_LIBRARY ${library} PARENT_SCOPE)
  set(KVEXA_MSVC_IMPORT_LIBRARY ${msvcLibrary} PARENT_SCOPE)
endfunction()

# Makes the linker's .def file and the import libraries for MinGW and MSVC from an export table.

# Of the lines that the caller has put together: exportLines for the linker, importLines for dlltool (with
# dlltoolOptions), msvcLines and stubs for lld-link. Sets <prefix>_DEF_FILE, <prefix>_IMPORT_LIBRARY (MinGW) and
# <prefix>_MSVC_IMPORT_LIBRARY in the caller's caller, and adds the target <lower prefix>_import_library.
macro(makeExportFiles prefix library)
  set(def ${CMAKE_CURRENT_BINARY_DIR}/${library}.def)
  set(importDef ${CMAKE_CURRENT_BINARY_DIR}/import.def)
  file(CONFIGURE OUTPUT ${def} CONTENT "${exportLines}")
  file(CONFIGURE OUTPUT ${importDef} CONTENT "${importLines}")

  set(msvcDef ${CMAKE_CURRENT_BINARY_DIR}/msvc.def)
  set(stubSource ${CMAKE_CURRENT_BINARY_DIR}/stubs.s)
  file(CONFIGURE OUTPUT ${msvcDef} CONTENT "${msvcLines}")
  file(CONFIGURE OUTPUT ${stubSource} CONTENT "${stubs}  ret\n")

  set(folder ${CMAKE_CURRENT_BINARY_DIR}/import)
  set(mingwLibrary ${folder}/lib${library}.dll.a)
  set(msvcLibrary ${folder}/${library}.lib)
  file(MAKE_DIRECTORY ${folder})
  # Its symbols are named after the place of the library, so no folder may stand in the call.
  add_custom_command(
    OUTPUT ${mingwLibrary}
    COMMAND i686-w64-mingw32-dlltool --deterministic-libraries ${dlltoolOptions} -t ${library}_ -d ${importDef}
            -l lib${library}.dll.a
    WORKING_DIRECTORY ${folder}
    DEPENDS ${importDef}
    COMMENT "Making the MinGW import library of ${library}.dll")

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
    COMMENT "Making the MSVC import library of ${library}.dll"
    VERBATIM)
  string(TOLOWER ${prefix}_import_library importTarget)
  add_custom_target(${importTarget} DEPENDS ${mingwLibrary} ${msvcLibrary})

  set(${prefix}_DEF_FILE ${def} PARENT_SCOPE)
  set(${prefix}_IMPORT_LIBRARY ${mingwLibrary} PARENT_SCOPE)
  set(${prefix}_MSVC_IMPORT_LIBRARY ${msvcLibrary} PARENT_SCOPE)
endmacro()

# For KVEXA_LIB.dll, whose names are decorated.
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

  set(dlltoolOptions)
  makeExportFiles(KVEXA KVEXA_LIB)
endfunction()

# For a DLL whose stdcall functions have plain names, with ordinals in the order of the table.
function(plainExportFiles prefix library table)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${table})
  set(exportLines "LIBRARY ${library}.dll\nEXPORTS\n")
  set(importLines "${exportLines}")
  set(msvcLines "${exportLines}")
  set(stubs "  .text\n")
  set(ordinal 0)
  file(STRINGS ${table} entries REGEX "^EXPORT")
  foreach(entry IN LISTS entries)
    if(NOT entry MATCHES "^EXPORT\\(([A-Za-z0-9]+), ([0-9]+)\\)$")
      message(FATAL_ERROR "${table} has a line that is no entry: ${entry}")
    endif()
    set(name ${CMAKE_MATCH_1})
    math(EXPR bytes "4 * ${CMAKE_MATCH_2}")
    math(EXPR ordinal "${ordinal} + 1")
    string(APPEND exportLines "  ${name} = ${name}@${bytes} @${ordinal}\n")
    string(APPEND importLines "  ${name}@${bytes}\n")
    string(APPEND msvcLines "  ${name}\n")
    string(APPEND stubs "  .globl _${name}@${bytes}\n_${name}@${bytes}:\n")
  endforeach()
  set(dlltoolOptions --kill-at)
  makeExportFiles(${prefix} ${library})
endfunction()

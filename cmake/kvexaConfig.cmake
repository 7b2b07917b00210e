# find_package(kvexa CONFIG) gives the target kvexa::kvexa: header, import library and DLL for programs of
# 32-bit Windows. $<TARGET_FILE:kvexa::kvexa> is the DLL, which must stand beside the program.
if(TARGET kvexa::kvexa)
  return()
endif()

if(NOT WIN32 OR NOT CMAKE_SIZEOF_VOID_P EQUAL 4)
  set(kvexa_FOUND FALSE)
  set(kvexa_NOT_FOUND_MESSAGE "KVEXA_LIB.dll is a library for programs of 32-bit Windows")
  return()
endif()

get_filename_component(kvexaRoot "${CMAKE_CURRENT_LIST_DIR}/../../.." ABSOLUTE)
if(MSVC OR CMAKE_C_SIMULATE_ID STREQUAL "MSVC" OR CMAKE_CXX_SIMULATE_ID STREQUAL "MSVC")
  set(kvexaImportLibrary "${kvexaRoot}/lib/KVEXA_LIB.lib")
else()
  set(kvexaImportLibrary "${kvexaRoot}/lib/libKVEXA_LIB.dll.a")
endif()

add_library(kvexa::kvexa SHARED IMPORTED)
set_target_properties(kvexa::kvexa PROPERTIES
  IMPORTED_LOCATION "${kvexaRoot}/bin/KVEXA_LIB.dll"
  IMPORTED_IMPLIB "${kvexaImportLibrary}"
  INTERFACE_INCLUDE_DIRECTORIES "${kvexaRoot}/include")
unset(kvexaRoot)
unset(kvexaImportLibrary)

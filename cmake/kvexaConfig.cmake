# find_package(kvexa CONFIG) gives targets for programs of 32-bit Windows: kvexa::kvexa, the library with its
# headers, and kvexa::simulation, the simulated boards of kvexa_sim.dll. $<TARGET_FILE:kvexa::kvexa> and
# $<TARGET_FILE:kvexa::simulation> are the DLLs, which must stand beside the program.
if(TARGET kvexa::kvexa)
  return()
endif()

if(NOT WIN32 OR NOT CMAKE_SIZEOF_VOID_P EQUAL 4)
  set(kvexa_FOUND FALSE)
  set(kvexa_NOT_FOUND_MESSAGE "KVEXA_LIB.dll is a library for programs of 32-bit Windows")
  return()
endif()

get_filename_component(kvexaRoot "${CMAKE_CURRENT_LIST_DIR}/../../.." ABSOLUTE)
foreach(kvexaPair kvexa:KVEXA_LIB simulation:kvexa_sim)
  string(REPLACE ":" ";" kvexaPair ${kvexaPair})
  list(GET kvexaPair 0 kvexaTarget)
  list(GET kvexaPair 1 kvexaLibrary)
  if(MSVC OR CMAKE_C_SIMULATE_ID STREQUAL "MSVC" OR CMAKE_CXX_SIMULATE_ID STREQUAL "MSVC")
    set(kvexaImportLibrary "${kvexaRoot}/lib/${kvexaLibrary}.lib")
  else()
    set(kvexaImportLibrary "${kvexaRoot}/lib/lib${kvexaLibrary}.dll.a")
  endif()
  add_library(kvexa::${kvexaTarget} SHARED IMPORTED)
  set_target_properties(kvexa::${kvexaTarget} PROPERTIES
    IMPORTED_LOCATION "${kvexaRoot}/bin/${kvexaLibrary}.dll"
    IMPORTED_IMPLIB "${kvexaImportLibrary}"
    INTERFACE_INCLUDE_DIRECTORIES "${kvexaRoot}/include")
endforeach()
unset(kvexaRoot)
unset(kvexaPair)
unset(kvexaTarget)
unset(kvexaLibrary)
unset(kvexaImportLibrary)

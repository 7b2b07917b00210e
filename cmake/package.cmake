# What programs take besides the DLL: bindings, the packages of CMake and pkg-config, examples.

find_package(Python3 REQUIRED COMPONENTS Interpreter)

file(STRINGS ${CMAKE_SOURCE_DIR}/include/kvexa.h versionLines REGEX "^#define KVEXA_VERSION_(MAJOR|MINOR|PATCH) ")
string(REGEX MATCHALL "[0-9]+" versionParts "${versionLines}")
list(JOIN versionParts "." KVEXA_VERSION)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/include/kvexa.h)
if(PROJECT_VERSION AND NOT PROJECT_VERSION MATCHES "^${KVEXA_VERSION}(\\.|$)")
  message(FATAL_ERROR "kvexa.h says version ${KVEXA_VERSION}, CMakeLists.txt says ${PROJECT_VERSION}")
endif()

# The generator stops when a header and its export table differ.
set(bindingsFolder ${CMAKE_BINARY_DIR}/bindings)
set(bindings ${bindingsFolder}/kvexa/_native.py ${bindingsFolder}/kvexa/_simulation_native.py
             ${bindingsFolder}/Kvexa.cs ${bindingsFolder}/KvexaSim.cs)
file(GLOB generatorSources CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/bindings/*.py)
set(interface ${CMAKE_SOURCE_DIR}/include/kvexa.h ${CMAKE_SOURCE_DIR}/include/kvexa_results.inc
              ${CMAKE_SOURCE_DIR}/src/api/exports.inc ${CMAKE_SOURCE_DIR}/include/kvexa_sim.h
              ${CMAKE_SOURCE_DIR}/sim/dll/exports.inc)
add_custom_command(
  OUTPUT ${bindings} ${bindingsFolder}/functions.md ${bindingsFolder}/results.md
  COMMAND Python3::Interpreter -B ${CMAKE_SOURCE_DIR}/bindings/generate.py ${CMAKE_SOURCE_DIR}/include
          ${CMAKE_SOURCE_DIR}/src/api/exports.inc ${CMAKE_SOURCE_DIR}/sim/dll/exports.inc ${bindingsFolder}
  DEPENDS ${generatorSources} ${interface}
  COMMENT "Generating the bindings from the headers"
  VERBATIM)

# What is written by hand stands beside what is generated.
file(GLOB writtenBindings CONFIGURE_DEPENDS RELATIVE ${CMAKE_SOURCE_DIR}/bindings
     ${CMAKE_SOURCE_DIR}/bindings/kvexa/*.py ${CMAKE_SOURCE_DIR}/bindings/*.cs)
foreach(file IN LISTS writtenBindings)
  add_custom_command(
    OUTPUT ${bindingsFolder}/${file}
    COMMAND ${CMAKE_COMMAND} -E copy ${CMAKE_SOURCE_DIR}/bindings/${file} ${bindingsFolder}/${file}
    DEPENDS ${CMAKE_SOURCE_DIR}/bindings/${file} ${bindingsFolder}/kvexa/_native.py
    VERBATIM)
  list(APPEND bindings ${bindingsFolder}/${file})
endforeach()
add_custom_target(kvexa_bindings ALL DEPENDS ${bindings})

configure_file(${CMAKE_SOURCE_DIR}/cmake/kvexaConfigVersion.cmake.in kvexaConfigVersion.cmake @ONLY)
configure_file(${CMAKE_SOURCE_DIR}/cmake/kvexa.pc.in kvexa.pc @ONLY)

foreach(file IN LISTS bindings)
  file(RELATIVE_PATH place ${bindingsFolder} ${file})
  get_filename_component(place bindings/${place} DIRECTORY)
  install(FILES ${file} DESTINATION ${place})
endforeach()
install(FILES ${CMAKE_SOURCE_DIR}/cmake/kvexaConfig.cmake ${CMAKE_CURRENT_BINARY_DIR}/kvexaConfigVersion.cmake
        DESTINATION lib/cmake/kvexa)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/kvexa.pc DESTINATION lib/pkgconfig)

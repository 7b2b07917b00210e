# Tests of all converters through the interface, for the DLL and for the native build alike; each
# instruction set is forced in turn, in a process of its own.
set(conversionTests
  ${CMAKE_CURRENT_LIST_DIR}/AdversarialConversionTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/ConversionCase.cpp
  ${CMAKE_CURRENT_LIST_DIR}/ConversionEnvironmentTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/ConversionEqualityTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/ConversionExamplesTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/ConversionMain.cpp
  ${CMAKE_CURRENT_LIST_DIR}/ConversionRefusalTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Converters.cpp
  ${CMAKE_CURRENT_LIST_DIR}/CounterexamplesTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/ExpectedPixels.cpp
  ${CMAKE_CURRENT_LIST_DIR}/YuyvTriplesTest.cpp
)

# Ten million cases are chosen and worked out here, many times as long as it takes to convert them when the
# sanitizers watch these as well.
set_source_files_properties(
  ${CMAKE_CURRENT_LIST_DIR}/AdversarialConversionTest.cpp ${CMAKE_CURRENT_LIST_DIR}/ExpectedPixels.cpp
  PROPERTIES COMPILE_OPTIONS "-O3;-fno-sanitize=all")

include(instructionSets)

function(addConversionTests program)
  kvexaReadInstructionSets()
  add_executable(${program} ${conversionTests} ${ARGN})
  target_include_directories(${program} PRIVATE ${CMAKE_SOURCE_DIR})
  target_compile_definitions(${program} PRIVATE KVEXA_TEST_PROGRAM="${program}")
  foreach(set scalar ${KVEXA_INSTRUCTION_SETS})
    add_test(NAME ${program}_${set} COMMAND ${program})
    # One at a time: they would give their result files the same name. The code reports that the machine
    # does not have the set.
    set_tests_properties(${program}_${set} PROPERTIES
      ENVIRONMENT "KVEXA_INSTRUCTION_SET=${set}" RESOURCE_LOCK ${program} SKIP_RETURN_CODE 77)
  endforeach()
endfunction()

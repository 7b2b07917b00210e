# Checks of style: the target "lint" runs clang-format over everything and clang-tidy over what ships.
# A file is looked at again only when it, or a header of the project, has changed.

find_program(CLANG_FORMAT NAMES clang-format-14 clang-format)
find_program(CLANG_TIDY NAMES clang-tidy-14 clang-tidy)
if(NOT WIN32 OR NOT CLANG_FORMAT OR NOT CLANG_TIDY)
  return()
endif()

set(folders src sim cli tests bench fuzz examples)
list(TRANSFORM folders PREPEND ${CMAKE_SOURCE_DIR}/ OUTPUT_VARIABLE roots)
list(TRANSFORM roots APPEND /*.h OUTPUT_VARIABLE headerGlobs)
list(TRANSFORM roots APPEND /*.hpp OUTPUT_VARIABLE publicHeaderGlobs)
list(TRANSFORM roots APPEND /*.c OUTPUT_VARIABLE cGlobs)
list(TRANSFORM roots APPEND /*.cpp OUTPUT_VARIABLE sourceGlobs)
file(GLOB_RECURSE headers CONFIGURE_DEPENDS ${headerGlobs} ${publicHeaderGlobs} ${cGlobs})
file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${sourceGlobs})

# clang-tidy does not know where the cross compiler keeps its headers.
list(TRANSFORM CMAKE_CXX_IMPLICIT_INCLUDE_DIRECTORIES PREPEND --extra-arg=-isystem OUTPUT_VARIABLE tidyArguments)
list(FILTER tidyArguments EXCLUDE REGEX "/include(-fixed)?$")
list(APPEND tidyArguments --extra-arg=-Wno-unknown-warning-option)
# Clang 14 has coroutines, but does not say so to the libraries of another compiler.
foreach(definition __cpp_impl_coroutine=201902L BOOST_ASIO_HAS_CO_AWAIT=1 BOOST_ASIO_HAS_STD_COROUTINE=1)
  list(APPEND tidyArguments --extra-arg=-D${definition})
endforeach()
# The analyzer follows every path; in the folded loops of the converters it never came to an end.
foreach(argument -Xclang -analyzer-config -Xclang mode=shallow)
  list(APPEND tidyArguments --extra-arg=${argument})
endforeach()

set(stampFolder ${CMAKE_BINARY_DIR}/lint)
set(stamps)
foreach(file IN LISTS headers sources)
  file(RELATIVE_PATH name ${CMAKE_SOURCE_DIR} ${file})
  set(stamp ${stampFolder}/${name}.format)
  get_filename_component(folder ${stamp} DIRECTORY)
  file(MAKE_DIRECTORY ${folder})
  add_custom_command(
    OUTPUT ${stamp}
    COMMAND ${CLANG_FORMAT} --dry-run --Werror ${file}
    COMMAND ${CMAKE_COMMAND} -E touch ${stamp}
    DEPENDS ${file} ${CMAKE_SOURCE_DIR}/.clang-format
    COMMENT "clang-format ${name}"
    VERBATIM)
  list(APPEND stamps ${stamp})
endforeach()

list(FILTER sources INCLUDE REGEX "^${CMAKE_SOURCE_DIR}/(src|sim|cli)/")
list(FILTER sources EXCLUDE REGEX "/StbImage.cpp$") # not this project's code
list(FILTER headers INCLUDE REGEX "^${CMAKE_SOURCE_DIR}/(src|sim|cli)/")
foreach(file IN LISTS sources)
  file(RELATIVE_PATH name ${CMAKE_SOURCE_DIR} ${file})
  set(stamp ${stampFolder}/${name}.tidy)
  add_custom_command(
    OUTPUT ${stamp}
    COMMAND ${CLANG_TIDY} -p ${CMAKE_BINARY_DIR} --quiet ${tidyArguments} ${file}
    COMMAND ${CMAKE_COMMAND} -E touch ${stamp}
    DEPENDS ${file} ${headers} ${CMAKE_SOURCE_DIR}/.clang-tidy
    COMMENT "clang-tidy ${name}"
    VERBATIM)
  list(APPEND stamps ${stamp})
endforeach()

add_custom_target(lint DEPENDS ${stamps})

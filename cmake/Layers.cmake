# SPDX-License-Identifier: MIT

# A layer is one folder and one library target. Its headers are reached from the
# repository root ("cbus/cbus.h"), but only through the folder's own include
# directory, which a target gets by linking the layer: an include of a layer that
# is not linked does not build.

set(ORVALE_WARNINGS -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion
    -Wnon-virtual-dtor -Woverloaded-virtual -Wformat=2 -Wno-format-nonliteral -Werror)

# Makes build/layers/<folder>/<folder> a link to the folder and puts the outer one into OUT.
function(orvale_layer_include_dir FOLDER OUT)
  set(tree ${CMAKE_BINARY_DIR}/layers/${FOLDER}/tree)
  get_filename_component(parent ${tree}/${FOLDER} DIRECTORY)
  file(MAKE_DIRECTORY ${parent})
  if(NOT EXISTS ${tree}/${FOLDER})
    file(CREATE_LINK ${CMAKE_SOURCE_DIR}/${FOLDER} ${tree}/${FOLDER} SYMBOLIC)
  endif()
  set(${OUT} ${tree} PARENT_SCOPE)
endfunction()

# gcc warns of what is nameless in an included file, because it could be meant for all who include it.
function(orvale_allow_nameless_in_included TARGET)
  target_compile_options(${TARGET} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-Wno-subobject-linkage>)
endfunction()

# The files of a layer compiled as one: what all of them include is read once, in a fifth of the time for all. For builds
# beside another one, because a file could live on what another one includes. kModule, which every file has for itself,
# gets a name of its own in each.
option(ORVALE_UNITY "Compile the files of a layer as one" OFF)
file(CONFIGURE OUTPUT ${CMAKE_BINARY_DIR}/unity_names.h CONTENT
"#pragma once
#define ORVALE_JOIN_NAMES(a, b) a##b
#define ORVALE_NAME_IN(a, b) ORVALE_JOIN_NAMES(a, b)
#define kModule ORVALE_NAME_IN(kModule_, ORVALE_FILE)
" @ONLY)
function(orvale_compile_together TARGET)
  if(ORVALE_UNITY)
    set_target_properties(${TARGET} PROPERTIES
      UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 0 UNITY_BUILD_UNIQUE_ID ORVALE_FILE
      UNITY_BUILD_CODE_BEFORE_INCLUDE "#include \"${CMAKE_BINARY_DIR}/unity_names.h\"")
    orvale_allow_nameless_in_included(${TARGET})
  endif()
endfunction()

# orvale_layer(<target> SOURCES a.cpp b.cpp LINKS lower_layer PkgConfig::X)
# The target's include name is its folder below the repository root.
function(orvale_layer TARGET)
  cmake_parse_arguments(ARG "" "" "SOURCES;LINKS" ${ARGN})
  file(RELATIVE_PATH folder ${CMAKE_SOURCE_DIR} ${CMAKE_CURRENT_SOURCE_DIR})
  orvale_layer_include_dir(${folder} include_dir)
  add_library(${TARGET} STATIC ${ARG_SOURCES})
  target_include_directories(${TARGET} PUBLIC $<BUILD_INTERFACE:${include_dir}>)
  target_compile_options(${TARGET} PRIVATE ${ORVALE_WARNINGS})
  target_link_libraries(${TARGET} PUBLIC ${ARG_LINKS})
  orvale_compile_together(${TARGET})
endfunction()

# orvale_program(<name> SOURCES main.cpp LINKS layer): an executable in build/bin.
function(orvale_program NAME)
  cmake_parse_arguments(ARG "" "" "SOURCES;LINKS" ${ARGN})
  add_executable(${NAME} ${ARG_SOURCES})
  target_compile_options(${NAME} PRIVATE ${ORVALE_WARNINGS})
  target_link_libraries(${NAME} PRIVATE ${ARG_LINKS})
  orvale_compile_together(${NAME})
endfunction()

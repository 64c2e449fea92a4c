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

# What most files read of the standard library, read once for all of them: a quarter of the time to compile them. Without
# it a file has to include what it uses, so that it is for builds beside another one.
option(ORVALE_PRECOMPILE "Precompile the headers of the standard library" OFF)
if(ORVALE_PRECOMPILE)
  file(CONFIGURE OUTPUT ${CMAKE_BINARY_DIR}/standard_headers.cpp CONTENT "// A library has a source file.\n")
  add_library(standard_headers STATIC ${CMAKE_BINARY_DIR}/standard_headers.cpp)
  target_compile_options(standard_headers PRIVATE ${ORVALE_WARNINGS})
  target_precompile_headers(standard_headers PRIVATE <algorithm> <chrono> <functional> <list> <map> <memory> <optional>
    <set> <span> <string> <string_view> <utility> <variant> <vector>)
endif()

function(orvale_precompile TARGET)
  if(ORVALE_PRECOMPILE)
    target_precompile_headers(${TARGET} REUSE_FROM standard_headers)
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
  orvale_precompile(${TARGET})
endfunction()

# orvale_program(<name> SOURCES main.cpp LINKS layer): an executable in build/bin.
function(orvale_program NAME)
  cmake_parse_arguments(ARG "" "" "SOURCES;LINKS" ${ARGN})
  add_executable(${NAME} ${ARG_SOURCES})
  target_compile_options(${NAME} PRIVATE ${ORVALE_WARNINGS})
  target_link_libraries(${NAME} PRIVATE ${ARG_LINKS})
  orvale_precompile(${NAME})
endfunction()

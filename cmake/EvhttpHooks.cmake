# SPDX-License-Identifier: MIT

# src/http/evhttp_hooks stands in front of three functions of libevent and needs the library's own calls to them to
# arrive there. A libevent built with -Bsymbolic or linked statically would call past it, so a small server is run
# here, once, to see.
if(NOT DEFINED EVHTTP_HOOKS_ANSWER)
  message(STATUS "Checking that libevent lets evhttp_hooks through")
  try_run(EVHTTP_HOOKS_ANSWER EVHTTP_HOOKS_COMPILED ${CMAKE_BINARY_DIR}/evhttp_hooks_check
          ${CMAKE_CURRENT_LIST_DIR}/evhttp_hooks_check.c
          LINK_LIBRARIES PkgConfig::EVENT ${CMAKE_DL_LIBS}
          COMPILE_OUTPUT_VARIABLE evhttp_hooks_output RUN_OUTPUT_VARIABLE evhttp_hooks_output)
endif()
if(NOT EVHTTP_HOOKS_COMPILED OR NOT EVHTTP_HOOKS_ANSWER EQUAL 0)
  unset(EVHTTP_HOOKS_ANSWER CACHE)
  message(FATAL_ERROR "This libevent keeps its calls of evhttp_request_new, evhttp_request_free and "
                      "evhttp_add_header to itself; the HTTP server needs a shared library without "
                      "-Bsymbolic.\n${evhttp_hooks_output}")
endif()

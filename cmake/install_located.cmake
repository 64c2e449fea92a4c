# SPDX-License-Identifier: MIT

# Run while installing, see orvale_install_located(): writes the places of this installation into a file and installs it.

# An absolute place is itself, any other lies below the prefix.
function(located PLACE OUT)
  cmake_path(ABSOLUTE_PATH PLACE BASE_DIRECTORY "${CMAKE_INSTALL_PREFIX}" NORMALIZE)
  set(${OUT} "${PLACE}" PARENT_SCOPE)
endfunction()

foreach(place configdir sbindir libdir includedir destination)
  located("${located_${place}}" located_${place})
endforeach()

file(READ "${located_template}" located_text)
string(REPLACE "@prefix@" "${CMAKE_INSTALL_PREFIX}" located_text "${located_text}")
string(REPLACE "@libdir@" "${located_libdir}" located_text "${located_text}")
string(REPLACE "@includedir@" "${located_includedir}" located_text "${located_text}")
string(REPLACE "@version@" "${located_version}" located_text "${located_text}")
# The units are files that work as they are on a Debian system.
string(REPLACE "/usr/sbin/" "${located_sbindir}/" located_text "${located_text}")
string(REPLACE "/etc/orvale" "${located_configdir}" located_text "${located_text}")
file(WRITE "${located_scratch}/${located_name}" "${located_text}")
# A file of the same second counts as the same file, whatever is in it.
file(REMOVE "$ENV{DESTDIR}${located_destination}/${located_name}")
file(INSTALL "${located_scratch}/${located_name}" DESTINATION "${located_destination}")

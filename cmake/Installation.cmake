# SPDX-License-Identifier: MIT

# What `cmake --install` puts where, in four components that are packages of their own: daemon, unit, tools and dev.
# Every place lies below the prefix, that of the install command too; CMAKE_INSTALL_SYSCONFDIR and ORVALE_UNITDIR may be
# absolute, as /etc is for a prefix of /usr.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(ORVALE_UNITDIR lib/systemd/system CACHE STRING "Where the units of systemd go")
set(ORVALE_CONFIGDIR ${CMAKE_INSTALL_SYSCONFDIR}/orvale)
set(packaging ${CMAKE_SOURCE_DIR}/packaging)

set(daemon_programs web_app)
set(unit_programs cbusd configd eventd diagd terminald)
set(tools_programs apictl cbusctl configctl)

install(TARGETS ${daemon_programs} RUNTIME DESTINATION ${CMAKE_INSTALL_SBINDIR} COMPONENT daemon)
install(TARGETS ${unit_programs} RUNTIME DESTINATION ${CMAKE_INSTALL_SBINDIR} COMPONENT unit)
install(TARGETS ${tools_programs} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)

install(FILES ${packaging}/config/accessmap.json ${packaging}/config/configuration.json
        DESTINATION ${ORVALE_CONFIGDIR} COMPONENT daemon)
install(FILES ${packaging}/config/factory.json DESTINATION ${ORVALE_CONFIGDIR} COMPONENT unit)

# bash-completion looks for a file with the name of the command.
foreach(tool ${tools_programs})
  install(FILES tools/completion/${tool}.bash DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
          RENAME ${tool} COMPONENT tools)
endforeach()

# orvale_install_located(<component> <destination> <name> <template>): the file with the places of this installation in
# it, which are known when it is installed and no sooner.
function(orvale_install_located COMPONENT DESTINATION NAME TEMPLATE)
  install(CODE "
    set(located_destination \"${DESTINATION}\")
    set(located_name \"${NAME}\")
    set(located_template \"${TEMPLATE}\")
    set(located_scratch \"${CMAKE_BINARY_DIR}/located\")
    set(located_configdir \"${ORVALE_CONFIGDIR}\")
    set(located_sbindir \"${CMAKE_INSTALL_SBINDIR}\")
    set(located_libdir \"${CMAKE_INSTALL_LIBDIR}\")
    set(located_includedir \"${CMAKE_INSTALL_INCLUDEDIR}\")
    set(located_version \"${PROJECT_VERSION}\")
    include(\"${CMAKE_SOURCE_DIR}/cmake/install_located.cmake\")"
    COMPONENT ${COMPONENT})
endfunction()

# The units are named after their programs: orvale.service is the daemon's, orvale-NAME.service NAME's.
set(systemd ${packaging}/systemd)
file(GLOB unit_files CONFIGURE_DEPENDS ${systemd}/*.service ${systemd}/*.target)
foreach(file ${unit_files})
  get_filename_component(name ${file} NAME)
  set(component unit)
  if(name MATCHES "^orvale\\.")
    set(component daemon)
  endif()
  orvale_install_located(${component} ${ORVALE_UNITDIR} ${name} ${file})
endforeach()

# The user and the directories are those of all programs; the daemon does not run without the others.
foreach(kind sysusers tmpfiles)
  install(FILES ${systemd}/orvale.${kind} DESTINATION lib/${kind}.d RENAME orvale.conf COMPONENT unit)
endforeach()

# A manual page goes with the program or the file of its name; the others are about the daemon and its files.
set(unit_pages ${unit_programs} orvale-factory.json)
set(tools_pages ${tools_programs})
file(GLOB pages CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/man/*.[1-8])
foreach(page ${pages})
  get_filename_component(name ${page} NAME_WLE)
  get_filename_component(section ${page} LAST_EXT)
  string(REPLACE "." "man" section ${section})
  set(component daemon)
  foreach(candidate unit tools)
    if(name IN_LIST ${candidate}_pages)
      set(component ${candidate})
    endif()
  endforeach()
  install(FILES ${page} DESTINATION ${CMAKE_INSTALL_MANDIR}/${section} COMPONENT ${component})
endforeach()

# The libraries by which other programs of the device speak to the bus and the database. Includes are written as here,
# from the root: "cbus/cbus.h".
set(public_layers runtime cbus config_client events)
set(public_includedir ${CMAKE_INSTALL_INCLUDEDIR}/orvale)
foreach(layer ${public_layers})
  set_target_properties(${layer} PROPERTIES OUTPUT_NAME orvale_${layer})
  target_compile_features(${layer} PUBLIC cxx_std_20)
  target_include_directories(${layer} INTERFACE $<INSTALL_INTERFACE:${public_includedir}>)
  install(TARGETS ${layer} EXPORT orvaleTargets ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT dev)
  install(DIRECTORY ${layer}/ DESTINATION ${public_includedir}/${layer} COMPONENT dev FILES_MATCHING PATTERN "*.h")
endforeach()

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/orvale)
install(EXPORT orvaleTargets NAMESPACE orvale:: DESTINATION ${package_dir} COMPONENT dev)
configure_package_config_file(${packaging}/orvaleConfig.cmake.in ${CMAKE_BINARY_DIR}/orvaleConfig.cmake
                              INSTALL_DESTINATION ${package_dir} NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/orvaleConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/orvaleConfig.cmake ${CMAKE_BINARY_DIR}/orvaleConfigVersion.cmake
        DESTINATION ${package_dir} COMPONENT dev)

foreach(layer ${public_layers})
  string(REPLACE "_" "-" name orvale-${layer})
  orvale_install_located(dev ${CMAKE_INSTALL_LIBDIR}/pkgconfig ${name}.pc ${packaging}/pkgconfig/${name}.pc)
endforeach()

# Installs the library, the headers that a host needs, a CMake package and the programs. An
# installed header names the others by "quillfold/…", so that a host's own
# "core/…" never comes between.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)
include(PublicHeaders)

set(include_root ${CMAKE_CURRENT_BINARY_DIR}/installed-include)
quillfold_public_headers(public_headers ${CMAKE_CURRENT_SOURCE_DIR})
if(NOT TARGET quillfold_desktop)
  list(FILTER public_headers EXCLUDE REGEX "/desktop(_contacts)?\\.h$")
endif()
foreach(header IN LISTS public_headers)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${header})
  file(READ ${header} text)
  string(REGEX REPLACE "#include \"quillfold/" "#include \"" text "${text}")
  string(REGEX REPLACE "#include \"([a-z_0-9/]+\\.h)\"" "#include \"quillfold/\\1\"" text "${text}")
  string(REGEX REPLACE "^(include|src)/" "" path ${header})
  if(NOT path MATCHES "^quillfold/")
    set(path quillfold/${path})
  endif()
  file(CONFIGURE OUTPUT ${include_root}/${path} CONTENT "${text}" @ONLY)
endforeach()
install(DIRECTORY ${include_root}/quillfold DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
# Those over a library of the host's own are not among quillfold.h's.
install(DIRECTORY include/quillfold/loops DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/quillfold)

target_include_directories(quillfold INTERFACE $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/Quillfold)
install(TARGETS quillfold quillfold_testing EXPORT QuillfoldTargets)
foreach(program IN ITEMS quillfold-host quillfold-backend)
  if(TARGET ${program})
    install(TARGETS ${program})
  endif()
endforeach()
if(TARGET quillfold_desktop)
  install(TARGETS quillfold_desktop EXPORT QuillfoldDesktopTargets)
  install(EXPORT QuillfoldDesktopTargets NAMESPACE quillfold:: DESTINATION ${package_dir})
endif()
install(EXPORT QuillfoldTargets NAMESPACE quillfold:: DESTINATION ${package_dir})
configure_package_config_file(
  cmake/QuillfoldConfig.cmake.in ${CMAKE_CURRENT_BINARY_DIR}/QuillfoldConfig.cmake
  INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(
  ${CMAKE_CURRENT_BINARY_DIR}/QuillfoldConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES
  ${CMAKE_CURRENT_BINARY_DIR}/QuillfoldConfig.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/QuillfoldConfigVersion.cmake
  DESTINATION ${package_dir})

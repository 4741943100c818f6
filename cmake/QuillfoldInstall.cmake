# Installs the libraries, the headers that a host needs, a CMake package, files for pkg-config, and
# the programs. An installed header names the others by "quillfold/…", so that a host's own
# "core/…" never comes between.
#
# It comes in packages (QuillfoldPackage.cmake): "library" is what a program runs with,
# "development" what it is built with, "programs" the host and the development backend, and the
# desktop's address books have two of their own.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)
include(PublicHeaders)

set(include_root ${CMAKE_CURRENT_BINARY_DIR}/installed-include)
file(REMOVE_RECURSE ${include_root})
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
install(DIRECTORY ${include_root}/quillfold DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
  COMPONENT development)
# Those over a library of the host's own are not among quillfold.h's.
install(DIRECTORY include/quillfold/loops DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/quillfold
  COMPONENT development)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/Quillfold)
# quillfold_install(TARGET SET LIBRARY DEVELOPMENT): the target in an export set, and in packages.
function(quillfold_install target set library development)
  get_target_property(type ${target} TYPE)
  if(NOT type STREQUAL "INTERFACE_LIBRARY")
    target_include_directories(${target} INTERFACE
      $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
  endif()
  install(TARGETS ${target} EXPORT Quillfold${set}Targets
    LIBRARY COMPONENT ${library} NAMELINK_COMPONENT ${development}
    ARCHIVE COMPONENT ${development})
endfunction()
# quillfold_install_exported(SET DEVELOPMENT): the set, for CMake.
function(quillfold_install_exported set development)
  install(EXPORT Quillfold${set}Targets NAMESPACE quillfold:: DESTINATION ${package_dir}
    COMPONENT ${development})
endfunction()

foreach(kind IN ITEMS Static Shared)
  string(REPLACE "Static" "" suffix "${kind}")
  string(REPLACE "Shared" "_shared" suffix "${suffix}")
  if(NOT TARGET quillfold_core${suffix})
    continue()
  endif()
  foreach(target IN ITEMS quillfold_core quillfold_vcard quillfold_curl quillfold_linux
      quillfold_testing quillfold)
    if(TARGET ${target}${suffix})
      quillfold_install(${target}${suffix} ${kind} library development)
    endif()
  endforeach()
  quillfold_install_exported(${kind} development)
  # Nothing of it, and of what it stands on, is looked at unless it is asked for.
  if(TARGET quillfold_desktop${suffix})
    quillfold_install(quillfold_desktop${suffix} Desktop${kind} desktop desktop-development)
    quillfold_install_exported(Desktop${kind} desktop-development)
  endif()
endforeach()
configure_package_config_file(
  cmake/QuillfoldConfig.cmake.in ${CMAKE_CURRENT_BINARY_DIR}/QuillfoldConfig.cmake
  INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(
  ${CMAKE_CURRENT_BINARY_DIR}/QuillfoldConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES
  ${CMAKE_CURRENT_BINARY_DIR}/QuillfoldConfig.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/QuillfoldConfigVersion.cmake
  DESTINATION ${package_dir} COMPONENT development)

# quillfold_pkgconfig(NAME DESCRIPTION LIBS REQUIRES REQUIRES_PRIVATE [COMPONENT]): a file for
# pkg-config.
set(pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH pkgconfig_prefix /${pkgconfig_dir} /)
string(REGEX REPLACE "/$" "" pkgconfig_prefix ${pkgconfig_prefix})
function(quillfold_pkgconfig name description libs requires requires_private)
  set(file ${CMAKE_CURRENT_BINARY_DIR}/pkgconfig/${name}.pc)
  configure_file(cmake/quillfold.pc.in ${file} @ONLY)
  set(components development ${ARGN})
  list(POP_BACK components component)
  install(FILES ${file} DESTINATION ${pkgconfig_dir} COMPONENT ${component})
endfunction()
quillfold_pkgconfig(quillfold-core "Contacts: reading, uploading, searching"
  "-lquillfold-core" "" "fmt icu-uc icu-i18n libcrypto ${hwy_pkgconfig}")
if(QUILLFOLD_LINUX)
  quillfold_pkgconfig(quillfold-vcard "An address book of vCard files for Quillfold"
    "-lquillfold-vcard" quillfold-core fmt)
  quillfold_pkgconfig(quillfold-curl "HTTP by libcurl for Quillfold"
    "-lquillfold-curl" quillfold-core "fmt libcurl >= 7.83")
  quillfold_pkgconfig(quillfold "A contacts library"
    "-Wl,-u,_ZN9quillfold15defaultPlatformEv -lquillfold-linux"
    "quillfold-vcard quillfold-curl quillfold-core" "")
endif()
quillfold_pkgconfig(quillfold-testing "A platform for tests of programs with Quillfold"
  "-lquillfold-testing" quillfold-core fmt)
if(TARGET quillfold_desktop)
  quillfold_pkgconfig(quillfold-desktop "The desktop's address books for Quillfold"
    "-lquillfold-desktop" quillfold-vcard "fmt libebook-1.2" desktop-development)
endif()

foreach(program IN ITEMS quillfold-host quillfold-backend)
  if(TARGET ${program})
    install(TARGETS ${program} RUNTIME COMPONENT programs)
  endif()
endforeach()
get_property(shared_files GLOBAL PROPERTY QUILLFOLD_SHARED_FILES)
foreach(file IN LISTS shared_files)
  get_filename_component(folder ${file} DIRECTORY)
  install(FILES ${PROJECT_BINARY_DIR}/share/${file} DESTINATION ${CMAKE_INSTALL_DATADIR}/${folder}
    COMPONENT programs)
endforeach()
if(PROJECT_IS_TOP_LEVEL)
  include(QuillfoldPackage)
endif()

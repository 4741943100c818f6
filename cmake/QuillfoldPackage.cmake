# Debian packages of what is installed: the libraries, what programs are built with, the programs,
# and the desktop's address books where they are built.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME quillfold)
set(CPACK_PACKAGE_CONTACT "Quillfold developers <developers@quillfold.example>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/src)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/cmake/debian/triggers)
set(CPACK_DEBIAN_DESKTOP_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/cmake/debian/triggers)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/debian/compress_manual.cmake)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "contacts library for applications")

set(changelog ${PROJECT_BINARY_DIR}/changelog.gz)
file(ARCHIVE_CREATE OUTPUT ${changelog} PATHS ${PROJECT_SOURCE_DIR}/CHANGELOG.md
  FORMAT raw COMPRESSION GZip COMPRESSION_LEVEL 9)

set(so_version ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
# quillfold_package(COMPONENT NAME SECTION DEPENDS DESCRIPTION)
function(quillfold_package component name section depends description)
  string(TOUPPER ${component} key)
  set(CPACK_DEBIAN_${key}_PACKAGE_NAME ${name} PARENT_SCOPE)
  set(CPACK_DEBIAN_${key}_PACKAGE_SECTION ${section} PARENT_SCOPE)
  set(CPACK_DEBIAN_${key}_PACKAGE_DEPENDS "${depends}" PARENT_SCOPE)
  set(CPACK_COMPONENT_${key}_DESCRIPTION "${description}" PARENT_SCOPE)
  install(FILES ${PROJECT_SOURCE_DIR}/cmake/debian/copyright ${changelog}
    DESTINATION share/doc/${name} COMPONENT ${component})
  set(CPACK_COMPONENTS_ALL ${CPACK_COMPONENTS_ALL} ${component} PARENT_SCOPE)
endfunction()

set(CPACK_COMPONENTS_ALL)
set(hwy_package)
if(hwy_FOUND)
  set(hwy_package "libhwy-dev, ")
endif()
quillfold_package(library libquillfold${so_version} libs ""
  "Quillfold reads a device's address book, uploads what has changed to a
backend, and searches contacts on the device. These are its shared libraries.")
quillfold_package(development libquillfold-dev libdevel
  "libquillfold${so_version} (= ${PROJECT_VERSION}), libcurl4-openssl-dev (>= 7.83) | libcurl4-gnutls-dev (>= 7.83), libfmt-dev, ${hwy_package}libicu-dev, libssl-dev"
  "Headers, static libraries, a CMake package and files for pkg-config: what
programs with Quillfold are built with.")
quillfold_package(programs quillfold utils ""
  "A command line host that reads, searches and uploads an address book, and a
backend to develop with.")
install(FILES README.md SECURITY.md CONTRIBUTING.md CHANGELOG.md
  DESTINATION share/doc/libquillfold-dev COMPONENT development)
install(DIRECTORY docs examples DESTINATION share/doc/libquillfold-dev COMPONENT development
  FILES_MATCHING PATTERN "*.md" PATTERN "*.cpp" PATTERN "*.h" PATTERN "contacts" EXCLUDE
  PATTERN "privacy_page" EXCLUDE)
if(TARGET quillfold_desktop)
  quillfold_package(desktop libquillfold-desktop${so_version} libs
    "libquillfold${so_version} (= ${PROJECT_VERSION})"
    "Reads the address books of Evolution Data Server for Quillfold.")
  quillfold_package(desktop-development libquillfold-desktop-dev libdevel
    "libquillfold-desktop${so_version} (= ${PROJECT_VERSION}), libquillfold-dev (= ${PROJECT_VERSION}), libebook1.2-dev"
    "A static library, a part of the CMake package and a file for pkg-config: what
programs with the desktop's address books are built with.")
endif()
include(CPack)

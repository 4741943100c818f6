# cpp-httplib as Debian packages it: a library, built with these features. They change how
# its classes lie in memory, so whoever includes its header has to name them, too.
find_path(Httplib_INCLUDE_DIR httplib.h)
find_library(Httplib_LIBRARY cpp-httplib)
include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(Httplib REQUIRED_VARS Httplib_LIBRARY Httplib_INCLUDE_DIR)
if(Httplib_FOUND AND NOT TARGET Httplib::Httplib)
  add_library(Httplib::Httplib UNKNOWN IMPORTED)
  set_target_properties(Httplib::Httplib PROPERTIES
    IMPORTED_LOCATION ${Httplib_LIBRARY}
    INTERFACE_INCLUDE_DIRECTORIES ${Httplib_INCLUDE_DIR}
    INTERFACE_COMPILE_DEFINITIONS
      "CPPHTTPLIB_OPENSSL_SUPPORT;CPPHTTPLIB_ZLIB_SUPPORT;CPPHTTPLIB_BROTLI_SUPPORT")
endif()

# Run with -DSOURCE=...: refuses an include that goes against the layers below.
cmake_minimum_required(VERSION 3.25)

# Each folder of src, and the folders that it may include besides itself. A folder stands
# below those that come after it and may name only folders above its line: so no arrow goes
# up and none in a circle.
set(layers
  "foundation:"
  "foundation/archive: foundation"
  "platform: foundation"
  "core: foundation platform"
  "model: foundation platform"
  "events: foundation platform"
  "contacts: foundation platform core model events"
  "api/records: foundation foundation/archive"
  "api: foundation platform core model contacts"
  "sync: foundation foundation/archive platform core model contacts api"
  "facade: foundation platform core events contacts api sync"
  "search: foundation platform model contacts sync facade"
  "social: foundation platform model api facade"
  "recommendations: foundation platform model contacts api facade social"
  "deferred: foundation platform contacts api sync facade"
  "account: foundation platform core model events api sync facade search social recommendations"
  "adapters/icu: foundation"
  "adapters/openssl: foundation"
  "adapters/asio: foundation platform"
  "adapters/curl: foundation platform"
  "adapters/vcard: foundation platform adapters/icu"
  "adapters/vcard/book: foundation platform adapters/vcard"
  "adapters/linux: foundation foundation/archive platform adapters/icu adapters/asio"
  "adapters/linux/book: foundation platform adapters/vcard/book adapters/linux"
  "adapters/linux/device: foundation platform adapters/asio adapters/curl adapters/linux adapters/linux/book"
  "adapters/desktop: foundation platform adapters/vcard/book adapters/linux/book"
  "testing: foundation platform adapters/asio")

# The headers of libraries and systems, and the only folders that may include them.
set(system_headers
  "fmt/.*: foundation"
  "nlohmann/.*: foundation"
  "hwy/.*: search"
  "unicode/.*|locale\\.h: adapters/icu"
  "openssl/.*: adapters/openssl"
  "asio/.*: adapters/asio"
  "curl/.*|strings\\.h: adapters/curl"
  "glib\\.h|gio/.*|libebook/.*: adapters/desktop"
  "sys/.*|net/.*|linux/.*|dirent\\.h|fcntl\\.h|ifaddrs\\.h|limits\\.h|poll\\.h|pthread\\.h|pwd\\.h|signal\\.h|time\\.h|unistd\\.h: adapters/linux")

# Includes that are let pass all the same, as "FILE INCLUDE".
set(exceptions)

set(faults)
set(known)
foreach(layer IN LISTS layers)
  string(REGEX MATCH "^([^:]+):(.*)$" _ "${layer}")
  set(folder ${CMAKE_MATCH_1})
  separate_arguments(allowed_${folder} UNIX_COMMAND "${CMAKE_MATCH_2}")
  foreach(lower IN LISTS allowed_${folder})
    if(NOT lower IN_LIST known)
      list(APPEND faults "${folder} may not stand above ${lower}")
    endif()
  endforeach()
  list(APPEND known ${folder})
endforeach()

function(check_own_header folder header out)
  get_filename_component(target ${header} DIRECTORY)
  if(NOT target STREQUAL folder AND NOT target IN_LIST allowed_${folder})
    set(${out} "${folder} may not include ${target}" PARENT_SCOPE)
  endif()
endfunction()

function(check_system_header folder header out)
  if(header MATCHES "^[a-z0-9_]+$")
    return()  # The standard library's.
  endif()
  foreach(entry IN LISTS system_headers)
    string(REGEX MATCH "^(.*): (.*)$" _ "${entry}")
    set(owner ${CMAKE_MATCH_2})
    if(header MATCHES "^(${CMAKE_MATCH_1})$" AND folder MATCHES "^${owner}(/|$)")
      return()
    endif()
  endforeach()
  set(${out} "${folder} may not include a header of that library or system" PARENT_SCOPE)
endfunction()

file(GLOB_RECURSE files RELATIVE ${SOURCE}/src ${SOURCE}/src/*.h ${SOURCE}/src/*.cpp)
foreach(file IN LISTS files)
  get_filename_component(folder ${file} DIRECTORY)
  if(NOT folder IN_LIST known)
    list(APPEND faults "${file} stands in a folder without a layer")
  endif()
  file(STRINGS ${SOURCE}/src/${file} includes REGEX "^ *#include ")
  foreach(include IN LISTS includes)
    string(REGEX MATCH "[\"<](.+)[\">]" _ "${include}")
    set(header ${CMAKE_MATCH_1})
    set(fault)
    if(include MATCHES "\"")
      check_own_header(${folder} ${header} fault)
    else()
      check_system_header(${folder} ${header} fault)
    endif()
    if(fault AND NOT "${file} ${header}" IN_LIST exceptions)
      list(APPEND faults "${file} includes ${header}: ${fault}")
    endif()
  endforeach()
endforeach()

# The command line host is to show that the public headers suffice.
file(GLOB files ${SOURCE}/apps/quillfold/*)
foreach(file IN LISTS files)
  file(STRINGS ${file} includes REGEX "^#include \"")
  foreach(include IN LISTS includes)
    if(NOT include MATCHES "\"(quillfold|apps/quillfold|apps/support)/[a-z_]+\\.h\"")
      list(APPEND faults "${file}: ${include}: only public headers")
    endif()
  endforeach()
endforeach()

if(faults)
  list(JOIN faults "\n  " text)
  message(FATAL_ERROR "The layers do not hold:\n  ${text}")
endif()
list(LENGTH known count)
message(STATUS "The layers of ${count} folders hold")

# Run with -DSOURCE=...: refuses a public header that includes what it may not.
cmake_minimum_required(VERSION 3.25)
include(${CMAKE_CURRENT_LIST_DIR}/PublicHeaders.cmake)
quillfold_public_headers(headers ${SOURCE})
list(LENGTH headers count)
message(STATUS "${count} public headers include the standard library and each other only")

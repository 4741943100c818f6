# Run with -DSOURCE=... -DOUT=...: the API reference of the public headers, with the pages of
# docs/ in it, as OUT/html. Stops at a warning.
cmake_minimum_required(VERSION 3.25)
include(${CMAKE_CURRENT_LIST_DIR}/PublicHeaders.cmake)
quillfold_public_headers(headers ${SOURCE})
file(GLOB pages RELATIVE ${SOURCE}
  ${SOURCE}/*.md ${SOURCE}/docs/*.md ${SOURCE}/examples/*.md ${SOURCE}/include/quillfold/loops/*.h)
list(APPEND pages ${headers})
list(TRANSFORM pages PREPEND ${SOURCE}/)
list(JOIN pages " " INPUT)
configure_file(${SOURCE}/docs/Doxyfile.in ${OUT}/Doxyfile @ONLY)
execute_process(COMMAND doxygen ${OUT}/Doxyfile COMMAND_ERROR_IS_FATAL ANY)

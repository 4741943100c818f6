# Compresses the manual pages of a package before it is closed.
file(GLOB_RECURSE pages ${CPACK_TEMPORARY_DIRECTORY}/*.1)
list(FILTER pages INCLUDE REGEX "/man/man1/")
if(pages)
  execute_process(COMMAND gzip -9n ${pages} COMMAND_ERROR_IS_FATAL ANY)
endif()

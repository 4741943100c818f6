# Language level, warnings and sanitizers of every target of this project.
function(quillfold_compile_options target)
  target_compile_features(${target} PUBLIC cxx_std_20)
  set_target_properties(${target} PROPERTIES CXX_EXTENSIONS OFF POSITION_INDEPENDENT_CODE ON)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wconversion -Wshadow)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # GCC 12 sees overflows in its own std::string where there are none, and a header in each
    # source that is compiled with others.
    target_compile_options(${target} PRIVATE
      -Wno-stringop-overflow -Wno-restrict -Wno-subobject-linkage)
  endif()
  if(PROJECT_IS_TOP_LEVEL)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
  if(QUILLFOLD_SANITIZE)
    target_compile_options(${target} PUBLIC
      -fsanitize=${QUILLFOLD_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
      # Clang 14 can't emit what the check of function types wants of a coroutine.
      target_compile_options(${target} PUBLIC -fno-sanitize=function)
    endif()
    target_link_options(${target} PUBLIC -fsanitize=${QUILLFOLD_SANITIZE})
  endif()
endfunction()

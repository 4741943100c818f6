# quillfold_library(NAME [USES COMPONENT...] [LINKS TARGET...]): one component of
# the library.
#
# Its sources are those of the target quillfold_NAME_objects. Made of them are the static library
# quillfold_NAME and, with QUILLFOLD_SHARED, the shared one quillfold_NAME_shared. USES names the
# components that come with it, LINKS the libraries that only its sources use.
function(quillfold_library name)
  cmake_parse_arguments(arg "" "" "USES;LINKS" ${ARGN})
  set(objects quillfold_${name}_objects)
  add_library(${objects} OBJECT)
  quillfold_compile_options(${objects})
  quillfold_own_headers(${objects} PRIVATE)
  target_link_libraries(${objects} PRIVATE ${arg_LINKS})
  set_target_properties(${objects} PROPERTIES
    CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)

  quillfold_library_of_kind(STATIC "")
  if(QUILLFOLD_SHARED AND NOT QUILLFOLD_SANITIZE)
    quillfold_library_of_kind(SHARED _shared)
  endif()
endfunction()

macro(quillfold_library_of_kind kind suffix)
  set(target quillfold_${name}${suffix})
  add_library(${target} ${kind} $<TARGET_OBJECTS:${objects}>)
  quillfold_compile_options(${target})
  quillfold_own_headers(${target} PUBLIC)
  list(TRANSFORM arg_USES REPLACE "(.+)" "quillfold_\\1${suffix}" OUTPUT_VARIABLE uses)
  target_link_libraries(${target} PUBLIC ${uses} PRIVATE ${arg_LINKS})
  set_target_properties(${target} PROPERTIES
    LINKER_LANGUAGE CXX EXPORT_NAME ${name} OUTPUT_NAME quillfold-${name})
  if(${kind} STREQUAL "SHARED")
    # What a version 0 breaks it breaks with its second number.
    set_target_properties(${target} PROPERTIES VERSION ${PROJECT_VERSION}
      SOVERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
    set(script ${PROJECT_SOURCE_DIR}/cmake/exported.map)
    target_link_options(${target} PRIVATE LINKER:--version-script=${script} LINKER:-z,defs)
    set_target_properties(${target} PROPERTIES LINK_DEPENDS ${script})
  else()
    add_library(quillfold::${name} ALIAS ${target})
  endif()
endmacro()

function(quillfold_own_headers target scope)
  target_include_directories(${target} ${scope}
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/src>
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>
    $<BUILD_INTERFACE:${PROJECT_BINARY_DIR}/generated>)
endfunction()

# Every part of the helper is a library with an include root of its own: a folder in the build
# tree that links to the source folders the library exposes, and to nothing else. A file can only
# include what the libraries it links expose, so an include that reaches up a layer (core into the
# views, core or views into a backend) fails to compile instead of slipping through.
function(velko_include_root target visibility)
  set(root ${PROJECT_BINARY_DIR}/include-roots/${target})
  file(MAKE_DIRECTORY ${root})
  foreach(entry ${ARGN})
    if(NOT EXISTS ${root}/${entry})
      file(CREATE_LINK ${PROJECT_SOURCE_DIR}/src/${entry} ${root}/${entry} SYMBOLIC)
    endif()
  endforeach()
  target_include_directories(${target} ${visibility} ${root})
endfunction()

# velko_library(NAME folder [DEPS ...]): the folder's sources as a static library that exposes the folder.
function(velko_library name folder)
  cmake_parse_arguments(L "" "" "DEPS;SOURCES" ${ARGN})
  file(GLOB sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/src/${folder}/*.cpp)
  add_library(${name} STATIC ${sources} ${L_SOURCES})
  velko_include_root(${name} PUBLIC ${folder})
  target_link_libraries(${name} PUBLIC ${L_DEPS})
endfunction()

# module(<name> SOURCES <file>... [NEEDS <target>...])
# A static library lib<name>.a of the daemon, without exceptions and run-time type information.
function(module name)
  cmake_parse_arguments(ARG "" "" "SOURCES;NEEDS" ${ARGN})
  add_library(${name} STATIC ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE build_flags PUBLIC ${ARG_NEEDS})
  target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR})
  target_compile_options(${name} PRIVATE $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti>)
endfunction()

# How everything here is compiled and linked.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 11)
set(CMAKE_C_STANDARD_REQUIRED ON)
set(CMAKE_C_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/lib)
set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/lib)

include(CheckPIESupported)
check_pie_supported()
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

# RUNPATH leads to the libsecure.so and libzixiFeeder.so of the build tree; LD_LIBRARY_PATH takes precedence.
set(CMAKE_BUILD_RPATH_USE_ORIGIN ON)

add_library(build_flags INTERFACE)
target_include_directories(build_flags INTERFACE ${PROJECT_SOURCE_DIR})
target_compile_definitions(build_flags INTERFACE _GNU_SOURCE _FILE_OFFSET_BITS=64)
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
  # Otherwise stat() fails for files dated after 2038, and the clock ends there.
  target_compile_definitions(build_flags INTERFACE _TIME_BITS=64)
endif()
target_compile_options(build_flags INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow $<$<BOOL:${FTP_CLIENTD_WERROR}>:-Werror>
  -fstack-protector-strong)
target_link_options(build_flags INTERFACE
  -Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack -Wl,--as-needed -Wl,--enable-new-dtags)

if(FTP_CLIENTD_SANITIZE)
  # The vptr check needs a free descriptor, and calls every object wrong in the tests that take all of them.
  add_compile_options(-fsanitize=${FTP_CLIENTD_SANITIZE} -fno-sanitize=vptr -fno-sanitize-recover=all
    -fno-omit-frame-pointer -g)
  add_link_options(-fsanitize=${FTP_CLIENTD_SANITIZE})
else()
  target_compile_options(build_flags INTERFACE $<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2>)
endif()

if(FTP_CLIENTD_COVERAGE)
  add_compile_options(--coverage -fprofile-update=atomic)
  add_link_options(--coverage)
endif()

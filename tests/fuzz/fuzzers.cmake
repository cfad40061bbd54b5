# Every fuzzer's sources, for the project of the fuzzers and for the replay of their seeds.
set(fuzz ${CMAKE_CURRENT_LIST_DIR})
set(unit ${CMAKE_CURRENT_LIST_DIR}/../unit)
set(reading ${fuzz}/reading.cpp ${fuzz}/model_detect.cpp ${fuzz}/model_resolve.cpp ${fuzz}/model_table.cpp
  ${fuzz}/model_values.cpp)

# fuzz_program(<name> SOURCES <file>... [NEEDS <target>...] [WRAP <symbol>...])
function(fuzz_program name)
  cmake_parse_arguments(ARG "" "" "SOURCES;NEEDS;WRAP" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE build_flags ${ARG_NEEDS})
  foreach(symbol ${ARG_WRAP})
    target_link_options(${name} PRIVATE -Wl,--wrap=${symbol})
  endforeach()
  target_include_directories(${name} PRIVATE ${unit})
endfunction()

# Calls declare(<name> SOURCES ... NEEDS ... WRAP ...) for each.
function(each_fuzzer declare)
  cmake_language(CALL ${declare} listparse SOURCES ${fuzz}/listparse_fuzz.cpp ${reading} NEEDS listparse)
  cmake_language(CALL ${declare} helpers SOURCES ${fuzz}/helpers_fuzz.cpp ${reading} NEEDS listparse)
  cmake_language(CALL ${declare} capture SOURCES ${fuzz}/capture_fuzz.cpp ${unit}/support/logged.cpp
    NEEDS curl_wrapper strutil listparse)
  cmake_language(CALL ${declare} request
    SOURCES ${fuzz}/request_fuzz.cpp ${fuzz}/request_model.cpp ${unit}/ftp_clientd/fake_engines.cpp
      ${unit}/support/logged.cpp
    NEEDS ftp_clientd_core ftp_clientd_if strutil
    WRAP poll __poll_chk malloc)
  cmake_language(CALL ${declare} callbacks
    SOURCES ${fuzz}/callbacks_fuzz.cpp ${fuzz}/callbacks_bench.cpp ${fuzz}/callbacks_identity.cpp
      ${fuzz}/callbacks_progress.cpp ${fuzz}/local_file.cpp ${unit}/support/logged.cpp
    NEEDS curl_func
    WRAP curl_easy_getinfo SSL_CTX_set_cert_verify_callback SSL_CTX_set_options SSL_CTX_set_verify)
endfunction()

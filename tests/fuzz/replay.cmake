# The seeds once, and made-up lines against the model, in the ordinary tests: no libFuzzer is needed.
set(fuzz ${PROJECT_SOURCE_DIR}/tests/fuzz)
set(reading ${fuzz}/reading.cpp ${fuzz}/model_detect.cpp ${fuzz}/model_resolve.cpp ${fuzz}/model_table.cpp
  ${fuzz}/model_values.cpp)

function(fuzz_program name)
  cmake_parse_arguments(ARG "" "" "SOURCES;NEEDS;WRAP" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE build_flags ${ARG_NEEDS})
  foreach(symbol ${ARG_WRAP})
    target_link_options(${name} PRIVATE -Wl,--wrap=${symbol})
  endforeach()
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests/unit)
  set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests)
endfunction()

# replay(<fuzzer> [SOURCES <file>...] [NEEDS <target>...] [WRAP <symbol>...] CORPUS <folder>...)
function(replay fuzzer)
  cmake_parse_arguments(ARG "" "" "SOURCES;NEEDS;WRAP;CORPUS" ${ARGN})
  fuzz_program(${fuzzer}_replay
    SOURCES ${fuzz}/replay.cpp ${fuzz}/${fuzzer}_fuzz.cpp ${ARG_SOURCES} NEEDS ${ARG_NEEDS} WRAP ${ARG_WRAP})
  list(TRANSFORM ARG_CORPUS PREPEND ${fuzz}/corpus/)
  add_test(NAME fuzz.${fuzzer} COMMAND ${fuzzer}_replay ${ARG_CORPUS})
  set_tests_properties(fuzz.${fuzzer} PROPERTIES TIMEOUT 120 LABELS unit)
endfunction()

replay(listparse SOURCES ${reading} NEEDS listparse CORPUS listparse)
replay(helpers SOURCES ${reading} NEEDS listparse CORPUS listparse)
replay(capture NEEDS curl_wrapper strutil listparse unit_support CORPUS capture)
replay(request SOURCES ${fuzz}/request_model.cpp ${fuzz}/../unit/ftp_clientd/fake_engines.cpp
  NEEDS ftp_clientd_core ftp_clientd_if strutil unit_support
  WRAP poll __poll_chk malloc CORPUS request)
replay(callbacks
  SOURCES ${fuzz}/callbacks_bench.cpp ${fuzz}/callbacks_identity.cpp ${fuzz}/callbacks_progress.cpp ${fuzz}/local_file.cpp
  NEEDS curl_func unit_support WRAP curl_easy_getinfo SSL_CTX_set_cert_verify_callback CORPUS callbacks)

fuzz_program(generated_lines SOURCES ${fuzz}/generated_lines.cpp ${reading} NEEDS listparse)
set(lines 1000000)
if(FTP_CLIENTD_SANITIZE OR FTP_CLIENTD_COVERAGE OR CMAKE_CROSSCOMPILING)
  set(lines 50000)
endif()
add_test(NAME fuzz.generated_lines COMMAND generated_lines ${lines})
set_tests_properties(fuzz.generated_lines PROPERTIES TIMEOUT 300 LABELS unit)

# In the ordinary tests, without libFuzzer: every seed once, and generated lines against the model.
include(${CMAKE_CURRENT_LIST_DIR}/fuzzers.cmake)

function(replay fuzzer)
  fuzz_program(${fuzzer}_replay ${ARGN})
  target_sources(${fuzzer}_replay PRIVATE ${fuzz}/replay.cpp)
  set_target_properties(${fuzzer}_replay PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests)
  string(REPLACE helpers listparse corpus ${fuzzer}) # the same inputs
  add_test(NAME fuzz.${fuzzer} COMMAND ${fuzzer}_replay ${fuzz}/corpus/${corpus})
  set_tests_properties(fuzz.${fuzzer} PROPERTIES TIMEOUT 120 LABELS unit)
endfunction()
each_fuzzer(replay)

fuzz_program(generated_lines SOURCES ${fuzz}/generated_lines.cpp ${reading} NEEDS listparse)
set_target_properties(generated_lines PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests)
set(lines 1000000)
if(FTP_CLIENTD_SANITIZE OR FTP_CLIENTD_COVERAGE OR CMAKE_CROSSCOMPILING)
  set(lines 50000)
endif()
add_test(NAME fuzz.generated_lines COMMAND generated_lines ${lines})
set_tests_properties(fuzz.generated_lines PROPERTIES TIMEOUT 300 LABELS unit)

# Runs one benchmark once in its quick mode (VSK_BENCH_QUICK=1: small counts,
# one round, no goal judged) under the Wine runner. Passes when the program
# exits 0, printed at least one result line, every result line carries the
# quick mode's verdict, and it printed its peak working set.
# Usage: cmake -DRUNNER=<wine-run.sh> -DBUILD_DIR=<build> -DPROGRAM=<bench.exe> -P RunQuick.cmake
set(ENV{VSK_BENCH_QUICK} 1)
execute_process(COMMAND ${RUNNER} ${BUILD_DIR} ${PROGRAM}
                RESULT_VARIABLE exit_code OUTPUT_VARIABLE output ERROR_VARIABLE output)
# Brackets and semicolons would change how CMake splits the lines into a list.
string(REPLACE "\r" "" output "${output}")
string(REGEX REPLACE "[][;]" "_" lines "${output}")
message("${output}")
if(NOT exit_code EQUAL 0)
  message(FATAL_ERROR "the benchmark exited with ${exit_code}")
endif()
string(REGEX MATCHALL "RESULT\\|[^\n]*" results "${lines}")
string(REGEX MATCHALL "RESULT\\|[^\n]*\\|quick\n" quick_results "${lines}\n")
list(LENGTH results result_count)
list(LENGTH quick_results quick_count)
if(result_count EQUAL 0)
  message(FATAL_ERROR "the benchmark printed no result line")
endif()
if(NOT result_count EQUAL quick_count)
  message(FATAL_ERROR "${result_count} result lines, but only ${quick_count} in the quick mode's form")
endif()
if(NOT output MATCHES "MEASURE\\|peak working set, MiB\\|[0-9.]+\\|")
  message(FATAL_ERROR "the benchmark printed no peak working set")
endif()
message("${result_count} result lines in the quick mode")

# The names in a DLL's export table, as objdump -p lists them: one
# "[ordinal] name" line each. Shared by the checks that read what the
# library's DLL hands out.
#
#   vsk_read_dll_exports(<objdump> <dll> <out-list>)
function(vsk_read_dll_exports objdump dll out)
  execute_process(COMMAND ${objdump} -p ${dll} OUTPUT_VARIABLE dump RESULT_VARIABLE result)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "${objdump} -p ${dll} failed")
  endif()
  string(REPLACE "\n" ";" dump "${dump}")
  set(names "")
  foreach(line IN LISTS dump)
    if(line MATCHES "^[ \t]*\\[ *[0-9]+\\] ([^ ]+)$")
      list(APPEND names "${CMAKE_MATCH_1}")
    endif()
  endforeach()
  set(${out} "${names}" PARENT_SCOPE)
endfunction()

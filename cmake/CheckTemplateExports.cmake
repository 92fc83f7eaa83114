# Lists the members of the library's exported class templates that the DLL
# does not export, and fails when there is one.
#
# A template is exported by an `extern template class VSK_API Name<char>;`
# (or <wchar_t>) declaration in a header: callers then leave its members to
# the DLL. Its inline members are inlined by optimised callers only; an
# unoptimised caller calls them, so the DLL must export every member the
# explicit instantiation makes, inline ones included (the compiler exports
# only the others by itself; foundation/VoskellibTemplateExports.def lists
# the rest).
#
# cmake -DSOURCE_DIR=<repository> -DDLL=<voskellib.dll> -DOBJECTS=<a|b|...>
#       -DNM=<nm> -DOBJDUMP=<objdump> -P CheckTemplateExports.cmake
cmake_minimum_required(VERSION 3.20)
foreach(var SOURCE_DIR DLL OBJECTS NM OBJDUMP)
  if(NOT DEFINED ${var})
    message(FATAL_ERROR "CheckTemplateExports: ${var} is not set")
  endif()
endforeach()

# The exported instantiations, as the mangled prefix of their members' names.
file(GLOB_RECURSE headers ${SOURCE_DIR}/foundation/*.h ${SOURCE_DIR}/files/*.h ${SOURCE_DIR}/diagnostics/*.h
     ${SOURCE_DIR}/threading/*.h ${SOURCE_DIR}/calendar/*.h ${SOURCE_DIR}/gui/*.h ${SOURCE_DIR}/framework/*.h)
set(prefixes "")
foreach(header IN LISTS headers)
  file(STRINGS ${header} lines REGEX "^extern template class VSK_API [A-Za-z_0-9]+<(char|wchar_t)>;")
  foreach(line IN LISTS lines)
    string(REGEX REPLACE "^extern template class VSK_API ([A-Za-z_0-9]+)<(char|wchar_t)>;.*" "\\1;\\2" parts "${line}")
    list(GET parts 0 name)
    list(GET parts 1 type)
    string(LENGTH "${name}" length)
    if(type STREQUAL "char")
      set(code c)
    else()
      set(code w)
    endif()
    list(APPEND prefixes "${length}${name}I${code}E")
  endforeach()
endforeach()
if(NOT prefixes)
  message(FATAL_ERROR "CheckTemplateExports: no exported template found under ${SOURCE_DIR}")
endif()

# Every member function the objects define for those instantiations.
string(REPLACE "|" ";" objects "${OBJECTS}")
execute_process(COMMAND ${NM} --defined-only -g ${objects} OUTPUT_VARIABLE defined RESULT_VARIABLE nm_result)
if(NOT nm_result EQUAL 0)
  message(FATAL_ERROR "CheckTemplateExports: ${NM} failed")
endif()
string(REPLACE "\n" ";" defined "${defined}")
set(members "")
foreach(line IN LISTS defined)
  if(line MATCHES "^[0-9a-fA-F]+ T _(_ZNK?([0-9]+[A-Za-z_0-9]+I[cw]E)[^ ]*)$")
    set(symbol "${CMAKE_MATCH_1}")
    set(prefix "${CMAKE_MATCH_2}")
    if(prefix IN_LIST prefixes)
      list(APPEND members "${symbol}")
    endif()
  endif()
endforeach()
list(REMOVE_DUPLICATES members)
list(LENGTH members member_count)
if(member_count EQUAL 0)
  message(FATAL_ERROR "CheckTemplateExports: the objects define no member of ${prefixes}")
endif()

# The DLL's export table.
include(${CMAKE_CURRENT_LIST_DIR}/DllExports.cmake)
vsk_read_dll_exports(${OBJDUMP} ${DLL} exported)

set(missing "")
foreach(member IN LISTS members)
  if(NOT member IN_LIST exported)
    list(APPEND missing "${member}")
  endif()
endforeach()
list(SORT missing)
message(STATUS "Exported templates: ${prefixes}; ${member_count} members defined")
if(missing)
  foreach(member IN LISTS missing)
    message(STATUS "not exported: ${member}")
  endforeach()
  message(FATAL_ERROR "CheckTemplateExports: members of exported templates that voskellib.dll does not export (see above)")
endif()
message(STATUS "Every member of the exported templates is exported")

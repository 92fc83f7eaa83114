# Fails when the DLL exports one of the tests' hooks under its own name.
#
# The hooks (<folder>/internal/<Unit>Hooks.h) are no part of the library's
# interface: the DLL hands them out through the one C entry vsk_InternalHooks,
# and the headers' functions of the same names are inline wrappers that call
# through its tables. This check reads the names those headers declare (the
# wrappers and the units' tables) and looks for each in the export table,
# mangled or plain.
#
# cmake -DSOURCE_DIR=<repository> -DDLL=<voskellib.dll> -DOBJDUMP=<objdump>
#       -P CheckHookExports.cmake
cmake_minimum_required(VERSION 3.20)
foreach(var SOURCE_DIR DLL OBJDUMP)
  if(NOT DEFINED ${var})
    message(FATAL_ERROR "CheckHookExports: ${var} is not set")
  endif()
endforeach()

file(GLOB headers ${SOURCE_DIR}/*/internal/*Hooks.h)
set(names "")
foreach(header IN LISTS headers)
  file(STRINGS ${header} lines REGEX "^(inline [^(]*[ *]|extern const [A-Za-z_0-9:]+ )[A-Za-z_][A-Za-z_0-9]*[(;]")
  foreach(line IN LISTS lines)
    string(REGEX MATCH "[A-Za-z_][A-Za-z_0-9]*[(;]" name "${line}")
    string(REGEX REPLACE "[(;]$" "" name "${name}")
    list(APPEND names "${name}")
  endforeach()
endforeach()
list(REMOVE_DUPLICATES names)
if(NOT names)
  message(FATAL_ERROR "CheckHookExports: no hook found under ${SOURCE_DIR}/*/internal/")
endif()

include(${CMAKE_CURRENT_LIST_DIR}/DllExports.cmake)
vsk_read_dll_exports(${OBJDUMP} ${DLL} exports)
if(NOT "vsk_InternalHooks" IN_LIST exports)
  message(FATAL_ERROR "CheckHookExports: ${DLL} does not export vsk_InternalHooks")
endif()

# A C++ name is exported as <length><name> inside its mangled name.
set(found "")
foreach(name IN LISTS names)
  string(LENGTH "${name}" length)
  foreach(export IN LISTS exports)
    string(FIND "${export}" "${length}${name}" at)
    if(export STREQUAL name OR NOT at EQUAL -1)
      list(APPEND found "${name} as ${export}")
    endif()
  endforeach()
endforeach()
list(LENGTH names count)
if(found)
  list(JOIN found "\n  " report)
  message(FATAL_ERROR "CheckHookExports: hooks exported under their own names:\n  ${report}")
endif()
message(STATUS "CheckHookExports: none of the ${count} hook names is exported; the hooks go through vsk_InternalHooks")

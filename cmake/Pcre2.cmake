# PCRE2 (8-bit library and its POSIX front end), compiled into one static
# library from the Debian source package that tools/setup.sh unpacks into
# ${VSK_DEPS_DIR}/pcre2-<version>/. The sources are never part of the
# repository. Target: vsk_pcre2 (internal; linked PRIVATE into the DLL).

file(GLOB _vsk_pcre2_dirs LIST_DIRECTORIES true "${VSK_DEPS_DIR}/pcre2-*")
set(VSK_PCRE2_SOURCE "" CACHE PATH "Unpacked PCRE2 source package (empty: search ${VSK_DEPS_DIR})")
set(_vsk_pcre2_root "${VSK_PCRE2_SOURCE}")
if(NOT _vsk_pcre2_root)
  foreach(dir IN LISTS _vsk_pcre2_dirs)
    if(IS_DIRECTORY "${dir}" AND EXISTS "${dir}/src/pcre2_compile.c")
      set(_vsk_pcre2_root "${dir}")
    endif()
  endforeach()
endif()
if(NOT _vsk_pcre2_root OR NOT EXISTS "${_vsk_pcre2_root}/src/pcre2posix.c")
  message(FATAL_ERROR
    "PCRE2 source package not found under ${VSK_DEPS_DIR} (expected pcre2-<version>/src/). "
    "Run: bash tools/setup.sh \"${VSK_DEPS_DIR}\" (tools/build.sh does this), "
    "or set VSK_PCRE2_SOURCE to an unpacked pcre2 source tree.")
endif()
message(STATUS "PCRE2 sources: ${_vsk_pcre2_root}")

# The generic configuration files that the package ships for builds without
# its own configure step.
set(_vsk_pcre2_gen "${CMAKE_BINARY_DIR}/_deps/pcre2-build")
configure_file("${_vsk_pcre2_root}/src/config.h.generic" "${_vsk_pcre2_gen}/config.h" COPYONLY)
configure_file("${_vsk_pcre2_root}/src/pcre2.h.generic" "${_vsk_pcre2_gen}/pcre2.h" COPYONLY)
configure_file("${_vsk_pcre2_root}/src/pcre2_chartables.c.dist"
               "${_vsk_pcre2_gen}/pcre2_chartables.c" COPYONLY)
configure_file("${_vsk_pcre2_root}/src/pcre2posix.h" "${_vsk_pcre2_gen}/include/pcre2posix.h" COPYONLY)
configure_file("${_vsk_pcre2_root}/src/pcre2.h.generic" "${_vsk_pcre2_gen}/include/pcre2.h" COPYONLY)

set(_vsk_pcre2_sources "${_vsk_pcre2_gen}/pcre2_chartables.c")
foreach(name auto_possess compile config context convert dfa_match error extuni find_bracket
             jit_compile maketables match match_data newline ord2utf pattern_info script_run
             serialize string_utils study substitute substring tables ucd valid_utf xclass)
  list(APPEND _vsk_pcre2_sources "${_vsk_pcre2_root}/src/pcre2_${name}.c")
endforeach()
list(APPEND _vsk_pcre2_sources "${_vsk_pcre2_root}/src/pcre2posix.c")

add_library(vsk_pcre2 STATIC ${_vsk_pcre2_sources})
target_include_directories(vsk_pcre2
  PRIVATE "${_vsk_pcre2_gen}" "${_vsk_pcre2_root}/src"
  INTERFACE "$<BUILD_INTERFACE:${_vsk_pcre2_gen}/include>")
target_compile_definitions(vsk_pcre2
  PRIVATE HAVE_CONFIG_H SUPPORT_PCRE2_8 SUPPORT_UNICODE HAVE_MEMMOVE HAVE_STRERROR
          HAVE_STDINT_H HAVE_INTTYPES_H HAVE_LIMITS_H HAVE_STDLIB_H HAVE_STRING_H
  PUBLIC PCRE2_CODE_UNIT_WIDTH=8 PCRE2_STATIC)
target_compile_options(vsk_pcre2 PRIVATE -w)
set_target_properties(vsk_pcre2 PROPERTIES C_STANDARD 99 EXCLUDE_FROM_ALL TRUE)

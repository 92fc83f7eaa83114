# Helpers shared by the subsystem folders.

set(VSK_SYSTEM_LIBS kernel32 user32 gdi32 imm32 ole32 oleaut32 uuid shell32 comdlg32 advapi32)

# vsk_add_subsystem(<folder>): the folder's units as an object library that
# goes into voskellib.dll, with the alias VoskelLIB::<folder>.
function(vsk_add_subsystem name)
  file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp)
  add_library(vsk_${name} OBJECT ${sources})
  add_library(VoskelLIB::${name} ALIAS vsk_${name})
  # The folder's own sources see only the folders the layer map allows; its
  # users get the whole include root and the stand-in.
  target_link_libraries(vsk_${name} INTERFACE vsk_options hostfw PRIVATE vsk_build_options)
  vsk_layer_includes(vsk_${name} ${name})
  target_compile_definitions(vsk_${name} PRIVATE VOSKELLIB_BUILDING_DLL)
  set_property(GLOBAL APPEND PROPERTY VSK_SUBSYSTEMS vsk_${name})
endfunction()

# The toolchain's shared runtime (libgcc, libstdc++, winpthread) beside the
# binaries, so that every module shares one exception runtime.
set(VSK_RUNTIME_DLLS libgcc_s_dw2-1.dll libstdc++-6.dll libwinpthread-1.dll)
function(vsk_copy_runtime target)
  foreach(dll IN LISTS VSK_RUNTIME_DLLS)
    execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${dll}
                    OUTPUT_VARIABLE path OUTPUT_STRIP_TRAILING_WHITESPACE)
    if(NOT EXISTS "${path}")
      message(FATAL_ERROR "toolchain runtime ${dll} not found")
    endif()
    add_custom_command(TARGET ${target} POST_BUILD
      COMMAND ${CMAKE_COMMAND} -E copy_if_different "${path}" "${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/${dll}")
  endforeach()
endfunction()

# Installs the DLL, its import library and the headers under
# include/voskellib/<folder>/, with a CMake package VoskelLIB.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

install(TARGETS voskellib hostfw vsk_options EXPORT VoskelLIBTargets
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
# The hooks that only tests use (<folder>/internal/) stay behind, and so
# does the platform layer: it is the library's own, and no public header
# includes it.
foreach(dir foundation files diagnostics threading calendar gui framework hostfw)
  install(DIRECTORY ${dir}/ DESTINATION include/voskellib/${dir}
          FILES_MATCHING PATTERN "*.h" PATTERN "internal" EXCLUDE)
endforeach()
install(EXPORT VoskelLIBTargets NAMESPACE VoskelLIB::
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/VoskelLIB)
configure_package_config_file(cmake/VoskelLIBConfig.cmake.in
  ${CMAKE_BINARY_DIR}/VoskelLIBConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/VoskelLIB)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/VoskelLIBConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/VoskelLIBConfig.cmake
              ${CMAKE_BINARY_DIR}/VoskelLIBConfigVersion.cmake
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/VoskelLIB)

# The toolchain's runtime DLLs ship beside the library: every module of a
# program must share one exception runtime.
foreach(dll IN LISTS VSK_RUNTIME_DLLS)
  execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${dll}
                  OUTPUT_VARIABLE _vsk_runtime_path OUTPUT_STRIP_TRAILING_WHITESPACE)
  install(FILES "${_vsk_runtime_path}" DESTINATION ${CMAKE_INSTALL_BINDIR})
endforeach()

# The CMake package "plexo" (target plexo::plexo) and the pkg-config file plexo.pc.
set(plexo_cmake_dir ${CMAKE_INSTALL_LIBDIR}/cmake/plexo)

install(TARGETS qv7plexo qv7math1 qv7misc qv7lapack EXPORT plexo_targets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY include/plexo DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} FILES_MATCHING PATTERN "*.h")
install(EXPORT plexo_targets NAMESPACE plexo:: DESTINATION ${plexo_cmake_dir})

configure_package_config_file(cmake/plexo-config.cmake.in ${CMAKE_CURRENT_BINARY_DIR}/plexo-config.cmake
  INSTALL_DESTINATION ${plexo_cmake_dir})
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/plexo-config-version.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/plexo-config.cmake ${CMAKE_CURRENT_BINARY_DIR}/plexo-config-version.cmake
  DESTINATION ${plexo_cmake_dir})

# Relative to the file itself, so that an installed tree may be moved.
file(RELATIVE_PATH plexo_pc_to_prefix "${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig" "${CMAKE_INSTALL_PREFIX}")
configure_file(cmake/plexo.pc.in ${CMAKE_CURRENT_BINARY_DIR}/plexo.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/plexo.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

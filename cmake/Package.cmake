# How other projects find what is installed: find_package(Vexmora) and pkg-config.
include(CMakePackageConfigHelpers)
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/Vexmora)

install(EXPORT vexmora NAMESPACE Vexmora:: FILE VexmoraTargets.cmake DESTINATION ${package_dir})
configure_package_config_file(cmake/VexmoraConfig.cmake.in VexmoraConfig.cmake INSTALL_DESTINATION ${package_dir})
# Until 1.0 a new minor version may break what the one before promised.
write_basic_package_version_file(VexmoraConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/VexmoraConfig.cmake ${CMAKE_CURRENT_BINARY_DIR}/VexmoraConfigVersion.cmake
  DESTINATION ${package_dir})

# The place of the tree is worked out from that of the .pc file: an installed tree may be moved.
file(RELATIVE_PATH prefix_from_pc /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
string(REGEX REPLACE "/$" "" prefix_from_pc "${prefix_from_pc}")
set(host_private_requires)
if(VEXMORA_HOST_STATIC)
  set(host_private_requires "Requires.private: sqlite3 libxxhash")
endif()
foreach(name vexmora vexmora-host)
  configure_file(cmake/${name}.pc.in ${name}.pc @ONLY)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${name}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endforeach()
install(FILES LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR})

# Headers, library, program, CMake package and pkg-config file.
include(CMakePackageConfigHelpers)
install(TARGETS lumo EXPORT LumoTargets)
install(FILES include/lumo.h include/lumo_legacy.h include/lumo_quality.h include/lumo_steps.h
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT LumoTargets NAMESPACE Lumo:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/Lumo)
write_basic_package_version_file(LumoConfigVersion.cmake COMPATIBILITY SameMajorVersion)
configure_file(cmake/LumoConfig.cmake.in LumoConfig.cmake @ONLY)
# Relative, so that an installation can be moved.
file(RELATIVE_PATH pc_to_prefix "/prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/prefix")
configure_file(cmake/lumo.pc.in lumo.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/LumoConfig.cmake ${CMAKE_BINARY_DIR}/LumoConfigVersion.cmake
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/Lumo)
install(FILES ${CMAKE_BINARY_DIR}/lumo.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
if(LUMO_BUILD_PROGRAM)
  install(TARGETS lumo_program)
endif()

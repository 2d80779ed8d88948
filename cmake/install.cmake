# install.cmake - what `cmake --install` puts in place: the public header,
# the shared library (with its version links, or velnor.dll with its import
# library and velnor.def on Windows), the static library, a CMake package
# (find_package(velnor) gives velnor::velnor and velnor::velnor_static) and a
# pkg-config file.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

install(FILES ${PROJECT_SOURCE_DIR}/include/velnor.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(TARGETS velnor velnor_static EXPORT velnorTargets
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} NAMELINK_COMPONENT Development
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
        INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
if(WIN32)
  install(FILES ${CMAKE_BINARY_DIR}/velnor.def DESTINATION ${CMAKE_INSTALL_LIBDIR})
endif()

set(VELNOR_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/velnor)
install(EXPORT velnorTargets NAMESPACE velnor:: DESTINATION ${VELNOR_CMAKE_DIR})
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/velnorConfig.cmake.in
                              ${CMAKE_BINARY_DIR}/velnorConfig.cmake INSTALL_DESTINATION ${VELNOR_CMAKE_DIR})
write_basic_package_version_file(${CMAKE_BINARY_DIR}/velnorConfigVersion.cmake
                                 COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/velnorConfig.cmake ${CMAKE_BINARY_DIR}/velnorConfigVersion.cmake
        DESTINATION ${VELNOR_CMAKE_DIR})

# The pkg-config file finds its prefix relative to where it lies, so the
# install can be moved (cmake --install --prefix ...).
file(RELATIVE_PATH VELNOR_PC_TO_PREFIX /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
string(REGEX REPLACE "/$" "" VELNOR_PC_TO_PREFIX "${VELNOR_PC_TO_PREFIX}")
configure_file(${CMAKE_CURRENT_LIST_DIR}/velnor.pc.in ${CMAKE_BINARY_DIR}/velnor.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/velnor.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

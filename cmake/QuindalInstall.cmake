# What `cmake --install` puts in place: both libraries, the headers for C and C++, a CMake package, a pkg-config file, the command
# line. A program finds the library by find_package(QuindalIM) or by pkg-config quindalim.
include(CMakePackageConfigHelpers)

# Everything built that is installed: what has to stand before `cmake --install`.
add_custom_target(quindal_installed DEPENDS Z9Sys QuindalIM_Client quindal)

install(TARGETS Z9Sys QuindalIM_Client EXPORT QuindalIMTargets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        NAMELINK_COMPONENT Development)
install(TARGETS quindal RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(FILES Units/QuindalIM/include/QuindalIM.h Units/QuindalIM/include/QuindalIM.hpp DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

install(EXPORT QuindalIMTargets NAMESPACE QuindalIM:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/QuindalIM)
configure_package_config_file(cmake/QuindalIMConfig.cmake.in ${CMAKE_CURRENT_BINARY_DIR}/QuindalIMConfig.cmake
                              INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/QuindalIM)
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/QuindalIMConfigVersion.cmake
                                 COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/QuindalIMConfig.cmake ${CMAKE_CURRENT_BINARY_DIR}/QuindalIMConfigVersion.cmake
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/QuindalIM)

file(RELATIVE_PATH QUINDAL_PREFIX_FROM_PKGCONFIG /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
configure_file(cmake/quindalim.pc.in ${CMAKE_CURRENT_BINARY_DIR}/quindalim.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/quindalim.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

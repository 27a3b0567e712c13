# What `cmake --install` puts in place: both libraries, the headers for C and C++, a CMake package, a pkg-config file, the
# command line. A program finds the library by find_package(QuindalIM) or by pkg-config quindalim. The components are the
# Debian packages of QuindalPackages.cmake.
include(CMakePackageConfigHelpers)

# Everything built that is installed: what has to stand before `cmake --install`.
add_custom_target(quindal_installed DEPENDS Z9Sys QuindalIM_Client quindal)

install(TARGETS Z9Sys EXPORT QuindalIMTargets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT libz9sys)
# The bare name is a link for hosts that load the library by it, so it stands beside the library and not with the header.
install(TARGETS QuindalIM_Client EXPORT QuindalIMTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT libquindalim9)
install(TARGETS quindal RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT quindal)
install(FILES Units/QuindalIM/include/QuindalIM.h Units/QuindalIM/include/QuindalIM.hpp
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT libquindalim-dev)

install(EXPORT QuindalIMTargets NAMESPACE QuindalIM::
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/QuindalIM COMPONENT libquindalim-dev)
configure_package_config_file(cmake/QuindalIMConfig.cmake.in ${CMAKE_CURRENT_BINARY_DIR}/QuindalIMConfig.cmake
                              INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/QuindalIM)
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/QuindalIMConfigVersion.cmake
                                 COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/QuindalIMConfig.cmake ${CMAKE_CURRENT_BINARY_DIR}/QuindalIMConfigVersion.cmake
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/QuindalIM COMPONENT libquindalim-dev)

file(RELATIVE_PATH QUINDAL_PREFIX_FROM_PKGCONFIG /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
configure_file(cmake/quindalim.pc.in ${CMAKE_CURRENT_BINARY_DIR}/quindalim.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/quindalim.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT libquindalim-dev)

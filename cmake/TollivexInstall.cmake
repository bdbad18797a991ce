# Installs the library, its public headers, the tools and the package files
# another project needs: find_package(Tollivex) gives Tollivex::tollivex, and
# pkg-config knows tollivex.
include(CMakePackageConfigHelpers)

set(TOLLIVEX_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/Tollivex)

install(TARGETS tollivex EXPORT TollivexTargets
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
# The headless devices exist only in the portable build.
if(WIN32)
  set(TOLLIVEX_PORTABLE_ONLY PATTERN headless.h EXCLUDE)
endif()
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
  FILES_MATCHING PATTERN "*.h" ${TOLLIVEX_PORTABLE_ONLY})
install(EXPORT TollivexTargets NAMESPACE Tollivex:: DESTINATION ${TOLLIVEX_CMAKE_DIR})

configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/TollivexConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/TollivexConfig.cmake INSTALL_DESTINATION ${TOLLIVEX_CMAKE_DIR})
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/TollivexConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/TollivexConfig.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/TollivexConfigVersion.cmake
        DESTINATION ${TOLLIVEX_CMAKE_DIR})

if(NOT WIN32)
  set(TOLLIVEX_PC_REQUIRES "")
  if(TOLLIVEX_WITH_SDL2)
    set(TOLLIVEX_PC_REQUIRES "Requires: sdl2")
  endif()
  file(RELATIVE_PATH TOLLIVEX_PC_TO_PREFIX /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/tollivex.pc.in ${CMAKE_CURRENT_BINARY_DIR}/tollivex.pc @ONLY)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/tollivex.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endif()

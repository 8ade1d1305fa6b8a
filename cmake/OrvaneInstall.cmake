# The installed package: headers, libraries, and what find_package(Orvane) and pkg-config need to find them.
include(CMakePackageConfigHelpers)

set(headers_to "${CMAKE_INSTALL_INCLUDEDIR}/orvane")

# The interface headers. Each target's own platform headers are installed by its folder; implementations stay here.
install(DIRECTORY core/ DESTINATION "${headers_to}"
  FILES_MATCHING PATTERN "*.h"
  PATTERN "default" EXCLUDE
  PATTERN "debughelp.h" EXCLUDE
  PATTERN "supportlibrary.h" EXCLUDE
  PATTERN "utf8.h" EXCLUDE
  PATTERN "posix" EXCLUDE
  PATTERN "win32" EXCLUDE)
foreach(folder orvane platform typeregistry logging)
  install(FILES "${PROJECT_BINARY_DIR}/generated/${folder}/export.h" DESTINATION "${headers_to}/${folder}")
endforeach()

install(EXPORT OrvaneTargets NAMESPACE Orvane:: DESTINATION "${CMAKE_INSTALL_LIBDIR}/cmake/Orvane")
configure_package_config_file(cmake/OrvaneConfig.cmake.in "${PROJECT_BINARY_DIR}/OrvaneConfig.cmake"
  INSTALL_DESTINATION "${CMAKE_INSTALL_LIBDIR}/cmake/Orvane")
# Until 1.0 a minor version may change what clients see.
write_basic_package_version_file("${PROJECT_BINARY_DIR}/OrvaneConfigVersion.cmake" COMPATIBILITY SameMinorVersion)
install(FILES "${PROJECT_BINARY_DIR}/OrvaneConfig.cmake" "${PROJECT_BINARY_DIR}/OrvaneConfigVersion.cmake"
  DESTINATION "${CMAKE_INSTALL_LIBDIR}/cmake/Orvane")

# The package can be moved: its prefix is told from where the file lies.
file(RELATIVE_PATH ORVANE_PC_PREFIX
  "${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig" "${CMAKE_INSTALL_PREFIX}")
configure_file(cmake/orvane.pc.in "${PROJECT_BINARY_DIR}/orvane.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/orvane.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
install(FILES LICENSE README.md CHANGELOG.md CONTRIBUTING.md DESTINATION "${CMAKE_INSTALL_DOCDIR}")
install(DIRECTORY docs examples DESTINATION "${CMAKE_INSTALL_DOCDIR}")

# A package for a machine that has no MinGW: what its libraries need of the compiler comes with it.
if(MINGW)
  foreach(library libstdc++-6.dll libgcc_s_seh-1.dll libwinpthread-1.dll)
    execute_process(COMMAND "${CMAKE_CXX_COMPILER}" "-print-file-name=${library}"
      OUTPUT_VARIABLE path OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
    if(IS_ABSOLUTE "${path}")
      install(FILES "${path}" DESTINATION "${CMAKE_INSTALL_BINDIR}")
    endif()
  endforeach()
endif()

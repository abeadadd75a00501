# Installation: the C shared object, the C++ shared object, the static library with
# both interfaces, their headers, a CMake package and a pkg-config file.
include(CMakePackageConfigHelpers)

# The static library is the core itself, which holds both interfaces.
set_target_properties(kvmcf_core PROPERTIES OUTPUT_NAME "kvmcfio" EXPORT_NAME "static")
target_include_directories(kvmcf_core INTERFACE $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>
                                                $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/kvmcfio>)

install(TARGETS kvmcfio kvmcfio_cxx kvmcf_core EXPORT kvmcfioTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
# The link name of the C shared object, so -lkvmcfio finds it (and -static the archive).
install(CODE "execute_process(COMMAND \${CMAKE_COMMAND} -E create_symlink libkvmcfio.so.x86_64
                \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR}/libkvmcfio.so\")")
install(FILES ${PROJECT_SOURCE_DIR}/api/kvmcfio.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/kvmcf DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
# The record headers, for static-library users who need every field of the records.
foreach(dir IN LISTS KVMCF_SOURCE_DIRS)
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/${dir} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/kvmcfio
          FILES_MATCHING PATTERN "*.h")
endforeach()

set(KVMCF_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/kvmcfio)
install(EXPORT kvmcfioTargets NAMESPACE kvmcfio:: DESTINATION ${KVMCF_CMAKE_DIR})
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/kvmcfioConfig.cmake.in
                              ${PROJECT_BINARY_DIR}/kvmcfioConfig.cmake INSTALL_DESTINATION ${KVMCF_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/kvmcfioConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/kvmcfioConfig.cmake ${PROJECT_BINARY_DIR}/kvmcfioConfigVersion.cmake
        DESTINATION ${KVMCF_CMAKE_DIR})

configure_file(${PROJECT_SOURCE_DIR}/cmake/kvmcfio.pc.in ${PROJECT_BINARY_DIR}/kvmcfio.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/kvmcfio.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

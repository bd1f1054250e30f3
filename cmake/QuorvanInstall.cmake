# Installation as a CMake package: find_package(Quorvan) gives
# Quorvan::Quorvan, Quorvan::QuorvanStatic and the stand-in host libraries
# Quorvan::Debug and Quorvan::Memory.
include(CMakePackageConfigHelpers)

install(TARGETS Quorvan QuorvanStatic QuorvanDebug QuorvanMemory EXPORT QuorvanTargets
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(FILES ${QUORVAN_PUBLIC_HEADERS} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/Quorvan)
install(FILES host/Debug.h host/Memory.h host/HostExport.h
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/Quorvan/host)

set(configDir ${CMAKE_INSTALL_LIBDIR}/cmake/Quorvan)
install(EXPORT QuorvanTargets NAMESPACE Quorvan:: DESTINATION ${configDir})
configure_package_config_file(cmake/QuorvanConfig.cmake.in
    ${PROJECT_BINARY_DIR}/QuorvanConfig.cmake INSTALL_DESTINATION ${configDir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/QuorvanConfigVersion.cmake
    COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/QuorvanConfig.cmake ${PROJECT_BINARY_DIR}/QuorvanConfigVersion.cmake
        DESTINATION ${configDir})

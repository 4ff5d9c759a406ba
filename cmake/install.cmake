# What cmake --install puts into a tree: the three libraries, their headers, and what
# find_package(mivare) and pkg-config need. The tree may be moved.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

# pkg-config finds the tree from where its files lie.
file(RELATIVE_PATH MIVARE_PC_PREFIX /root/${CMAKE_INSTALL_LIBDIR}/pkgconfig /root)

# mivare_install(library): one of the libraries.
function(mivare_install library)
  install(TARGETS ${library} EXPORT mivareTargets)
  set(headers ${PROJECT_SOURCE_DIR}/${library}/include/)
  if(NOT IS_DIRECTORY ${headers})
    set(headers ${PROJECT_SOURCE_DIR}/include/)
  endif()
  install(DIRECTORY ${headers} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
  configure_file(${PROJECT_SOURCE_DIR}/cmake/${library}.pc.in ${PROJECT_BINARY_DIR}/${library}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${library}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endfunction()

set(package ${CMAKE_INSTALL_LIBDIR}/cmake/mivare)
install(EXPORT mivareTargets NAMESPACE mivare:: DESTINATION ${package})
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/mivareConfig.cmake.in
  ${PROJECT_BINARY_DIR}/mivareConfig.cmake INSTALL_DESTINATION ${package})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/mivareConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/mivareConfig.cmake ${PROJECT_BINARY_DIR}/mivareConfigVersion.cmake
        DESTINATION ${package})

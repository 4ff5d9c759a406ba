# The package as others use it: an installed tree, and a consumer project outside this one that is
# built against it, with find_package and with pkg-config.
set(tree ${CMAKE_CURRENT_BINARY_DIR}/package/tree)
add_test(NAME package_install
  COMMAND ${CMAKE_COMMAND} --install ${PROJECT_BINARY_DIR} --prefix ${tree})
set_tests_properties(package_install PROPERTIES FIXTURES_SETUP package TIMEOUT 100)
foreach(how find_package pkg_config)
  add_test(NAME package_${how}
    COMMAND ${CMAKE_COMMAND} -DHOW=${how} -DTREE=${tree} -DCXX=${CMAKE_CXX_COMPILER}
            -DFOLDER=${CMAKE_CURRENT_BINARY_DIR}/package/${how}
            -DTOOLCHAIN=${CMAKE_TOOLCHAIN_FILE} "-DEMULATOR=${CMAKE_CROSSCOMPILING_EMULATOR}"
            -DRUNTIME=${CMAKE_RUNTIME_OUTPUT_DIRECTORY}
            -P ${CMAKE_CURRENT_SOURCE_DIR}/package/consume.cmake)
  set_tests_properties(package_${how} PROPERTIES FIXTURES_REQUIRED package TIMEOUT 300)
endforeach()

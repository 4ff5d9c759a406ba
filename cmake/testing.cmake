# GoogleTest from Debian's source package, so that it is built with each compiler and sanitizer.
set(INSTALL_GTEST OFF)
set(BUILD_GMOCK OFF)
set(gtest_force_shared_crt ON)
add_subdirectory(/usr/src/googletest ${PROJECT_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)

if(WIN32)
  # The compiler's runtime DLLs beside the programs.
  file(MAKE_DIRECTORY ${CMAKE_RUNTIME_OUTPUT_DIRECTORY})
  foreach(dll libstdc++-6 libgcc_s_seh-1 libwinpthread-1)
    execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${dll}.dll
                    OUTPUT_VARIABLE file OUTPUT_STRIP_TRAILING_WHITESPACE)
    if(NOT IS_ABSOLUTE "${file}")
      set(file /usr/x86_64-w64-mingw32/lib/${dll}.dll)
    endif()
    file(COPY_FILE ${file} ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/${dll}.dll ONLY_IF_DIFFERENT)
  endforeach()
endif()

# mivare_test(name LIBS ... SOURCES ...): one test program, run in shuffled order.
function(mivare_test name)
  cmake_parse_arguments(arg "" "" "LIBS;SOURCES" ${ARGN})
  add_executable(${name} ${arg_SOURCES})
  target_link_libraries(${name} PRIVATE mivare_options ${arg_LIBS} gtest gtest_main Threads::Threads)
  add_test(NAME ${name} COMMAND ${name} --gtest_shuffle --gtest_brief=0)
  set_tests_properties(${name} PROPERTIES TIMEOUT 600)
endfunction()

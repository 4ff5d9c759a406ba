# GoogleTest from Debian's source package, so that it is built with each compiler and sanitizer.
set(INSTALL_GTEST OFF)
set(BUILD_GMOCK OFF)
set(gtest_force_shared_crt ON)
add_subdirectory(/usr/src/googletest ${PROJECT_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)

# What the sanitizers do at run time. Requests for more memory than there is must fail as they do
# without a sanitizer; a report shows source lines where the symbolizer is at hand.
set(sanitizer_environment
  ASAN_OPTIONS=allocator_may_return_null=1:detect_stack_use_after_return=1
  TSAN_OPTIONS=allocator_may_return_null=1:second_deadlock_stack=1
  UBSAN_OPTIONS=print_stacktrace=1)
find_program(MIVARE_SYMBOLIZER NAMES llvm-symbolizer-14 llvm-symbolizer)
if(MIVARE_SYMBOLIZER)
  list(TRANSFORM sanitizer_environment APPEND ":external_symbolizer_path=${MIVARE_SYMBOLIZER}")
endif()

if(WIN32)
  # The compiler's runtime DLLs beside the programs. Its own lie with the compiler, the thread
  # library's with the platform.
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

# mivare_test(name LIBS ... SOURCES ...): one GoogleTest program, run in shuffled order.
function(mivare_test name)
  cmake_parse_arguments(arg "" "" "LIBS;SOURCES" ${ARGN})
  add_executable(${name} ${arg_SOURCES})
  target_link_libraries(${name} PRIVATE mivare_options ${arg_LIBS} gtest gtest_main Threads::Threads)
  add_test(NAME ${name} COMMAND ${name} --gtest_shuffle)
  set_tests_properties(${name} PROPERTIES TIMEOUT 300 ENVIRONMENT "${sanitizer_environment}")
endfunction()

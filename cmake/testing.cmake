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

# What tests alone are compiled with. The libraries under test are optimised; optimising the tests
# themselves would take twice the time to build.
set(mivare_test_options -O0)

# mivare_test(name LIBS ... SOURCES ...): one GoogleTest program, run in shuffled order.
function(mivare_test name)
  cmake_parse_arguments(arg "" "" "LIBS;SOURCES" ${ARGN})
  add_executable(${name} ${arg_SOURCES})
  target_compile_options(${name} PRIVATE ${mivare_test_options})
  target_link_libraries(${name} PRIVATE mivare_options ${arg_LIBS} gtest gtest_main Threads::Threads)
  add_test(NAME ${name} COMMAND ${name} --gtest_shuffle)
  set_tests_properties(${name} PROPERTIES TIMEOUT 300 ENVIRONMENT "${sanitizer_environment}")
endfunction()

# mivare_failing_memory(target): for tests that run out of memory and threads. The program's own calls
# of operator new and delete, of what starts a std::thread and of the system's blocks go, by their
# mangled names, through tests/support/failing_new.cpp and system_blocks.cpp. Libraries that the
# program loads are not reached: link their objects.
if(WIN32)
  set(mivare_size y)
else()
  set(mivare_size m)
endif()
function(mivare_failing_memory target)
  foreach(name IN ITEMS _Znw${mivare_size} _Zna${mivare_size} _Znw${mivare_size}RKSt9nothrow_t
          _Zna${mivare_size}RKSt9nothrow_t _Znw${mivare_size}St11align_val_t
          _ZdlPv _ZdlPv${mivare_size} _ZdaPv
          _ZdlPvSt11align_val_t _ZdlPv${mivare_size}St11align_val_t
          _ZNSt6thread15_M_start_threadESt10unique_ptrINS_6_StateESt14default_deleteIS1_EEPFvvE
          _ZN6mivare8platform13AllocateBlockE${mivare_size} _ZN6mivare8platform9FreeBlockEPv)
    target_link_options(${target} PRIVATE LINKER:--wrap=${name})
  endforeach()
endfunction()

# cmake -DHOW=find_package|pkg_config -DTREE=... -DFOLDER=... -DCXX=... [-DTOOLCHAIN=...]
#       [-DEMULATOR=...] [-DRUNTIME=...] -P consume.cmake
#
# Builds the consumer against the installed tree in one of the two ways, and runs it. RUNTIME is
# where the compiler's own DLLs lie.
file(REMOVE_RECURSE ${FOLDER})
file(MAKE_DIRECTORY ${FOLDER})
set(program ${FOLDER}/consumer)
if(HOW STREQUAL find_package)
  set(compiler -DCMAKE_CXX_COMPILER=${CXX})
  if(TOOLCHAIN)
    # Packages are looked for below the toolchain's roots alone, as it is for a cross compiler.
    set(compiler -DCMAKE_TOOLCHAIN_FILE=${TOOLCHAIN})
  endif()
  execute_process(COMMAND ${CMAKE_COMMAND} -G Ninja -S ${CMAKE_CURRENT_LIST_DIR} -B ${FOLDER} ${compiler}
                          -Dmivare_DIR=${TREE}/lib/cmake/mivare -DCMAKE_BUILD_TYPE=Release
                  COMMAND_ERROR_IS_FATAL ANY)
  execute_process(COMMAND ${CMAKE_COMMAND} --build ${FOLDER} COMMAND_ERROR_IS_FATAL ANY)
else()
  set(ENV{PKG_CONFIG_LIBDIR} ${TREE}/lib/pkgconfig)
  unset(ENV{PKG_CONFIG_PATH})
  execute_process(COMMAND pkg-config --cflags --libs "mivare >= 1.0" OUTPUT_VARIABLE flags
                  OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  separate_arguments(flags UNIX_COMMAND "${flags}")
  execute_process(COMMAND ${CXX} -std=c++20 -O2 -Wall -Wextra -Wpedantic -Werror -o ${program}
                          ${CMAKE_CURRENT_LIST_DIR}/consumer.cpp ${flags} COMMAND_ERROR_IS_FATAL ANY)
  set(ENV{LD_LIBRARY_PATH} ${TREE}/lib)
endif()

if(EMULATOR)
  set(ENV{WINEPATH} "${TREE}/bin\;${RUNTIME}")
  string(APPEND program .exe)
endif()
execute_process(COMMAND ${EMULATOR} ${program} TIMEOUT 100 OUTPUT_FILE ${FOLDER}/output
                RESULT_VARIABLE status)
file(READ ${FOLDER}/output output)
if(NOT status STREQUAL 0 OR NOT output MATCHES "consumed")
  message(FATAL_ERROR "the consumer ended with ${status}\n${output}")
endif()

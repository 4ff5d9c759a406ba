# cmake -DLIBRARY=... -DEXPECTED=... -DFORMAT=elf|pe -DNM=... -DOBJDUMP=...
#       -DCXXFILT=... [-DSONAME=...] -P check_exports.cmake
#
# Compares what a shared library offers with the reviewed list of demangled names, one a line.
if(FORMAT STREQUAL elf)
  execute_process(COMMAND ${NM} --dynamic --defined-only ${LIBRARY}
                  OUTPUT_VARIABLE output COMMAND_ERROR_IS_FATAL ANY)
  # 0000000000012340 T name
  string(REGEX MATCHALL "[0-9a-f]+ [A-Za-z] [^\n]+" lines "${output}")
  execute_process(COMMAND ${OBJDUMP} -p ${LIBRARY}
                  OUTPUT_VARIABLE output COMMAND_ERROR_IS_FATAL ANY)
  if(NOT output MATCHES "SONAME +${SONAME}\n")
    message(SEND_ERROR "${LIBRARY} does not call itself ${SONAME}")
  endif()
else()
  execute_process(COMMAND ${OBJDUMP} -p ${LIBRARY}
                  OUTPUT_VARIABLE output COMMAND_ERROR_IS_FATAL ANY)
  # Behind the heading, lines of:  [   0] +base[   1]  0000 name
  string(REGEX REPLACE ".*\\[Ordinal/Name Pointer\\] Table[^\n]*\n" "" output "${output}")
  string(REGEX MATCHALL "\n[ \t]*\\[ *[0-9]+\\][^\n]*" lines "\n${output}")
endif()
list(TRANSFORM lines REPLACE ".* " "")
# Not by NM, since each has its own way of writing types.
execute_process(COMMAND ${CXXFILT} ${lines}
                OUTPUT_VARIABLE names COMMAND_ERROR_IS_FATAL ANY)

string(STRIP "${names}" names)
string(REPLACE "\n" ";" names "${names}")
list(REMOVE_DUPLICATES names)  # a constructor's and a destructor's variants demangle alike
list(SORT names)
list(JOIN names "\n" actual)
string(APPEND actual "\n")

if(UPDATE)
  file(WRITE ${EXPECTED} "${actual}")
endif()
file(READ ${EXPECTED} expected)
if(NOT actual STREQUAL expected)
  message(SEND_ERROR "${LIBRARY} does not export what ${EXPECTED} lists but:\n${actual}")
endif()

# cmake -DPROGRAM=... -DWARNINGS=N -DLOG=... -P check_exit.cmake: runs a host and sees it end with its own
# status, 42, within 5 seconds of leaving, with the warning about a missing Uninit logged N times.
#
# Its output goes to files: a pipe may be held open by a service of Wine's that the program started.
execute_process(COMMAND ${PROGRAM} TIMEOUT 60 RESULT_VARIABLE status
                OUTPUT_FILE ${LOG}.out ERROR_FILE ${LOG}.err)
string(TIMESTAMP now "%s" UTC)
file(READ ${LOG}.out output)
file(READ ${LOG}.err errors)
string(LENGTH "${errors}" length)
if(length GREATER 4000)
  math(EXPR start "${length} - 4000")
  string(SUBSTRING "${errors}" ${start} -1 tail)
else()
  set(tail "${errors}")
endif()
if(NOT status STREQUAL 42 OR NOT output MATCHES "leaving at ([0-9]+)")
  message(FATAL_ERROR "ended with ${status}\n${output}${tail}")
endif()
math(EXPR took "${now} - ${CMAKE_MATCH_1}")
if(took GREATER 5)
  message(FATAL_ERROR "took ${took} seconds to end")
endif()

string(REGEX MATCHALL "warning! file.mivare/allocator_mgr. line.250." warnings "${errors}")
list(LENGTH warnings count)
if(NOT count EQUAL WARNINGS)
  message(FATAL_ERROR "warned ${count} times, not ${WARNINGS}\n${output}${tail}")
endif()

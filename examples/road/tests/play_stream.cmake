# Plays a made-up clip through the two programs and looks at the exit status, the report and the
# files. The folder's name has a letter outside ASCII.
string(REPLACE "|" ";" run "${EMULATOR}")
set(folder "${FOLDER}/clip é")
file(REMOVE_RECURSE "${FOLDER}")
file(MAKE_DIRECTORY "${FOLDER}")

function(play format width height frames expected)
  execute_process(COMMAND ${run} "${ROAD_CLIP}" ${format} ${width} ${height} ${frames}
                  COMMAND ${run} "${ROAD}" - "${folder}"
                  OUTPUT_VARIABLE report ERROR_VARIABLE errors RESULTS_VARIABLE results)
  list(GET results 1 status)
  if(NOT status EQUAL expected)
    message(FATAL_ERROR "${format}: exit status ${status}, not ${expected}\n${report}${errors}")
  endif()
  set(report "${report}" PARENT_SCOPE)
endfunction()

function(expect_size name size)
  file(SIZE "${folder}/${name}" actual)
  if(NOT actual EQUAL size)
    message(FATAL_ERROR "${name} has ${actual} bytes, not ${size}")
  endif()
endfunction()

play(yuv420p 322 182 21 0)
expect_size(first.yv12 87906)         # 322 * 182 * 3 / 2
expect_size(frame_00000.bmp 234470)   # 54 + 4 * 322 * 182
expect_size(frame_00010.bmp 234470)
expect_size(frame_00020.bmp 234470)
expect_size(reload.bmp 234470)
expect_size(reload.yv12 87906)
expect_size(reload.nv12 87906)
expect_size(sound.pcm 86016)          # 21 blocks of 1024 samples, 2 channels, 2 bytes
foreach(part "21 frames, 322 x 182 yuv420p" "in memory +21 of 21 frames  same" "in crops +21 of 21 frames  same" "first.yv12" "clip é"
             "reload.bmp +[0-9a-f]+, no noise  same" "reload.yv12 +[0-9a-f]+, no noise  same"
             "reload.nv12 +[0-9a-f]+, no noise  same" "luma of reload.yv12 +[0-9a-f]+  same"
             "everything is the same, nothing leaked")
  if(NOT report MATCHES "${part}")
    message(FATAL_ERROR "the report lacks \"${part}\":\n${report}")
  endif()
endforeach()

# A stream that is none, and wrong usage.
execute_process(COMMAND ${CMAKE_COMMAND} -E echo "no stream" COMMAND ${run} "${ROAD}" - "${folder}"
                OUTPUT_QUIET ERROR_VARIABLE errors RESULTS_VARIABLE results)
if(NOT results STREQUAL "0;3" OR NOT errors MATCHES "road --pipe CLIP")
  message(FATAL_ERROR "a stream that is none: exit status ${results}\n${errors}")
endif()
execute_process(COMMAND ${run} "${ROAD}" RESULT_VARIABLE status ERROR_VARIABLE errors)
if(NOT status EQUAL 3 OR NOT errors MATCHES "road CLIP OUTPUT_FOLDER")
  message(FATAL_ERROR "no arguments: exit status ${status}\n${errors}")
endif()

# cmake -DPROGRAM=... -DFOLDER=... -P check_first_program.cmake: runs the program in an empty folder,
# looks at the picture it leaves, and whether the README shows this program.
file(REMOVE_RECURSE ${FOLDER})
file(MAKE_DIRECTORY ${FOLDER})
execute_process(COMMAND ${PROGRAM} WORKING_DIRECTORY ${FOLDER} RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "the program ended with ${status}")
endif()

# 54 bytes of headers and 640 x 360 x 4 of picture.
file(SIZE ${FOLDER}/first.bmp size)
if(NOT size EQUAL 921654)
  message(FATAL_ERROR "first.bmp has ${size} bytes")
endif()
# "BM"; rows are stored from the bottom: row 359 is 179 grey, row 0 black.
file(READ ${FOLDER}/first.bmp magic LIMIT 2 HEX)
file(READ ${FOLDER}/first.bmp bottom OFFSET 54 LIMIT 4 HEX)
file(READ ${FOLDER}/first.bmp top OFFSET 921650 LIMIT 4 HEX)
if(NOT "${magic} ${bottom} ${top}" STREQUAL "424d b3b3b3b3 00000000")
  message(FATAL_ERROR "first.bmp holds ${magic} ${bottom} ${top}")
endif()

# What the README shows is this program.
file(READ ${CMAKE_CURRENT_LIST_DIR}/first_program.cpp program)
file(READ ${CMAKE_CURRENT_LIST_DIR}/../../README.md readme)
string(FIND "${readme}" "```cpp\n${program}```" position)
if(position EQUAL -1)
  message(FATAL_ERROR "README.md shows another first program")
endif()

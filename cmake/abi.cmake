# The libraries' binary interface as their public headers show it: types, layouts and signatures
# behind the exports. abi/dumps holds what was agreed; a test compares, and the target update_abi
# writes the dumps anew when a change is meant.
find_program(MIVARE_ABIDW abidw)
find_program(MIVARE_ABIDIFF abidiff)
if(WIN32 OR MIVARE_SANITIZE OR NOT MIVARE_ABIDIFF OR NOT CMAKE_CXX_COMPILER_ID STREQUAL GNU
   OR NOT CMAKE_BUILD_TYPE STREQUAL RelWithDebInfo)
  return()  # other builds describe the same types in other words, or not at all
endif()

# The tools read types from debug information, which names source files as they lie in the project.
foreach(target mivare_objects orlo trovel)
  target_compile_options(${target} PRIVATE -g -fdebug-prefix-map=${PROJECT_SOURCE_DIR}/=)
endforeach()

set(updates "")
foreach(library mivare orlo trovel)
  set(command ${CMAKE_COMMAND} -DABIDW=${MIVARE_ABIDW} -DABIDIFF=${MIVARE_ABIDIFF}
      -DLIBRARY=$<TARGET_FILE:${library}> -DEXPECTED=${PROJECT_SOURCE_DIR}/abi/dumps/${library}.abi
      -DFRESH=${PROJECT_BINARY_DIR}/abi/${library}.abi -DSOURCE_DIR=${PROJECT_SOURCE_DIR})
  add_test(NAME abi_of_${library}
           COMMAND ${command} -P ${PROJECT_SOURCE_DIR}/cmake/check_abi.cmake)
  set_tests_properties(abi_of_${library} PROPERTIES TIMEOUT 300)
  list(APPEND updates
       COMMAND ${command} -DUPDATE=1 -P ${PROJECT_SOURCE_DIR}/cmake/check_abi.cmake)
endforeach()
add_custom_target(update_abi ${updates} DEPENDS mivare orlo trovel VERBATIM
                  COMMENT "Writing abi/dumps anew")

# The libraries' binary interface as their public headers show it: types, layouts and signatures
# behind the exports. abi/dumps holds what was agreed; a test compares, and the target update_abi
# writes the dumps anew when a change is meant.
find_program(MIVARE_ABIDW abidw)
find_program(MIVARE_ABIDIFF abidiff)
if(WIN32 OR MIVARE_SANITIZE OR NOT CMAKE_CXX_COMPILER_ID STREQUAL GNU OR NOT MIVARE_ABIDIFF)
  return()  # other compilers describe the same types in other words
endif()

# The tools read types from debug information, which names source files as they lie in the project.
foreach(target mivare_objects orlo trovel)
  target_compile_options(${target} PRIVATE -g -fdebug-prefix-map=${PROJECT_SOURCE_DIR}/=)
endforeach()
# Public types in full, those behind them by name where that will do.
set(headers "")
set(new_headers "")
foreach(folder include/mivare orlo/include/orlo trovel/include/trovel)
  list(APPEND headers --headers-dir ${PROJECT_SOURCE_DIR}/${folder})
  list(APPEND new_headers --headers-dir2 ${PROJECT_SOURCE_DIR}/${folder})
endforeach()

set(updates "")
foreach(library mivare orlo trovel)
  set(dump ${PROJECT_SOURCE_DIR}/abi/dumps/${library}.abi)
  add_test(NAME abi_of_${library}
    COMMAND ${MIVARE_ABIDIFF} --exported-interfaces-only --drop-private-types ${new_headers}
            ${dump} $<TARGET_FILE:${library}>)
  set_tests_properties(abi_of_${library} PROPERTIES TIMEOUT 300)
  list(APPEND updates
    COMMAND ${MIVARE_ABIDW} --exported-interfaces-only --drop-private-types ${headers}
            --no-show-locs --no-comp-dir-path --no-corpus-path --no-elf-needed
            --no-parameter-names --drop-undefined-syms
            --out-file ${dump} $<TARGET_FILE:${library}>)
endforeach()
add_custom_target(update_abi ${updates} DEPENDS mivare orlo trovel VERBATIM
                  COMMENT "Writing abi/dumps anew")

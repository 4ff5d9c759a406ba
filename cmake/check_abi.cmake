# cmake -DABIDW=... -DABIDIFF=... -DLIBRARY=... -DEXPECTED=... -DFRESH=... -DSOURCE_DIR=...
#       [-DUPDATE=1] -P check_abi.cmake
#
# Dumps a library's binary interface, types of the public headers in full, and compares the dump
# with the committed one. Dumps are compared with dumps: a library has more to show than they hold.
set(dump ${FRESH})
if(UPDATE)
  set(dump ${EXPECTED})
endif()
execute_process(
  COMMAND ${ABIDW} --exported-interfaces-only --drop-private-types
          --headers-dir ${SOURCE_DIR}/include/mivare --headers-dir ${SOURCE_DIR}/orlo/include/orlo
          --headers-dir ${SOURCE_DIR}/trovel/include/trovel
          --no-show-locs --no-comp-dir-path --no-corpus-path --no-elf-needed --no-parameter-names
          --type-id-style hash --drop-undefined-syms --out-file ${dump} ${LIBRARY}
  COMMAND_ERROR_IS_FATAL ANY)
if(UPDATE)
  return()
endif()
execute_process(COMMAND ${ABIDIFF} ${EXPECTED} ${FRESH} RESULT_VARIABLE status OUTPUT_VARIABLE changes
                ERROR_VARIABLE changes)
if(NOT status STREQUAL 0)
  message(FATAL_ERROR "${LIBRARY} is not what ${EXPECTED} says (the target update_abi renews it if "
                      "that is meant):\n${changes}")
endif()

# cmake -DCLANG=... -DSOURCE_DIR=... -P check_slots.cmake
#
# Lays the public interfaces out as compilers with Microsoft's ABI do, and compares the tables with
# the reviewed list in abi/slots.
set(expected_file ${SOURCE_DIR}/abi/slots/windows_msvc.txt)
execute_process(
  COMMAND ${CLANG} --target=x86_64-pc-windows-msvc -std=c++20 -nostdinc
          -I${SOURCE_DIR}/tests/abi_stubs -I${SOURCE_DIR}/include -I${SOURCE_DIR}/orlo/include
          -Xclang -fdump-vtable-layouts -S -emit-llvm -o - ${SOURCE_DIR}/tests/abi_stubs/interfaces.cpp
  OUTPUT_VARIABLE output ERROR_VARIABLE problems RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "the interfaces do not compile for Windows:\n${problems}")
endif()

# Of the compiler's report the tables of the interfaces themselves, in the order of their names:
#   VFTable for 'mivare::IMediaDesc' (56 entries).
#      2 | uint32_t mivare::IMediaDesc::GetMediaType() const [pure]
string(REGEX REPLACE ";" "," output "${output}")
string(REGEX REPLACE "\n" ";" lines "${output}")
set(tables "")
set(name "")
foreach(line IN LISTS lines)
  if(line MATCHES "^VFTable for '([^']*)' \\(([0-9]+) entries\\)")
    set(name ${CMAKE_MATCH_1})
    if(name MATCHES "Laid" OR DEFINED table_${name})
      set(name "")
    else()
      list(APPEND tables ${name})
      set(table_${name} "${name}\n")
    endif()
  elseif(line MATCHES "^VFTable ")
    set(name "")
  elseif(name AND NOT line MATCHES " RTTI$" AND line MATCHES "^ +([0-9]+) \\| (.*)$")
    string(REPLACE " [pure]" "" slot "${CMAKE_MATCH_2}")
    string(APPEND table_${name} "  ${CMAKE_MATCH_1}  ${slot}\n")
  endif()
endforeach()
list(SORT tables)
set(actual "")
foreach(name IN LISTS tables)
  string(APPEND actual "${table_${name}}\n")
endforeach()

if(UPDATE)
  file(WRITE ${expected_file} "${actual}")
  return()
endif()
file(READ ${expected_file} expected)
if(NOT actual STREQUAL expected)
  message(FATAL_ERROR "the tables differ from ${expected_file}; they are now:\n${actual}")
endif()

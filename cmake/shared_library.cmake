# mivare_export_map(map list): a linker's version script that exports what a reviewed list names: C
# functions by their plain names, everything else demangled, one a line.
function(mivare_export_map map list)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${list})
  file(STRINGS ${list} names)
  set(c "")
  set(cxx "")
  foreach(name IN LISTS names)
    if(name MATCHES "^[A-Za-z0-9_]+$")
      string(APPEND c "    ${name};\n")
    else()
      string(APPEND cxx "      \"${name}\";\n")
    endif()
  endforeach()
  file(CONFIGURE OUTPUT ${map} @ONLY CONTENT
       "{\n  global:\n@c@    extern \"C++\" {\n@cxx@    };\n  local: *;\n};\n")
endfunction()

# mivare_shared_library(name): what the three libraries of this project have in common: hidden
# symbols but for the reviewed list in abi/exports, a versioned SONAME, and on Windows a DLL of the
# plain name.
function(mivare_shared_library name)
  set_target_properties(${name} PROPERTIES
    VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR} INSTALL_RPATH "$ORIGIN")
  add_library(mivare::${name} ALIAS ${name})
  mivare_install(${name})
  if(WIN32)
    set_target_properties(${name} PROPERTIES PREFIX "" IMPORT_PREFIX lib)
    return()
  endif()
  set(map ${PROJECT_BINARY_DIR}/abi/${name}.map)
  mivare_export_map(${map} ${PROJECT_SOURCE_DIR}/abi/exports/${name}.elf.txt)
  target_link_options(${name} PRIVATE -Wl,--version-script=${map})
  set_target_properties(${name} PROPERTIES LINK_DEPENDS ${map})
  # A sanitizer's runtime comes with the program, so its symbols are missing here.
  if(NOT MIVARE_SANITIZE)
    target_link_options(${name} PRIVATE -Wl,-z,defs)
  endif()
endfunction()

# mivare_private_headers(target folder...): lets a target include folders of the system's header
# root without putting the whole root on the path, which a cross compiler must never see.
function(mivare_private_headers target)
  set(root ${PROJECT_BINARY_DIR}/private_headers)
  file(MAKE_DIRECTORY ${root})
  foreach(folder IN LISTS ARGN)
    if(NOT EXISTS /usr/include/${folder})
      message(FATAL_ERROR "/usr/include/${folder} is missing; ./check installs what is needed")
    endif()
    file(CREATE_LINK /usr/include/${folder} ${root}/${folder} SYMBOLIC)
  endforeach()
  target_include_directories(${target} SYSTEM PRIVATE ${root})
endfunction()

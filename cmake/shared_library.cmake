# mivare_shared_library(name): what the three libraries of this project have in common: hidden
# symbols but for the reviewed list in abi/, a versioned SONAME, and on Windows a DLL of the plain
# name.
function(mivare_shared_library name)
  set_target_properties(${name} PROPERTIES
    VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})
  if(WIN32)
    set_target_properties(${name} PROPERTIES PREFIX "" IMPORT_PREFIX lib)
    return()
  endif()
  set(map ${PROJECT_SOURCE_DIR}/abi/${name}.map)
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

# Installs headers listed relative to BASE, keeping their subdirectories.
function(om_install_headers BASE)
  foreach(header ${ARGN})
    get_filename_component(subdir "${header}" DIRECTORY)
    install(FILES "${BASE}/${header}" DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/${subdir}")
  endforeach()
endfunction()

# Every piece of a library keeps its file list in a sources.cmake of its own
# directory; the library includes those that exist, so a new piece never has
# to touch a shared list.
macro(om_include_pieces DIR)
  file(GLOB _om_pieces LIST_DIRECTORIES true CONFIGURE_DEPENDS "${DIR}/*")
  list(SORT _om_pieces)
  foreach(_piece ${_om_pieces})
    if(EXISTS "${_piece}/sources.cmake")
      include("${_piece}/sources.cmake")
    endif()
  endforeach()
endmacro()

# Adds every subdirectory of DIR that has a CMakeLists.txt.
macro(om_add_subdirectories DIR)
  file(GLOB _om_subdirs LIST_DIRECTORIES true CONFIGURE_DEPENDS "${DIR}/*")
  list(SORT _om_subdirs)
  foreach(_sub ${_om_subdirs})
    if(IS_DIRECTORY "${_sub}" AND EXISTS "${_sub}/CMakeLists.txt")
      add_subdirectory("${_sub}")
    endif()
  endforeach()
endmacro()

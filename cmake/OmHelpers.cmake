# Installs headers listed relative to BASE, keeping their subdirectories.
function(om_install_headers BASE)
  foreach(header ${ARGN})
    get_filename_component(subdir "${header}" DIRECTORY)
    install(FILES "${BASE}/${header}" DESTINATION "${OM_INSTALL_INCLUDEDIR}/${subdir}")
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

# Installs library TARGET as CMake package PACKAGE (with the Qt suffix,
# OmPlatform or OmPlatformQt6) and pkg-config module PC (omplatform or
# omplatform-qt6): the library, its export set, a Config file from
# CONFIG_IN, a version file and a .pc file from PC_IN. Both files are
# relocatable: they find the prefix from where they are installed, so they
# are right under lib/ as under Debian's lib/x86_64-linux-gnu/.
function(om_install_library)
  cmake_parse_arguments(L "" "TARGET;PACKAGE;PC;CONFIG_IN;PC_IN" "" ${ARGN})
  set(_pkgdir ${CMAKE_INSTALL_LIBDIR}/cmake/${L_PACKAGE})
  install(TARGETS ${L_TARGET} EXPORT ${L_PACKAGE}Targets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
    INCLUDES DESTINATION ${OM_INSTALL_INCLUDEDIR})
  install(EXPORT ${L_PACKAGE}Targets NAMESPACE ${L_PACKAGE}:: DESTINATION ${_pkgdir})
  configure_package_config_file(${L_CONFIG_IN}
    ${CMAKE_CURRENT_BINARY_DIR}/${L_PACKAGE}Config.cmake
    INSTALL_DESTINATION ${_pkgdir})
  write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/${L_PACKAGE}ConfigVersion.cmake
    COMPATIBILITY SameMajorVersion)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${L_PACKAGE}Config.cmake
    ${CMAKE_CURRENT_BINARY_DIR}/${L_PACKAGE}ConfigVersion.cmake
    DESTINATION ${_pkgdir})

  # pkg-config: the prefix as seen from the .pc file's own directory.
  file(RELATIVE_PATH OM_PC_UP ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
  string(REGEX REPLACE "/$" "" OM_PC_UP "${OM_PC_UP}")
  foreach(_kind LIBDIR INCLUDEDIR)
    if(_kind STREQUAL INCLUDEDIR)
      set(_dir ${OM_INSTALL_INCLUDEDIR})
    else()
      set(_dir ${CMAKE_INSTALL_LIBDIR})
    endif()
    if(IS_ABSOLUTE "${_dir}")
      set(OM_PC_${_kind} "${_dir}")
    else()
      set(OM_PC_${_kind} "\${prefix}/${_dir}")
    endif()
  endforeach()
  configure_file(${L_PC_IN} ${CMAKE_CURRENT_BINARY_DIR}/${L_PC}.pc @ONLY)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${L_PC}.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endfunction()

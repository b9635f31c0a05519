# Chooses Qt 5 or Qt 6 for the whole tree. The major version comes from
# -DOM_QT_MAJOR=5|6, else from Qt's own QT_DEFAULT_MAJOR_VERSION, else 5.
#
# Sets:
#   OM_QT                  Qt5 or Qt6: the package and target prefix, as in
#                          find_package(${OM_QT} ...) and ${OM_QT}::Core.
#   OM_QT_MIN              the oldest Qt of that major the tree supports.
#   OM_NAME_SUFFIX         "" for Qt 5, "Qt6" for Qt 6: CMake package names
#                          (OmPlatform, OmPlatformQt6).
#   OM_FILE_SUFFIX         "" for Qt 5, "-qt6" for Qt 6: library and
#                          pkg-config names (libomplatform, libomplatform-qt6).
#   OM_INSTALL_INCLUDEDIR  where the headers go: the include directory for
#                          Qt 5, a subdirectory of it for Qt 6, so that both
#                          builds install into one prefix side by side.
if(NOT DEFINED OM_QT_MAJOR)
  if(DEFINED QT_DEFAULT_MAJOR_VERSION)
    set(_om_qt_default ${QT_DEFAULT_MAJOR_VERSION})
  else()
    set(_om_qt_default 5)
  endif()
endif()
set(OM_QT_MAJOR ${_om_qt_default} CACHE STRING "Qt major version to build against (5 or 6)")
set_property(CACHE OM_QT_MAJOR PROPERTY STRINGS 5 6)

if(OM_QT_MAJOR EQUAL 5)
  set(OM_QT Qt5)
  set(OM_QT_MIN 5.15)
  set(OM_NAME_SUFFIX "")
  set(OM_FILE_SUFFIX "")
  set(OM_INSTALL_INCLUDEDIR ${CMAKE_INSTALL_INCLUDEDIR})
  # A stray find_package(Qt6) would mix two Qt libraries in one process.
  set(CMAKE_DISABLE_FIND_PACKAGE_Qt6 ON)
elseif(OM_QT_MAJOR EQUAL 6)
  set(OM_QT Qt6)
  set(OM_QT_MIN 6.2)
  set(OM_NAME_SUFFIX "Qt6")
  set(OM_FILE_SUFFIX "-qt6")
  set(OM_INSTALL_INCLUDEDIR ${CMAKE_INSTALL_INCLUDEDIR}/omplatform-qt6)
  set(CMAKE_DISABLE_FIND_PACKAGE_Qt5 ON)
else()
  message(FATAL_ERROR "OM_QT_MAJOR must be 5 or 6, not '${OM_QT_MAJOR}'")
endif()
set(QT_DEFAULT_MAJOR_VERSION ${OM_QT_MAJOR})
message(STATUS "Building against Qt ${OM_QT_MAJOR}: libomplatform${OM_FILE_SUFFIX}, "
               "find_package(OmPlatform${OM_NAME_SUFFIX}), pkg-config omplatform${OM_FILE_SUFFIX}")

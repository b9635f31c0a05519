# The home screen and platform information.
list(APPEND OMPLATFORM_SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/homescreen_p.h
  ${CMAKE_CURRENT_LIST_DIR}/homescreen.cpp
  ${CMAKE_CURRENT_LIST_DIR}/homescreenprivate.cpp
  ${CMAKE_CURRENT_LIST_DIR}/platforminfo_p.h
  ${CMAKE_CURRENT_LIST_DIR}/platforminfo.cpp)
list(APPEND OMPLATFORM_PUBLIC_HEADERS
  om/platform/devicelockstate.h
  om/platform/homescreen.h
  om/platform/platforminfo.h
  om/platform/wallpaperlockstate.h
  om/platform/wallpaperresult.h)

# The maps family: the content format, the invokers and their enumerations.
list(APPEND OMPLATFORM_SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/contentformatutility.cpp
  ${CMAKE_CURRENT_LIST_DIR}/mapenumerations.cpp
  ${CMAKE_CURRENT_LIST_DIR}/mapinvoker_p.h
  ${CMAKE_CURRENT_LIST_DIR}/mapinvoker.cpp
  ${CMAKE_CURRENT_LIST_DIR}/locationmapinvoker_p.h
  ${CMAKE_CURRENT_LIST_DIR}/locationmapinvoker.cpp
  ${CMAKE_CURRENT_LIST_DIR}/routemapinvoker_p.h
  ${CMAKE_CURRENT_LIST_DIR}/routemapinvoker.cpp)
list(APPEND OMPLATFORM_PUBLIC_HEADERS
  om/platform/contentformatutility.h
  om/platform/handsfreenavigation.h
  om/platform/locationmapinvoker.h
  om/platform/mapinvoker.h
  om/platform/mapnavigationmode.h
  om/platform/mapsearchmode.h
  om/platform/maptransportationmode.h
  om/platform/mapviewmode.h
  om/platform/routemapinvoker.h
  om/platform/typicalmapaltitude.h)

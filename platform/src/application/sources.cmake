# The application's package and its UI toolkit helpers.
list(APPEND OMSYS_SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/packageinfo.cpp
  ${CMAKE_CURRENT_LIST_DIR}/uitoolkitsupport.cpp
  ${PROJECT_SOURCE_DIR}/platform/include/om/packageinfo.h)
list(APPEND OMSYS_PUBLIC_HEADERS
  om/packageinfo.h
  om/uitoolkitsupport.h)

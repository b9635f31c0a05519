list(APPEND OMPLATFORM_SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/adarpdomain_p.h
  ${CMAKE_CURRENT_LIST_DIR}/adarpdomain.cpp
  ${PROJECT_SOURCE_DIR}/include/om/platform/adarpdomain.h
  ${PROJECT_SOURCE_DIR}/include/om/platform/datalockstate.h)
list(APPEND OMPLATFORM_PUBLIC_HEADERS
  om/platform/adarpdomain.h
  om/platform/datalockstate.h)

list(APPEND OMPLATFORM_SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/notificationssharedconstants.h
  ${CMAKE_CURRENT_LIST_DIR}/notificationssharedconstants.cpp)
list(APPEND OMPLATFORM_PUBLIC_HEADERS
  om/platform/notificationerror.h)

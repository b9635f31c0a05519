list(APPEND OMPLATFORM_SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/notificationssharedconstants.h
  ${CMAKE_CURRENT_LIST_DIR}/notificationssharedconstants.cpp)
list(APPEND OMPLATFORM_PUBLIC_HEADERS
  om/platform/notificationerror.h)
list(APPEND OMPLATFORM_SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/notification_p.h
  ${CMAKE_CURRENT_LIST_DIR}/notification.cpp
  ${CMAKE_CURRENT_LIST_DIR}/notificationdialog_p.h
  ${CMAKE_CURRENT_LIST_DIR}/notificationdialog.cpp)
list(APPEND OMPLATFORM_PUBLIC_HEADERS
  om/platform/notification.h
  om/platform/notificationdialog.h
  om/platform/notificationtype.h
  om/platform/notificationresult.h)

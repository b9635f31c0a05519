list(APPEND OMPLATFORM_SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/settingscommon_p.h
  ${CMAKE_CURRENT_LIST_DIR}/settingscommon.cpp
  ${CMAKE_CURRENT_LIST_DIR}/notificationglobalsettings_p.h
  ${CMAKE_CURRENT_LIST_DIR}/notificationglobalsettings.cpp
  ${CMAKE_CURRENT_LIST_DIR}/notificationapplicationsettings_p.h
  ${CMAKE_CURRENT_LIST_DIR}/notificationapplicationsettings.cpp
  ${CMAKE_CURRENT_LIST_DIR}/notificationdefaultapplicationsettings_p.h
  ${CMAKE_CURRENT_LIST_DIR}/notificationdefaultapplicationsettings.cpp)
list(APPEND OMPLATFORM_PUBLIC_HEADERS
  om/platform/notificationpolicy.h
  om/platform/notificationmode.h
  om/platform/notificationsettingserror.h
  om/platform/notificationprioritypolicy.h
  om/platform/notificationglobalsettings.h
  om/platform/notificationapplicationsettings.h
  om/platform/notificationdefaultapplicationsettings.h)

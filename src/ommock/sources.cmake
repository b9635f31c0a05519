list(APPEND OMPLATFORM_SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/notificationppschannel.cpp)
list(APPEND OMPLATFORM_PUBLIC_HEADERS
  om/platform/ommock/notificationppschannel.h)

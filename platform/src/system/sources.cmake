# Invocation and system UI classes of om::system.
list(APPEND OMSYS_SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/invokerequest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/systemuibutton.cpp
  ${PROJECT_SOURCE_DIR}/platform/include/om/system/systemuibutton.h
  ${PROJECT_SOURCE_DIR}/platform/include/om/system/filetransfermode.h
  ${PROJECT_SOURCE_DIR}/platform/include/om/system/invoketarget.h
  ${PROJECT_SOURCE_DIR}/platform/include/om/system/securityperimeter.h)
list(APPEND OMSYS_PUBLIC_HEADERS
  om/system/filetransfermode.h
  om/system/invokerequest.h
  om/system/invoketarget.h
  om/system/securityperimeter.h
  om/system/systemuibutton.h)

# The invocation framework: InvokeManager and its replies, over the
# invocation service's control object.
list(APPEND OMSYS_SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/invokeprotocol_p.h
  ${CMAKE_CURRENT_LIST_DIR}/invokeprotocol.cpp
  ${CMAKE_CURRENT_LIST_DIR}/invokereply_p.h
  ${CMAKE_CURRENT_LIST_DIR}/invokereply.cpp
  ${CMAKE_CURRENT_LIST_DIR}/invokemanager.cpp
  ${PROJECT_SOURCE_DIR}/platform/include/om/system/invokemanager.h
  ${PROJECT_SOURCE_DIR}/platform/include/om/system/invokereply.h
  ${PROJECT_SOURCE_DIR}/platform/include/om/system/invoketargetreply.h)
list(APPEND OMSYS_PUBLIC_HEADERS
  om/system/invokemanager.h
  om/system/invokereply.h
  om/system/invoketargetreply.h)

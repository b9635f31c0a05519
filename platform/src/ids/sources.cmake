# libids: the identity client, and the wire protocol it shares with the
# device's identity service and omctl.
list(APPEND OMSYS_SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/ids.cpp
  ${CMAKE_CURRENT_LIST_DIR}/idsprotocol_p.h
  ${CMAKE_CURRENT_LIST_DIR}/idsprotocol.cpp
  ${PROJECT_SOURCE_DIR}/platform/include/ids/ids.h)
list(APPEND OMSYS_PUBLIC_HEADERS
  ids/ids.h)

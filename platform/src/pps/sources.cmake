# The bus client, the PPS text codec and pps_open(). The bus rules and the
# socket helpers (buspolicy, bussocket) are compiled into the broker too.
list(APPEND OMSYS_SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/busprotocol_p.h
  ${CMAKE_CURRENT_LIST_DIR}/busclient.cpp
  ${CMAKE_CURRENT_LIST_DIR}/buspolicy_p.h
  ${CMAKE_CURRENT_LIST_DIR}/buspolicy.cpp
  ${CMAKE_CURRENT_LIST_DIR}/bussocket_p.h
  ${CMAKE_CURRENT_LIST_DIR}/bussocket.cpp
  ${CMAKE_CURRENT_LIST_DIR}/connectionwatcher_p.h
  ${CMAKE_CURRENT_LIST_DIR}/connectionwatcher.cpp
  ${CMAKE_CURRENT_LIST_DIR}/ppscodec_p.h
  ${CMAKE_CURRENT_LIST_DIR}/ppscodec.cpp
  ${CMAKE_CURRENT_LIST_DIR}/ppsobject.cpp
  ${CMAKE_CURRENT_LIST_DIR}/ppsopen.cpp
  ${CMAKE_CURRENT_LIST_DIR}/serverendpoint_p.h
  ${CMAKE_CURRENT_LIST_DIR}/serverendpoint.cpp
  ${PROJECT_SOURCE_DIR}/platform/include/om/ppsobject.h
  ${PROJECT_SOURCE_DIR}/platform/include/om/ppsopenmode.h)
list(APPEND OMSYS_PUBLIC_HEADERS
  om/ppsobject.h
  om/ppsopenmode.h
  sys/pps.h)

# The platform services library: the core event library, the navigator and
# device information, with their C interfaces.
list(APPEND OMSYS_SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/oms_p.h
  ${CMAKE_CURRENT_LIST_DIR}/navigatorprotocol_p.h
  ${CMAKE_CURRENT_LIST_DIR}/devicepropertiesprotocol_p.h
  ${CMAKE_CURRENT_LIST_DIR}/omscore.cpp
  ${CMAKE_CURRENT_LIST_DIR}/servicesconnection.cpp
  ${CMAKE_CURRENT_LIST_DIR}/navigator.cpp
  ${CMAKE_CURRENT_LIST_DIR}/deviceinfo.cpp)
list(APPEND OMSYS_PUBLIC_HEADERS
  oms/oms.h
  oms/navigator.h
  oms/deviceinfo.h)

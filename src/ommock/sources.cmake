list(APPEND OMPLATFORM_SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/notificationppschannel.cpp)
list(APPEND OMPLATFORM_PUBLIC_HEADERS
  om/platform/ommock/notificationppschannel.h)
# The facade on the platform services library.
list(APPEND OMPLATFORM_SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/omsapi_p.h
  ${CMAKE_CURRENT_LIST_DIR}/omsapi.cpp
  ${CMAKE_CURRENT_LIST_DIR}/omscoreimpl.cpp
  ${CMAKE_CURRENT_LIST_DIR}/omsdeviceinfoimpl.cpp
  ${CMAKE_CURRENT_LIST_DIR}/omsnavigatorimpl.cpp)
list(APPEND OMPLATFORM_PUBLIC_HEADERS
  om/platform/ommock/omsapi.h
  om/platform/ommock/omscore.h
  om/platform/ommock/omscoreimpl.h
  om/platform/ommock/omsdeviceinfo.h
  om/platform/ommock/omsdeviceinfoimpl.h
  om/platform/ommock/omseventprovider.h
  om/platform/ommock/omsnavigator.h
  om/platform/ommock/omsnavigatorimpl.h)
# The wire layer of payments.
list(APPEND OMPLATFORM_SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/paymentserviceinterface.cpp
  ${CMAKE_CURRENT_LIST_DIR}/paymentserviceinterfaceimpl_p.h
  ${CMAKE_CURRENT_LIST_DIR}/paymentserviceinterfaceimpl.cpp)
list(APPEND OMPLATFORM_PUBLIC_HEADERS
  om/platform/ommock/paymentserviceinterface.h
  om/platform/ommock/responseinfo.h)

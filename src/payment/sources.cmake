# Payments: receipts and response values, the request pipeline, the
# manager and its replies. The wire layer is in src/ommock.
list(APPEND OMPLATFORM_SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/paymentmanager_p.h
  ${CMAKE_CURRENT_LIST_DIR}/paymentmanager.cpp
  ${CMAKE_CURRENT_LIST_DIR}/paymentreply_p.h
  ${CMAKE_CURRENT_LIST_DIR}/paymentreply.cpp
  ${CMAKE_CURRENT_LIST_DIR}/paymentservice.cpp
  ${CMAKE_CURRENT_LIST_DIR}/paymentserviceimpl_p.h
  ${CMAKE_CURRENT_LIST_DIR}/paymentserviceresponse_p.h
  ${CMAKE_CURRENT_LIST_DIR}/paymentserviceresponse.cpp
  ${CMAKE_CURRENT_LIST_DIR}/purchasereceipt_p.h
  ${CMAKE_CURRENT_LIST_DIR}/purchasereceipt.cpp
  ${CMAKE_CURRENT_LIST_DIR}/request_p.h
  ${CMAKE_CURRENT_LIST_DIR}/request.cpp)
list(APPEND OMPLATFORM_PUBLIC_HEADERS
  om/platform/cancelsubscriptionreply.h
  om/platform/cancelsubscriptionresponseinfo.h
  om/platform/checkstatusresponseinfo.h
  om/platform/digitalgoodreply.h
  om/platform/digitalgoodresponse.h
  om/platform/digitalgoodstate.h
  om/platform/existingpurchasesreply.h
  om/platform/existingpurchasesresponseinfo.h
  om/platform/paymentconnectionmode.h
  om/platform/paymenterrorcode.h
  om/platform/paymentmanager.h
  om/platform/paymentreply.h
  om/platform/paymentservice.h
  om/platform/paymentserviceresponse.h
  om/platform/pricereply.h
  om/platform/priceresponseinfo.h
  om/platform/purchasereceipt.h
  om/platform/purchasereply.h
  om/platform/purchaseresponseinfo.h
  om/platform/subscriptionstatusreply.h
  om/platform/subscriptiontermsreply.h
  om/platform/subscriptiontermsresponseinfo.h)

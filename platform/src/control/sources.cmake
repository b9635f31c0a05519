# The envelope of requests and answers on control objects.
list(APPEND OMSYS_SOURCES ${CMAKE_CURRENT_LIST_DIR}/controlprotocol_p.h)

# The notification service's objects and messages.
list(APPEND OMSYS_SOURCES ${CMAKE_CURRENT_LIST_DIR}/notifyprotocol_p.h)

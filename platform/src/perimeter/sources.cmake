# The perimeter manager's objects and messages.
list(APPEND OMSYS_SOURCES ${CMAKE_CURRENT_LIST_DIR}/perimeterprotocol_p.h)

# libpps: the PPS encoder and decoder of sys/pps.h.
list(APPEND OMSYS_SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/ppstext_p.h
  ${CMAKE_CURRENT_LIST_DIR}/ppsencoder.cpp
  ${CMAKE_CURRENT_LIST_DIR}/ppsdecoder.cpp)

# slogf: the system log.
list(APPEND OMSYS_SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/slog.cpp)
list(APPEND OMSYS_PUBLIC_HEADERS
  sys/slog.h)

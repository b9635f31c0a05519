# slogf and slog2: the system log.
list(APPEND OMSYS_SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/slog_p.h
  ${CMAKE_CURRENT_LIST_DIR}/slog.cpp
  ${CMAKE_CURRENT_LIST_DIR}/slog2.cpp
  ${PROJECT_SOURCE_DIR}/platform/include/sys/slog2.h)
list(APPEND OMSYS_PUBLIC_HEADERS
  sys/slog.h
  sys/slog2.h)

# Counts the warnings in Doxygen's log LOG and fails when there are more
# than MAX: the count may only go down.
set(_count 0)
if(EXISTS "${LOG}")
  file(STRINGS "${LOG}" _lines REGEX "warning:")
  list(LENGTH _lines _count)
endif()
message("docs: ${_count} Doxygen warnings (at most ${MAX}); ${HTML}")
if(_count GREATER MAX)
  message(FATAL_ERROR "docs: ${_count} warnings, more than ${MAX}; see ${LOG}")
endif()

# SPDX-License-Identifier: MIT
# Finds libevent 2.0 or later. libevent 1 lacks event_get_base and event_debug_unassign.

include(CheckCXXSourceCompiles)
find_library(EVENT_CORE_LIBRARY event_core)
find_path(EVENT_CORE_INCLUDE_DIR event2/event.h)
if(EVENT_CORE_LIBRARY AND EVENT_CORE_INCLUDE_DIR)
  set(CMAKE_REQUIRED_INCLUDES ${EVENT_CORE_INCLUDE_DIR})
  set(CMAKE_REQUIRED_LIBRARIES ${EVENT_CORE_LIBRARY})
  check_cxx_source_compiles([[
    #include <event2/event.h>
    #if LIBEVENT_VERSION_NUMBER < 0x02000000
    #error "too old"
    #endif
    int main() {
        event_debug_unassign(nullptr);
        return event_get_base(nullptr) != nullptr;
    }
  ]] VELUTILS_HAVE_LIBEVENT)
  unset(CMAKE_REQUIRED_INCLUDES)
  unset(CMAKE_REQUIRED_LIBRARIES)
endif()
if(NOT VELUTILS_HAVE_LIBEVENT)
  unset(VELUTILS_HAVE_LIBEVENT CACHE)  # look again next time
  message(FATAL_ERROR "libevent 2.0 or later is required (Debian: libevent-dev)")
endif()

# What belongs to a deployment rather than to the program. Override with -DKELVO_...=VALUE.
set(KELVO_DEFAULT_SERVER "sync.kelvo.example" CACHE STRING "Sync server of an account that names none")
set(KELVO_DEFAULT_WEB_SERVER "www.kelvo.example" CACHE STRING "Web server of an account that names none")
set(KELVO_LOG_SENDER "sync.kelvo.example" CACHE STRING "Sender attribute of system log messages")
set(KELVO_COPYRIGHT "Copyright the Kelvo Finder Sync authors" CACHE STRING "Copyright line in texts")
set(KELVO_CLIENT_ID "7QK31MZ0R9C4TW8N2B6YH05FXJ3V" CACHE STRING "Client identifier issued by the web API")
set(KELVO_MAINTAINER "Kelvo Finder Sync authors <finder-sync@kelvo.example>"
  CACHE STRING "Maintainer of the packages")
configure_file(${CMAKE_SOURCE_DIR}/cmake/deployment.h.in ${CMAKE_BINARY_DIR}/generated/deployment.h @ONLY)

# Vendor: Vendor.h of the vendor's folder, and VendorNames.h with the values of vendor.cmake as texts for C++, which
# scripts/package and ./demo read too.
foreach(name COMPANY PRODUCT DESCRIPTION COPYRIGHT PROGRAM LIBRARY UPDATER SHORT_NAME INSTALLATION_FOLDER UPGRADE_CODE
    DRIVER_STORE DEFAULT_PRODUCT DATA_FOLDER LOG_FOLDER INSTANCE_GUARD VERSION)
  set(text "${VENDOR_${name}}")
  if(text STREQUAL "")
    message(FATAL_ERROR "${SCANKELV_VENDOR}/vendor.cmake does not set VENDOR_${name}")
  endif()
  # The names are parts of 8-bit texts, formats, paths and scripts.
  if(NOT name MATCHES "^(COMPANY|PRODUCT|DESCRIPTION|COPYRIGHT)$" AND NOT text MATCHES "^[A-Za-z0-9 ._{}\\-]+$")
    message(FATAL_ERROR "VENDOR_${name} is ${text}; only ASCII letters, digits, blanks and ._-{}\\ can be used in it")
  endif()
  string(REGEX REPLACE "([\\\"])" "\\\\\\1" text "${text}")
  string(APPEND names "#define VENDOR_${name} \"${text}\"\n")
endforeach()
if(NOT PROJECT_VERSION MATCHES "^[0-9]+[.][0-9]+[.][0-9]+[.][0-9]+$")
  message(FATAL_ERROR "VENDOR_VERSION is ${PROJECT_VERSION}; it must be four numbers, such as 1.1.39.0")
endif()
string(REPEAT "[0-9A-Fa-f]" 4 four)
if(NOT VENDOR_UPGRADE_CODE MATCHES "^{${four}${four}-${four}-${four}-${four}-${four}${four}${four}}$")
  message(FATAL_ERROR "VENDOR_UPGRADE_CODE is ${VENDOR_UPGRADE_CODE}; it must be a GUID in braces")
endif()

file(GENERATE OUTPUT ${CMAKE_BINARY_DIR}/generated/VendorNames.h CONTENT "#pragma once\n${names}")
add_library(Vendor INTERFACE)
target_include_directories(Vendor INTERFACE ${SCANKELV_VENDOR} ${CMAKE_BINARY_DIR}/generated)

# What the compiler cannot see in the agent's sources. Fails with one line for each offence.
#   cmake -DSOURCES=<folder of the checkout> -P sources.cmake
#
# - Nothing there tells one system from another or names the wide character's own type: the same text is built for both.
# - An include names a header of the file's own room or of a room before it in the list of rooms, never one above.
cmake_minimum_required(VERSION 3.25)

set(rooms # from the lowest to the highest
  diagnostics PlatformIsolation/PlatformWindows
  PlatformWindows/FindwellInterface PlatformWindows/Xml PlatformWindows/Options PlatformWindows/SelectedDevice
  PlatformWindows/FilterText PlatformWindows/Agent)
set(before "(^|[^A-Za-z0-9_])") # no letter before the word, as the language of these expressions has no word border
set(after "([^A-Za-z0-9_]|$)")
set(forbidden
  "_WIN32" "__linux__" "${before}wchar_t${after}" "std::wstring" "${before}wcs[a-z]+ *\\(" "(^|[^A-Za-z0-9_\"])L\"")

set(offences 0)
macro(offence text)
  message("${text}")
  math(EXPR offences "${offences} + 1")
endmacro()

file(GLOB_RECURSE all "${SOURCES}/diagnostics/*" "${SOURCES}/PlatformIsolation/*" "${SOURCES}/PlatformWindows/*")
set(files ${all})
list(FILTER files INCLUDE REGEX "\\.(h|cpp)$")
list(LENGTH files count)
if(count LESS 20)
  message(FATAL_ERROR "only ${count} sources below ${SOURCES}: the wrong folder")
endif()

function(room_of file index)
  list(LENGTH rooms last)
  math(EXPR last "${last} - 1")
  foreach(i RANGE ${last})
    list(GET rooms ${i} room)
    if(file MATCHES "^${SOURCES}/${room}/[^/]+$")
      set(${index} ${i} PARENT_SCOPE)
      return()
    endif()
  endforeach()
  set(${index} -1 PARENT_SCOPE)
endfunction()

foreach(file ${files})
  room_of("${file}" index)
  get_filename_component(name "${file}" NAME)
  if(index EQUAL -1)
    offence("${file}: lies in no room")
  elseif(name MATCHES "\\.h$")
    if(DEFINED room_of_${name})
      offence("${file}: another room has a header of this name")
    endif()
    set(room_of_${name} ${index})
  endif()
endforeach()

foreach(file ${files})
  room_of("${file}" index)
  foreach(pattern IN LISTS forbidden)
    file(STRINGS "${file}" hits REGEX "${pattern}" LIMIT_COUNT 1)
    if(NOT hits STREQUAL "")
      offence("${file}: ${hits}")
    endif()
  endforeach()
  file(STRINGS "${file}" includes REGEX "^ *# *include *[\"<]")
  foreach(include IN LISTS includes)
    string(REGEX REPLACE "^ *# *include *[\"<]([^\">]+)[\">].*$" "\\1" header "${include}")
    get_filename_component(name "${header}" NAME)
    if(DEFINED room_of_${name})
      if(room_of_${name} GREATER index)
        offence("${file}: includes ${header} of a room above")
      endif()
    elseif(include MATCHES "\"")
      offence("${file}: includes ${header}, which no room has")
    endif()
  endforeach()
endforeach()

if(offences GREATER 0)
  message(FATAL_ERROR "${offences} offences in ${count} sources")
endif()
message("${count} sources keep to the rules")

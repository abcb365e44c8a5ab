# The warnings of every target of ours; a warning is an error.
add_library(ScanKELVWarnings INTERFACE)
target_compile_options(ScanKELVWarnings INTERFACE
  -Wall -Wextra -Wpedantic -Werror -Wconversion -Wsign-conversion -Wshadow -Wold-style-cast -Wcast-qual -Wcast-align
  -Wnon-virtual-dtor -Woverloaded-virtual -Wundef -Wunused -Wformat=2 -Wextra-semi)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  target_compile_options(ScanKELVWarnings INTERFACE -Wduplicated-cond -Wduplicated-branches -Wlogical-op)
endif()

# scankelv_room(NAME SOURCES ... USES ...): one room of the building. It shows its own folder to the rooms that
# use it and sees only the folders of the rooms below that it names: an include that runs upwards does not compile.
function(scankelv_room name)
  cmake_parse_arguments(PARSE_ARGV 1 room "" "" "SOURCES;USES")
  add_library(${name} STATIC ${room_SOURCES})
  target_include_directories(${name} PUBLIC ${CMAKE_CURRENT_SOURCE_DIR})
  target_link_libraries(${name} PUBLIC ${room_USES} PRIVATE ScanKELVWarnings)
endfunction()

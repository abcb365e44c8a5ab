# The warnings of all our targets; a warning is an error.
add_library(ScanKELVWarnings INTERFACE)
target_compile_options(ScanKELVWarnings INTERFACE
  -Wall -Wextra -Wpedantic -Werror -Wconversion -Wsign-conversion -Wshadow -Wold-style-cast -Wcast-qual -Wcast-align
  -Wnon-virtual-dtor -Woverloaded-virtual -Wundef -Wunused -Wformat=2 -Wextra-semi)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  target_compile_options(ScanKELVWarnings INTERFACE -Wduplicated-cond -Wduplicated-branches -Wlogical-op)
endif()

# The sources of all layers that call no Windows function. They are also built natively, under sanitizers.
add_library(PlatformFree STATIC)
target_link_libraries(PlatformFree PRIVATE Vendor ScanKELVWarnings)

# scankelv_layer(NAME [SOURCES ...] [PLATFORM_FREE ...] [USES ...]): one layer of the agent. It exports its own folder
# and sees only the folders of the layers in USES and of those below them, so that an upward include does not compile.
function(scankelv_layer name)
  cmake_parse_arguments(PARSE_ARGV 1 layer "" "" "SOURCES;PLATFORM_FREE;USES")
  if(layer_PLATFORM_FREE)
    target_sources(PlatformFree PRIVATE ${layer_PLATFORM_FREE})
    target_include_directories(PlatformFree PRIVATE ${CMAKE_CURRENT_SOURCE_DIR})
  endif()
  if(NOT WIN32)
    return()
  endif()
  add_library(${name} STATIC ${layer_SOURCES})
  target_include_directories(${name} PUBLIC ${CMAKE_CURRENT_SOURCE_DIR})
  target_link_libraries(${name} PUBLIC ${layer_USES} $<LINK_ONLY:PlatformFree> PRIVATE ScanKELVWarnings CheckedBuild)
endfunction()

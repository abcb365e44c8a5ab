# version_resource(TARGET ORIGINAL_NAME DESCRIPTION): the version resource (and the manifest) of a program.
# windres makes it in a Windows build; in the host build the same fixed block lies in a section of the ELF file,
# where the stand-in's version functions look for it.
function(version_resource target original_name description)
  set(VERSION_ORIGINAL_NAME ${original_name})
  set(VERSION_DESCRIPTION ${description})
  if(WIN32)
    enable_language(RC)
    configure_file(${CMAKE_SOURCE_DIR}/cmake/version.rc.in ${CMAKE_CURRENT_BINARY_DIR}/${target}.rc @ONLY)
    target_sources(${target} PRIVATE ${CMAKE_CURRENT_BINARY_DIR}/${target}.rc)
  else()
    configure_file(${CMAKE_SOURCE_DIR}/cmake/version.cpp.in ${CMAKE_CURRENT_BINARY_DIR}/${target}-version.cpp @ONLY)
    target_sources(${target} PRIVATE ${CMAKE_CURRENT_BINARY_DIR}/${target}-version.cpp)
  endif()
endfunction()

enable_language(RC)

# version_resource(TARGET ORIGINAL_NAME): adds the version resource, with the vendor's version and texts, and to a program
# the manifest.
function(version_resource target original_name)
  set(VERSION_ORIGINAL_NAME ${original_name})
  cmake_path(GET original_name STEM VERSION_INTERNAL_NAME)
  get_target_property(type ${target} TYPE)
  set(VERSION_FILE_TYPE 1) # VFT_APP
  if(NOT type STREQUAL "EXECUTABLE")
    set(VERSION_FILE_TYPE 2) # VFT_DLL
  endif()
  foreach(text VENDOR_COMPANY VENDOR_PRODUCT VENDOR_DESCRIPTION VENDOR_COPYRIGHT)
    string(REPLACE "\\" "\\\\" ${text} "${${text}}")
    string(REPLACE "\"" "\"\"" ${text} "${${text}}")
  endforeach()
  set(source ${CMAKE_CURRENT_BINARY_DIR}/${target}.rc)
  configure_file(${CMAKE_SOURCE_DIR}/cmake/version.rc.in ${source} @ONLY)
  set_source_files_properties(${source} PROPERTIES OBJECT_DEPENDS ${CMAKE_SOURCE_DIR}/cmake/app.manifest)
  target_sources(${target} PRIVATE ${source})
endfunction()

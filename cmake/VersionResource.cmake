enable_language(RC)

# The texts of the version information that a vendor sets for his own build.
set(VERSION_COMPANY_NAME "Quellon" CACHE STRING "Company in the version information")
set(VERSION_PRODUCT_NAME "ScanKELV" CACHE STRING "Product in the version information")
set(VERSION_COPYRIGHT "The ScanKELV authors" CACHE STRING "Copyright in the version information")

# version_resource(TARGET ORIGINAL_NAME DESCRIPTION): adds the version resource, with the project's version, and to a
# program the manifest.
function(version_resource target original_name description)
  set(VERSION_ORIGINAL_NAME ${original_name})
  set(VERSION_DESCRIPTION ${description})
  cmake_path(GET original_name STEM VERSION_INTERNAL_NAME)
  get_target_property(type ${target} TYPE)
  set(VERSION_FILE_TYPE 1) # VFT_APP
  if(NOT type STREQUAL "EXECUTABLE")
    set(VERSION_FILE_TYPE 2) # VFT_DLL
  endif()
  set(source ${CMAKE_CURRENT_BINARY_DIR}/${target}.rc)
  configure_file(${CMAKE_SOURCE_DIR}/cmake/version.rc.in ${source} @ONLY)
  set_source_files_properties(${source} PROPERTIES OBJECT_DEPENDS ${CMAKE_SOURCE_DIR}/cmake/app.manifest)
  target_sources(${target} PRIVATE ${source})
endfunction()

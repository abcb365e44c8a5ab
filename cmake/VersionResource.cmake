enable_language(RC)

# version_resource(TARGET ORIGINAL_NAME): adds the manifest and the version resource, with the vendor's version and texts,
# to a program.
function(version_resource target original_name)
  cmake_path(GET original_name STEM internal_name)
  foreach(text VENDOR_COMPANY VENDOR_PRODUCT VENDOR_DESCRIPTION VENDOR_COPYRIGHT)
    string(REPLACE "\\" "\\\\" ${text} "${${text}}")
    string(REPLACE "\"" "\"\"" ${text} "${${text}}")
  endforeach()
  set(source ${CMAKE_CURRENT_BINARY_DIR}/${target}.rc)
  configure_file(${CMAKE_SOURCE_DIR}/cmake/version.rc.in ${source} @ONLY)
  set_source_files_properties(${source} PROPERTIES OBJECT_DEPENDS ${CMAKE_SOURCE_DIR}/cmake/app.manifest)
  target_sources(${target} PRIVATE ${source})
endfunction()

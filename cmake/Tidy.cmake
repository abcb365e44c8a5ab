# The build folders of ./check tidy: clang-tidy sees each source before it is compiled, and again when the source, one of
# its headers or the checks changed. A finding is an error.
option(SCANKELV_TIDY "Check each source by clang-tidy")
if(NOT SCANKELV_TIDY)
  return()
endif()

set(CMAKE_CXX_CLANG_TIDY clang-tidy --quiet)
if(WIN32)
  list(APPEND CMAKE_CXX_CLANG_TIDY --extra-arg=--target=${WINDOWS_ARCHITECTURE}-w64-mingw32)
  # Clang does not find the folders of this compiler's standard library.
  execute_process(COMMAND ${CMAKE_CXX_COMPILER} -v -E -x c++ /dev/null
    OUTPUT_QUIET ERROR_VARIABLE searched COMMAND_ERROR_IS_FATAL ANY)
  string(REGEX MATCHALL "\n /[^\n]*/c\\+\\+[^\n]*" folders "${searched}")
  foreach(folder IN LISTS folders)
    string(STRIP "${folder}" folder)
    list(APPEND CMAKE_CXX_CLANG_TIDY --extra-arg=-isystem${folder})
  endforeach()
endif()

# Other checks make another command: Ninja runs it again.
set(checks ${CMAKE_SOURCE_DIR}/.clang-tidy ${CMAKE_SOURCE_DIR}/tests/.clang-tidy)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${checks})
foreach(file IN LISTS checks)
  file(SHA1 ${file} hash)
  list(APPEND CMAKE_CXX_CLANG_TIDY --extra-arg=-DCHECKS_${hash})
endforeach()

# Sources that are not ours.
cmake_language(DEFER CALL set_target_properties gtest gtest_main gmock gmock_main PROPERTIES CXX_CLANG_TIDY "")

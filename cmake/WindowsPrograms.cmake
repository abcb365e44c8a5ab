# WindowsApi: the import libraries and compiler flags of all targets that call Windows functions.
add_library(WindowsApi INTERFACE)
target_compile_definitions(WindowsApi INTERFACE UNICODE _UNICODE WIN32_LEAN_AND_MEAN NOMINMAX _WIN32_WINNT=0x0601)
target_compile_options(WindowsApi INTERFACE -ffunction-sections -fdata-sections)
target_link_options(WindowsApi INTERFACE -static)
target_link_libraries(WindowsApi INTERFACE advapi32 ole32 oleaut32 shell32 version uuid)

file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/symbols)

# windows_product(TARGET): what all programs and libraries of the installation folder have in common. Unused functions
# are removed, address randomisation and data execution prevention are on, there is no time stamp. The symbols are moved
# to symbols/NAME.debug; symbols/NAME.map lists what was linked in.
function(windows_product target)
  target_link_libraries(${target} PRIVATE WindowsApi)
  target_link_options(${target} PRIVATE
    -Wl,--gc-sections -Wl,--dynamicbase -Wl,--nxcompat -Wl,--no-insert-timestamp
    -Wl,-Map=${CMAKE_BINARY_DIR}/symbols/$<TARGET_FILE_NAME:${target}>.map)
  if(WINDOWS_ARCHITECTURE STREQUAL "x86_64")
    target_link_options(${target} PRIVATE -Wl,--high-entropy-va)
  else()
    # No code here registers a structured exception handler on the stack, so that the system may reject all of them.
    target_link_options(${target} PRIVATE -Wl,--no-seh)
  endif()
  set(symbols ${CMAKE_BINARY_DIR}/symbols/$<TARGET_FILE_NAME:${target}>.debug)
  set(objcopy ${CMAKE_COMMAND} -E env SOURCE_DATE_EPOCH=0 ${CMAKE_OBJCOPY}) # else it writes the current time
  add_custom_command(TARGET ${target} POST_BUILD
    COMMAND ${objcopy} --only-keep-debug $<TARGET_FILE:${target}> ${symbols}
    COMMAND ${objcopy} --strip-all --add-gnu-debuglink=${symbols} $<TARGET_FILE:${target}>
    VERBATIM)
endfunction()

# windows_program(TARGET NAME): NAME.exe, a windowless program whose entry is wWinMain, in the installation folder.
function(windows_program target name)
  set_target_properties(${target} PROPERTIES
    OUTPUT_NAME ${name} WIN32_EXECUTABLE ON RUNTIME_OUTPUT_DIRECTORY ${INSTALLATION_FOLDER})
  windows_product(${target})
  target_link_options(${target} PRIVATE -municode)
endfunction()

# windows_library(TARGET NAME): NAME.dll in the installation folder.
function(windows_library target name)
  set_target_properties(${target} PROPERTIES
    OUTPUT_NAME ${name} PREFIX "" RUNTIME_OUTPUT_DIRECTORY ${INSTALLATION_FOLDER})
  windows_product(${target})
endfunction()

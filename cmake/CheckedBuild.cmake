# The checked build (preset windows-x64-checked): undefined behaviour traps, the standard library's assertions, stack
# protection, and each access to memory checked. CheckedBuild holds the flags. They are part of ScanKELVWarnings, as all
# targets of ours must have them: of a template that two objects instantiate, the linker takes either copy.
option(SCANKELV_CHECKED "Check each access to memory; undefined behaviour traps")
add_library(CheckedBuild INTERFACE)
if(NOT SCANKELV_CHECKED)
  return()
endif()

# GCC for Windows has the instrumentation for AddressSanitizer, but not its runtime library. That of MemoryCheck.cpp
# serves the instrumentation for kernels, which asks less of it.
add_library(MemoryCheck OBJECT ${CMAKE_CURRENT_LIST_DIR}/MemoryCheck.cpp)
target_compile_definitions(MemoryCheck PRIVATE _WIN32_WINNT=0x0601)
target_compile_options(MemoryCheck PRIVATE -Wall -Wextra -Werror)

target_compile_definitions(CheckedBuild INTERFACE _GLIBCXX_ASSERTIONS)
target_compile_options(CheckedBuild INTERFACE
  -fsanitize=undefined -fsanitize-undefined-trap-on-error -fstack-protector-strong
  -fsanitize=kernel-address -fasan-shadow-offset=0x100000000000 -fsanitize-address-use-after-scope
  "SHELL:--param asan-instrumentation-with-call-threshold=0 --param asan-stack=1 --param asan-globals=1")
target_link_libraries(CheckedBuild INTERFACE $<TARGET_OBJECTS:MemoryCheck> ssp)
foreach(function malloc calloc free memcpy memmove memset _Unwind_RaiseException _Unwind_Resume_or_Rethrow)
  target_link_options(CheckedBuild INTERFACE -Wl,--wrap=${function})
endforeach()
target_link_libraries(ScanKELVWarnings INTERFACE CheckedBuild)

# The checked build (preset windows-x64-checked): undefined behaviour traps, the standard library's assertions, stack
# protection, and each access to memory checked. CheckedBuild holds the flags of the agent's layers.
option(SCANKELV_CHECKED "Check each access to memory; undefined behaviour traps")
add_library(CheckedBuild INTERFACE)

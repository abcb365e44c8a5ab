// What a program's or library's file says of itself.
#pragma once

#include "Descriptor.h"

#include <link.h>
#include <vector>

namespace hostwindows
{

/// @return false when the file does not hold all of it
bool ReadAt(const Descriptor& file, std::uint64_t offset, void* bytes, std::size_t size);

/// The sections of an ELF file; none when it is no such file, or was cut: their table lies at its end.
std::vector<ElfW(Shdr)> SectionsOf(const Descriptor& file);

} // namespace hostwindows

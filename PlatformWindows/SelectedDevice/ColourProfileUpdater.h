// Starting the colour-profile updater, a separate program in the agent's folder.
#pragma once

#include "CodePage.h"

namespace scankelv
{

/// Starts the updater for a product and does not wait for it.
/// @param productName  terminated; passed in triple quotes, a quote in it as an apostrophe; the whole argument is cut
/// at 1022 characters
/// @return false after a message to the "Agent" logger
bool StartColourProfileUpdater(const wchar_t* productName);

} // namespace scankelv

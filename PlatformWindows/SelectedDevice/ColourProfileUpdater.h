// The colour-profile updater, a program of its own beside the agent's.
#pragma once

#include "CodePage.h"

namespace scankelv
{

/// Starts the updater for a product and does not wait for it.
/// @param productName  terminated; handed over in triple quotes, cut where the whole is longer than 1022 characters
/// @return whether it started; the "Agent" logger says why not
bool StartColourProfileUpdater(const wchar_t* productName);

} // namespace scankelv

// The dialogs on the screen: the search, where the user chooses, and the properties of a device.
#pragma once

#include "Behaviour.h"

#include <chrono>

namespace simulator
{

/// What the application asked for. The functions ask it in turn, on the thread that shows the dialog.
struct Search
{
    const wchar_t* filterText;
    std::string languageCode;
    std::chrono::milliseconds duration;
    std::function<bool(const Device&)> accepts;
    std::function<std::string()> add; ///< tells it that the user pressed Add. @return its answer
};

// A dialog that cannot be shown is recorded and counts as cancelled. A filter text that is no XML: std::runtime_error.

/// @return the device that the user chose among those that the application accepts; null when he cancelled
const Device* ChooseInDialog(Record& record, std::vector<Device>& devices, const Search& search);
/// Lets the user enter a location and a comment. @return the list with the filter text's device; none when he cancelled
GivenText EditProperties(Record& record, const wchar_t* filterText);

} // namespace simulator

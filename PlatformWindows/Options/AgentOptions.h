// PlatformWindows/Options: the record of one run, from the settings file and then from the command line.
#pragma once

#include "CodePage.h"

#include <optional>

namespace scankelv
{

/// How the search library presents its dialog. The agent passes 5; the meaning of the others is the library's.
enum tagDialogMode : int
{
    DialogMode0,
    DialogMode1,
    DialogMode2,
    DialogMode3,
    DialogMode4,
    DialogMode5
};

/// Every setting of one run. Built once, read-only afterwards. A text is either unset or set, possibly to the empty
/// text.
class AgentOptions
{
public:
    /// The process-wide record. The first call builds it, and ends the process with exit code 3 when the settings are
    /// inconsistent.
    static const AgentOptions& Instance();

    /// Builds a record from a settings file (empty path: none) and a whole command line, program path included.
    /// @return nothing after the message of a FATAL condition
    static std::optional<AgentOptions> Build(const wchar_t* settingsPath, const wchar_t* commandLine);

    const wchar_t* ProductName() const; ///< never null
    bool IsDefaultProductName() const;
    const wchar_t* VendorName() const;                                    ///< never null
    const wchar_t* VendorId() const { return TextOr(vendorId, nullptr); } ///< null when unset, like the four below
    const wchar_t* ProductId() const { return TextOr(productId, nullptr); }
    const wchar_t* ModelName() const { return TextOr(modelName, nullptr); }
    const wchar_t* LanguageCode() const { return TextOr(languageCode, nullptr); }
    const wchar_t* HiddenUiArgument() const { return TextOr(hiddenUiArgument, nullptr); }
    /// Empty when unset, as is the next one.
    const wchar_t* MultiDeviceRegistryPath() const { return TextOr(multiDeviceRegistryPath, L""); }
    const wchar_t* DeviceListRegistryPath() const { return TextOr(deviceListRegistryPath, L""); }
    bool NeedQueryAddress() const { return needQueryAddress; }
    DWORD PropertiesUI() const { return propertiesUI; }
    bool IsGsdMode() const;
    bool IsCurrentDeviceFeatureOn() const;
    bool IsSuiftOn() const;
    bool PropertiesWanted() const { return propertiesUI != 0 && propertiesRequested; }
    bool HiddenUiRequested() const { return hiddenUiArgument.has_value(); }
    bool MultiSelectMode() const { return *MultiDeviceRegistryPath() != 0; }
    bool DeviceListMode() const { return *DeviceListRegistryPath() != 0; }

private:
    friend class AgentOptionsBuilder;
    using Text = std::optional<std::wstring>;

    AgentOptions() = default;
    static const wchar_t* TextOr(const Text& text, const wchar_t* otherwise)
    {
        return text ? text->c_str() : otherwise;
    }

    bool needQueryAddress = false;
    DWORD propertiesUI = 0;
    bool propertiesRequested = false;
    Text productName;
    Text languageCode;
    Text vendorName;
    Text modelName;
    Text vendorId;
    Text productId;
    Text suift;
    Text gsdMode;
    Text currentDeviceFeature;
    Text hiddenUiArgument;
    Text multiDeviceRegistryPath;
    Text deviceListRegistryPath;
};

} // namespace scankelv

#include "AgentOptions.h"

#include "AsciiCase.h"
#include "CommandLine.h"
#include "FolderOperations.h"
#include "Loggers.h"
#include "ProfileFile.h"
#include "TextScan.h"
#include "Vendor.h"

#include <algorithm>
#include <iterator>
#include <new>
#include <span>
#include <utility>
#include <variant>

#define SETTINGS_FILE VENDOR_PROGRAM ".ini" // a macro, as messages are literals

namespace scankelv
{
namespace
{

constexpr UINT inconsistentSettings = 3; // exit code

const wchar_t* const settingsSection = L"Settings";
constexpr const wchar_t* defaultProductName = L"" VENDOR_DEFAULT_PRODUCT;

/// Logs a message. @return false when it is one that ends the process
bool GoesOnAfter(const char* message)
{
    AgentLogger().WriteLine("%s", message);
    return !std::string_view(message).starts_with("FATAL:");
}

} // namespace

class AgentOptionsBuilder
{
public:
    static std::optional<AgentOptions> Build(const wchar_t* settingsPath, const wchar_t* commandLine)
    {
        AgentOptions options;
        options.suift = L"0";
        if (!ReadSettings(options, settingsPath))
            return std::nullopt;
        ApplyCommandLine(options, commandLine);
        if (!Consistent(options, wholeChecks))
            return std::nullopt;
        return options;
    }

private:
    using Text = AgentOptions::Text;

    struct SettingsKey
    {
        const wchar_t* key;
        std::variant<Text AgentOptions::*, DWORD AgentOptions::*> field;
        const char* whenAbsent;
    };
    static constexpr SettingsKey settingsKeys[] = {
        {L"ProductName", &AgentOptions::productName,
         "FATAL: ProductName absent in " SETTINGS_FILE "! Check " SETTINGS_FILE "."},
        {L"LanguageCode", &AgentOptions::languageCode, "LanguageCode absent in " SETTINGS_FILE "."},
        {L"VendorName", &AgentOptions::vendorName, "VendorName absent in " SETTINGS_FILE "."},
        {L"ModelName", &AgentOptions::modelName, "ModelName absent in " SETTINGS_FILE "."},
        {L"VendorId", &AgentOptions::vendorId, "VendorId absent in " SETTINGS_FILE "."},
        {L"ProductId", &AgentOptions::productId, "ProductId absent in " SETTINGS_FILE "."},
        {L"SUIFT", &AgentOptions::suift, "SUIFT absent in " SETTINGS_FILE "."},
        {L"Mode", &AgentOptions::gsdMode, "Mode absent in " SETTINGS_FILE "."},
        {L"CurrentDeviceFeature", &AgentOptions::currentDeviceFeature,
         "CurrentDeviceFeature absent in " SETTINGS_FILE "."},
        {L"PropertiesUI", &AgentOptions::propertiesUI, "PropertiesUI absent in " SETTINGS_FILE "."},
    };

    struct DefaultText
    {
        Text AgentOptions::*field;
        const wchar_t* text;
    };
    static constexpr DefaultText withoutSettingsFile[] = {
        {&AgentOptions::productName, defaultProductName},
        {&AgentOptions::vendorName, vendor::deviceVendor},
        {&AgentOptions::vendorId, L"0"},
        {&AgentOptions::productId, L"0"},
        {&AgentOptions::gsdMode, L"1"},
        {&AgentOptions::currentDeviceFeature, L"1"},
    };

    struct Keyword
    {
        const wchar_t* name;
        std::variant<Text AgentOptions::*, bool AgentOptions::*> field;
        const char* label;        ///< begins the log line of the field; null: no line
        const wchar_t* fixedText; ///< assigned in place of the argument; null: none
    };
    static constexpr Keyword keywords[] = {
        {L"M", &AgentOptions::productName, "productName", nullptr},
        {L"L", &AgentOptions::languageCode, "languageCode", nullptr},
        {L"V", &AgentOptions::vendorName, "vendorName", nullptr},
        {L"D", &AgentOptions::modelName, "modelName", nullptr},
        {L"VID", &AgentOptions::vendorId, "vendorId", nullptr},
        {L"PID", &AgentOptions::productId, "productId", nullptr},
        {L"MODE", &AgentOptions::gsdMode, "gsdMode", nullptr},
        {L"U", &AgentOptions::suift, nullptr, L"1"},
        {L"H", &AgentOptions::hiddenUiArgument, "hiddenUiArgument", nullptr},
        {L"More", &AgentOptions::multiDeviceRegistryPath, "multiDeviceRegistryPath", nullptr},
        {L"Q", &AgentOptions::needQueryAddress, nullptr, nullptr},
        {L"PROP", &AgentOptions::propertiesRequested, nullptr, nullptr},
        // Logged under the name of the other path: readers of the log look for this line in both modes.
        {L"devicelist", &AgentOptions::deviceListRegistryPath, "multiDeviceRegistryPath", nullptr},
    };

    /// A message about a record, and its condition.
    struct Check
    {
        bool (*applies)(const AgentOptions& options);
        const char* message;
    };
    static constexpr Check settingsChecks[] = {
        {[](const AgentOptions& o) { return !o.modelName && !o.productId; },
         "FATAL: both ModelName and ProductId absent in " SETTINGS_FILE "! Check " SETTINGS_FILE "."},
        {[](const AgentOptions& o) { return o.modelName && o.productId; },
         "both ModelName and ProductId present in " SETTINGS_FILE ". Verify they do not conflict."},
        {[](const AgentOptions& o) { return o.IsGsdMode() && !o.IsDefaultProductName(); },
         "Warning: Mode=1 specified in " SETTINGS_FILE ", but ProductName is not default one! Check " SETTINGS_FILE
         "."},
        {[](const AgentOptions& o) { return !o.IsGsdMode() && o.IsDefaultProductName(); },
         "Warning: default ProductName specified in " SETTINGS_FILE
         " for non-GSD mode (0 or none)! Check " SETTINGS_FILE "."},
    };
    static constexpr Check wholeChecks[] = {
        {[](const AgentOptions& o) { return !o.gsdMode; },
         "FATAL: GSD/Single mode not specified! Check " SETTINGS_FILE " and command line."},
        {[](const AgentOptions& o) { return o.IsGsdMode() && o.modelName; },
         "WARNING: Model name filter specified for GSD! Check " SETTINGS_FILE " and command line."},
        {[](const AgentOptions& o) { return !o.IsGsdMode() && !o.modelName; },
         "FATAL: No model name provided for GSD! Check " SETTINGS_FILE " and command line."},
    };

    /// @return false after the message of a condition that ends the process
    static bool Consistent(const AgentOptions& options, std::span<const Check> checks)
    {
        return std::ranges::all_of(
            checks, [&](const Check& check) { return !check.applies(options) || GoesOnAfter(check.message); });
    }

    /// @return false, the field unchanged, when memory runs out
    static bool Assign(Text& field, std::wstring_view text) noexcept
    try
    {
        field = std::wstring(text);
        return true;
    }
    catch (const std::bad_alloc&)
    {
        return false;
    }

    /// @return false, the field unchanged, for an absent key
    static bool Read(ProfileFileWide& file, const wchar_t* key, Text& field)
    {
        ResourceLocationWide value;
        return file.GetString(settingsSection, key, value) && Assign(field, value.View());
    }
    static bool Read(ProfileFileWide& file, const wchar_t* key, DWORD& field)
    {
        return file.GetULong(settingsSection, key, &field);
    }

    static bool ReadSettings(AgentOptions& options, const wchar_t* settingsPath)
    {
        ProfileFileWide file{ResourceLocationWide(settingsPath)};
        if (!file.IsValid() || !PathExists<wchar_t>(settingsPath, false))
        {
            AgentLogger().WriteLine(SETTINGS_FILE " not found. Initialize GSD mode defaults.");
            for (const auto& [field, text] : withoutSettingsFile)
                Assign(options.*field, text);
            return true;
        }

        for (const auto& [key, field, whenAbsent] : settingsKeys)
        {
            const auto read = [&, name = key](auto member) { return Read(file, name, options.*member); };
            if (!std::visit(read, field) && !GoesOnAfter(whenAbsent))
                return false;
        }

        if (!options.gsdMode && !Assign(options.gsdMode, L"0"))
            return GoesOnAfter("FATAL: error initializing Mode from " SETTINGS_FILE "! Close programs to free memory.");
        if (!options.currentDeviceFeature)
            Assign(options.currentDeviceFeature, L"1");
        return Consistent(options, settingsChecks);
    }

    static void ApplyCommandLine(AgentOptions& options, const wchar_t* commandLine)
    {
        LoggerTypeAbstract& log = AgentLogger();
        log.WriteLine("command line: %S", commandLine);
        CommandScanner scanner(commandLine);
        std::optional<Command> command = scanner.Next();
        if (command)
            log.WriteLine("command line found.");
        else
            log.WriteLine("No command line found.");

        int count = 0;
        for (; command; command = scanner.Next())
        {
            ++count;
            if (Text name; Assign(name, command->name))
            {
                log.WriteLine("command %d: %ws", count, name->c_str());
                Apply(options, *command);
            }
            else
                log.WriteLine("command %d: is invalid!", count);
        }
        log.WriteLine("%d commands processed", count);
        log.WriteLine("needQueryAddress: %d", options.needQueryAddress ? 1 : 0);
    }

    static void Apply(AgentOptions& options, const Command& command)
    {
        const auto* const keyword = std::find_if(std::begin(keywords), std::end(keywords), [&](const Keyword& row) {
            return EqualsIgnoringAsciiCase(row.name, command.name);
        });
        if (keyword != std::end(keywords))
            std::visit([&](auto member) { Set(options.*member, *keyword, command); }, keyword->field);
    }
    static void Set(bool& field, const Keyword&, const Command&) { field = true; }
    static void Set(Text& field, const Keyword& keyword, const Command& command)
    {
        if (keyword.fixedText != nullptr)
            Assign(field, keyword.fixedText);
        else if (command.argument)
            Assign(field, *command.argument);
        if (keyword.label != nullptr)
            AgentLogger().WriteLine("%s: %ws", keyword.label, AgentOptions::TextOr(field, nullptr));
    }
};

const AgentOptions& AgentOptions::Instance()
{
    static const AgentOptions options = [] {
        const ResourceLocationWide settings = LocationOfModuleFile<wchar_t>(VENDOR_PROGRAM L".ini");
        std::optional<AgentOptions> built = Build(settings.Text(), ::GetCommandLineW());
        if (!built)
            ::ExitProcess(inconsistentSettings);
        return *std::move(built);
    }();
    return options;
}

std::optional<AgentOptions> AgentOptions::Build(const wchar_t* settingsPath, const wchar_t* commandLine)
{
    return AgentOptionsBuilder::Build(settingsPath, commandLine);
}

const wchar_t* AgentOptions::ProductName() const
{
    return TextOr(productName, defaultProductName);
}

bool AgentOptions::IsDefaultProductName() const
{
    return std::wstring_view(ProductName()) == defaultProductName;
}

const wchar_t* AgentOptions::VendorName() const
{
    return TextOr(vendorName, vendor::deviceVendor);
}

bool AgentOptions::IsGsdMode() const
{
    return gsdMode && ScanHexadecimal16(*gsdMode, 0) != 0;
}

bool AgentOptions::IsCurrentDeviceFeatureOn() const
{
    return !currentDeviceFeature || ScanHexadecimal16(*currentDeviceFeature, 1) != 0;
}

bool AgentOptions::IsSuiftOn() const
{
    return suift && ScanDecimal16(*suift, 0) != 0;
}

} // namespace scankelv

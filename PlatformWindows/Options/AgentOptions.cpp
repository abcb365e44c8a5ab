#include "AgentOptions.h"

#include "FolderOperations.h"
#include "Loggers.h"
#include "ProfileFile.h"
#include "TextScan.h"

#include <algorithm>
#include <iterator>
#include <new>
#include <span>
#include <utility>
#include <variant>

namespace scankelv
{
namespace
{

constexpr UINT inconsistentSettings = 3; // exit code

const WCHAR* const settingsSection = OLESTR("Settings");
constexpr const WCHAR* defaultProductName = OLESTR("Quellon Generic Scan Driver");
constexpr const WCHAR* defaultVendorName = OLESTR("Quellon");

const WCHAR* TextOr(const std::optional<WideText>& text, const WCHAR* otherwise)
{
    return text ? text->c_str() : otherwise;
}

/// Writes a message. @return false when it is one that ends the process
bool GoesOnAfter(const char* message)
{
    AgentLogger().WriteLine("%s", message);
    return !std::string_view(message).starts_with("FATAL:");
}

/// One command as it stands on the line; both texts point into it.
struct Command
{
    WideView name;
    std::optional<WideView> argument; ///< none: the name ends the line
};

/// Takes the commands off a raw command line, one by one. Only "/", blank and double quote mean anything.
class CommandScanner
{
public:
    explicit CommandScanner(WideView line) : m_rest(line) {}

    std::optional<Command> Next()
    {
        const std::size_t slash = m_rest.find(OLESTR('/'));
        if (slash == WideView::npos)
            return std::nullopt;
        Command command;
        m_rest.remove_prefix(slash + 1);
        command.name = TakeUntil(OLESTR(' '));
        if (m_rest.empty())
            return command;
        m_rest.remove_prefix(std::min(m_rest.find_first_not_of(OLESTR(' ')), m_rest.size()));
        if (m_rest.starts_with(OLESTR('"')))
        {
            m_rest.remove_prefix(1);
            command.argument = TakeUntil(OLESTR('"'));
        }
        else if (m_rest.starts_with(OLESTR('/')))
            command.argument = WideView();
        else
            command.argument = TakeUntil(OLESTR(' '));
        return command;
    }

private:
    // The ending character itself stays in the rest.
    WideView TakeUntil(WCHAR end)
    {
        const WideView taken = m_rest.substr(0, m_rest.find(end));
        m_rest.remove_prefix(taken.size());
        return taken;
    }

    WideView m_rest;
};

} // namespace

class AgentOptionsBuilder
{
public:
    static std::optional<AgentOptions> Build(const WCHAR* settingsPath, const WCHAR* commandLine)
    {
        AgentOptions options;
        options.suift = OLESTR("0");
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
        const WCHAR* key;
        std::variant<Text AgentOptions::*, DWORD AgentOptions::*> field;
        const char* whenAbsent;
    };
    static constexpr SettingsKey settingsKeys[] = {
        {OLESTR("ProductName"), &AgentOptions::productName,
         "FATAL: ProductName absent in ScanKELV.ini! Check ScanKELV.ini."},
        {OLESTR("LanguageCode"), &AgentOptions::languageCode, "LanguageCode absent in ScanKELV.ini."},
        {OLESTR("VendorName"), &AgentOptions::vendorName, "VendorName absent in ScanKELV.ini."},
        {OLESTR("ModelName"), &AgentOptions::modelName, "ModelName absent in ScanKELV.ini."},
        {OLESTR("VendorId"), &AgentOptions::vendorId, "VendorId absent in ScanKELV.ini."},
        {OLESTR("ProductId"), &AgentOptions::productId, "ProductId absent in ScanKELV.ini."},
        {OLESTR("SUIFT"), &AgentOptions::suift, "SUIFT absent in ScanKELV.ini."},
        {OLESTR("Mode"), &AgentOptions::gsdMode, "Mode absent in ScanKELV.ini."},
        {OLESTR("CurrentDeviceFeature"), &AgentOptions::currentDeviceFeature,
         "CurrentDeviceFeature absent in ScanKELV.ini."},
        {OLESTR("PropertiesUI"), &AgentOptions::propertiesUI, "PropertiesUI absent in ScanKELV.ini."},
    };

    struct DefaultText
    {
        Text AgentOptions::*field;
        const WCHAR* text;
    };
    static constexpr DefaultText withoutSettingsFile[] = {
        {&AgentOptions::productName, defaultProductName},
        {&AgentOptions::vendorName, defaultVendorName},
        {&AgentOptions::vendorId, OLESTR("0")},
        {&AgentOptions::productId, OLESTR("0")},
        {&AgentOptions::gsdMode, OLESTR("1")},
        {&AgentOptions::currentDeviceFeature, OLESTR("1")},
    };

    struct Keyword
    {
        const WCHAR* name;
        std::variant<Text AgentOptions::*, bool AgentOptions::*> field;
        const char* label;      ///< of the text logged afterwards; null: nothing is logged
        const WCHAR* fixedText; ///< assigned whatever the argument is; null: the argument
    };
    static constexpr Keyword keywords[] = {
        {OLESTR("M"), &AgentOptions::productName, "productName", nullptr},
        {OLESTR("L"), &AgentOptions::languageCode, "languageCode", nullptr},
        {OLESTR("V"), &AgentOptions::vendorName, "vendorName", nullptr},
        {OLESTR("D"), &AgentOptions::modelName, "modelName", nullptr},
        {OLESTR("VID"), &AgentOptions::vendorId, "vendorId", nullptr},
        {OLESTR("PID"), &AgentOptions::productId, "productId", nullptr},
        {OLESTR("MODE"), &AgentOptions::gsdMode, "gsdMode", nullptr},
        {OLESTR("U"), &AgentOptions::suift, nullptr, OLESTR("1")},
        {OLESTR("H"), &AgentOptions::hiddenUiArgument, "hiddenUiArgument", nullptr},
        {OLESTR("More"), &AgentOptions::multiDeviceRegistryPath, "multiDeviceRegistryPath", nullptr},
        {OLESTR("Q"), &AgentOptions::needQueryAddress, nullptr, nullptr},
        {OLESTR("PROP"), &AgentOptions::propertiesRequested, nullptr, nullptr},
        // Logged under the name of the other path: readers of the log look for this line in both modes.
        {OLESTR("devicelist"), &AgentOptions::deviceListRegistryPath, "multiDeviceRegistryPath", nullptr},
    };

    /// What is to be said about a record, and when.
    struct Check
    {
        bool (*applies)(const AgentOptions& options);
        const char* message;
    };
    static constexpr Check settingsChecks[] = {
        {[](const AgentOptions& o) { return !o.modelName && !o.productId; },
         "FATAL: both ModelName and ProductId absent in ScanKELV.ini! Check ScanKELV.ini."},
        {[](const AgentOptions& o) { return o.modelName && o.productId; },
         "both ModelName and ProductId present in ScanKELV.ini. Verify they do not conflict."},
        {[](const AgentOptions& o) { return o.IsGsdMode() && !o.IsDefaultProductName(); },
         "Warning: Mode=1 specified in ScanKELV.ini, but ProductName is not default one! Check ScanKELV.ini."},
        {[](const AgentOptions& o) { return !o.IsGsdMode() && o.IsDefaultProductName(); },
         "Warning: default ProductName specified in ScanKELV.ini for non-GSD mode (0 or none)! Check ScanKELV.ini."},
    };
    static constexpr Check wholeChecks[] = {
        {[](const AgentOptions& o) { return !o.gsdMode; },
         "FATAL: GSD/Single mode not specified! Check ScanKELV.ini and command line."},
        {[](const AgentOptions& o) { return o.IsGsdMode() && o.modelName; },
         "WARNING: Model name filter specified for GSD! Check ScanKELV.ini and command line."},
        {[](const AgentOptions& o) { return !o.IsGsdMode() && !o.modelName; },
         "FATAL: No model name provided for GSD! Check ScanKELV.ini and command line."},
    };

    /// @return false after the message of a condition that ends the process
    static bool Consistent(const AgentOptions& options, std::span<const Check> checks)
    {
        return std::ranges::all_of(
            checks, [&](const Check& check) { return !check.applies(options) || GoesOnAfter(check.message); });
    }

    /// @return false, the field as it was, when memory runs out
    static bool Assign(Text& field, WideView text) noexcept
    try
    {
        field = WideText(text);
        return true;
    }
    catch (const std::bad_alloc&)
    {
        return false;
    }

    /// @return false, the field as it was, for an absent key
    static bool Read(ProfileFileWide& file, const WCHAR* key, Text& field)
    {
        ResourceLocationWide value;
        return file.GetString(settingsSection, key, value) && Assign(field, value.View());
    }
    static bool Read(ProfileFileWide& file, const WCHAR* key, DWORD& field)
    {
        return file.GetULong(settingsSection, key, &field);
    }

    static bool ReadSettings(AgentOptions& options, const WCHAR* settingsPath)
    {
        ProfileFileWide file{ResourceLocationWide(settingsPath)};
        if (!file.IsValid() || !PathExists<WCHAR>(settingsPath, false))
        {
            AgentLogger().WriteLine("ScanKELV.ini not found. Initialize GSD mode defaults.");
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

        if (!options.gsdMode && !Assign(options.gsdMode, OLESTR("0")))
            return GoesOnAfter("FATAL: error initializing Mode from ScanKELV.ini! Close programs to free memory.");
        if (!options.currentDeviceFeature)
            Assign(options.currentDeviceFeature, OLESTR("1"));
        return Consistent(options, settingsChecks);
    }

    static void ApplyCommandLine(AgentOptions& options, const WCHAR* commandLine)
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
            AgentLogger().WriteLine("%s: %ws", keyword.label, TextOr(field, nullptr));
    }
};

const AgentOptions& AgentOptions::Instance()
{
    static const AgentOptions options = [] {
        const ResourceLocationWide settings = LocationOfModuleFile<WCHAR>(OLESTR("ScanKELV.ini"));
        std::optional<AgentOptions> built = Build(settings.Text(), ::GetCommandLineW());
        if (!built)
            ::ExitProcess(inconsistentSettings);
        return *std::move(built);
    }();
    return options;
}

std::optional<AgentOptions> AgentOptions::Build(const WCHAR* settingsPath, const WCHAR* commandLine)
{
    return AgentOptionsBuilder::Build(settingsPath, commandLine);
}

const WCHAR* AgentOptions::ProductName() const
{
    return TextOr(productName, defaultProductName);
}

bool AgentOptions::IsDefaultProductName() const
{
    return WideView(ProductName()) == defaultProductName;
}

const WCHAR* AgentOptions::VendorName() const
{
    return TextOr(vendorName, defaultVendorName);
}

const WCHAR* AgentOptions::VendorId() const
{
    return TextOr(vendorId, nullptr);
}

const WCHAR* AgentOptions::ProductId() const
{
    return TextOr(productId, nullptr);
}

const WCHAR* AgentOptions::ModelName() const
{
    return TextOr(modelName, nullptr);
}

const WCHAR* AgentOptions::LanguageCode() const
{
    return TextOr(languageCode, nullptr);
}

const WCHAR* AgentOptions::HiddenUiArgument() const
{
    return TextOr(hiddenUiArgument, nullptr);
}

const WCHAR* AgentOptions::MultiDeviceRegistryPath() const
{
    return TextOr(multiDeviceRegistryPath, OLESTR(""));
}

const WCHAR* AgentOptions::DeviceListRegistryPath() const
{
    return TextOr(deviceListRegistryPath, OLESTR(""));
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

bool AgentOptions::PropertiesWanted() const
{
    return propertiesUI != 0 && propertiesRequested;
}

} // namespace scankelv

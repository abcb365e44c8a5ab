#include "OnlineTesting.h"

#include "DriverStorages.h"
#include "Loggers.h"
#include "ProfileFile.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <mutex>

namespace scankelv
{
namespace
{

constexpr std::size_t addressCapacity = 256; // characters, terminator counted
constexpr DWORD pollInterval = 200;          // milliseconds

// A stored text may fill all 256 characters without a terminator: the last character terminates it.
using StoredAddress = std::array<wchar_t, addressCapacity + 1>;
using QueriedAddress = std::array<wchar_t, addressCapacity>;

enum OnlineStatus : DWORD
{
    DidNotAnswer = 0,
    Answered = 1,
    NoAnswerYet = 2
};

/// Written by the callback, on any thread, before it decrements `queryPending`; read by the main thread once that is 0.
struct QueryAnswer
{
    std::atomic<std::int32_t> queryPending = 0;
    DWORD onlineStatus = NoAnswerYet;
    bool addressChanged = false;
    QueriedAddress queriedAddress{'0'};
    QueriedAddress queriedMacAddress{'0'};
};
constinit QueryAnswer answer;

/// A logger serves one thread at a time; during the query, the main thread and the callback's thread both use it.
std::mutex loggerTurn;

template <class... Args>
void WriteLineInTurn(TextFormat<Args...> format, const Args&... arguments)
{
    const std::lock_guard turn(loggerTurn);
    AgentLogger().WriteLine(format, arguments...);
}

struct PatchedValue
{
    const wchar_t* name;
    QueriedAddress QueryAnswer::*text;
    bool networkOnly;
};
constexpr PatchedValue patchedValues[] = {
    {L"Address", &QueryAnswer::queriedAddress, false},
    {L"Address2", &QueryAnswer::queriedAddress, true},
    {L"MACAddress", &QueryAnswer::queriedMacAddress, false},
};

StoredAddress ReadAddress(CrossProductStorage& storage, const wchar_t* name)
{
    constexpr StoredAddress none{'0'};
    StoredAddress text = none;
    // A failed read leaves the buffer's content unspecified.
    return storage.GetString(name, text.data(), addressCapacity) ? text : none;
}

void PatchAddresses(CrossProductStorage& storage, bool isNetwork)
{
    const auto patch = [isNetwork](auto put) {
        for (const auto& [name, text, networkOnly] : patchedValues)
            if (isNetwork || !networkOnly)
                put(name, (answer.*text).data());
    };
    AgentLogger().WriteLine(
        "patch device addresses %ws, %ws", answer.queriedAddress.data(), answer.queriedMacAddress.data());
    patch([&storage](const wchar_t* name, const wchar_t* text) { storage.SetString(name, text); });
    ProfileFileWide wiaStorage(WiaConfigLocationWide());
    if (wiaStorage.IsValid())
        patch([&wiaStorage](const wchar_t* name, const wchar_t* text) { wiaStorage.SetString(L"IO", name, text); });
    else
        AgentLogger().WriteLine("WIA storage invalid");
}

void StoreAnswer(const wchar_t* productName, bool isNetwork)
{
    CrossProductStorage storage;
    TwainStorageOpenWrite(storage, productName);
    AgentLogger().WriteLine("remove Online status");
    storage.Delete("Online");
    AgentLogger().WriteLine("remove Changed status");
    storage.Delete("Changed");
    if (answer.onlineStatus == NoAnswerYet)
    {
        AgentLogger().WriteLine("do not store Online & Changed status");
        return;
    }
    AgentLogger().WriteLine("store Online status %lu", answer.onlineStatus);
    storage.SetULong("Online", answer.onlineStatus);
    if (answer.onlineStatus == Answered)
        PatchAddresses(storage, isNetwork);
    else
        AgentLogger().WriteLine("do not patch device addresses");
    const DWORD changed = answer.addressChanged ? 1 : 0;
    AgentLogger().WriteLine("store Changed status %lu", changed);
    storage.SetULong("Changed", changed);
}

/// Copies the text, cut at 255 characters; a null text leaves the buffer unchanged.
void Take(QueriedAddress& buffer, const wchar_t* text)
{
    if (text == nullptr)
        return;
    const std::wstring_view given = std::wstring_view(text).substr(0, addressCapacity - 1);
    *std::ranges::copy(given, buffer.begin()).out = 0;
}

} // namespace

void ResetOnlineTesting()
{
    answer.onlineStatus = NoAnswerYet;
    answer.addressChanged = false;
}

void RunOnlineTesting(const AgentOptions& options, const KELVFindwellLibrary& library)
{
    AgentLogger().WriteLine("do Online testing");
    const wchar_t* const productName = options.ProductName();
    CrossProductStorage storage;
    TwainStorageOpenReadUser(storage, productName);
    const StoredAddress address = ReadAddress(storage, L"Address");
    const StoredAddress macAddress = ReadAddress(storage, L"MACAddress");
    DWORD connectionType = 0;
    storage.GetULong(L"ConnectionType", &connectionType);
    AgentLogger().WriteLine("original device addresses %S, %S", address.data(), macAddress.data());

    // An address that the answer does not contain keeps its stored value.
    Take(answer.queriedAddress, address.data());
    Take(answer.queriedMacAddress, macAddress.data());
    answer.queryPending = 1;
    const std::uint32_t queryResult = library.QueryDeviceAddress()(
        address.data(), macAddress.data(), &QueryDeviceAddressCallback, productName, options.VendorName());
    if (queryResult != 0)
    {
        WriteLineInTurn("do not store Query results");
        return;
    }
    WriteLineInTurn("store Query results");
    while (answer.queryPending > 0)
        ::Sleep(pollInterval);
    StoreAnswer(productName, connectionType != 0);
}

std::uint32_t QueryDeviceAddressCallback(
    const std::uint32_t* status, const std::uint32_t* change, const wchar_t* const* address,
    const wchar_t* const* macAddress)
{
    const auto number = [](const std::uint32_t* given, std::uint32_t otherwise) {
        return given == nullptr ? otherwise : *given;
    };
    const wchar_t* const addressText = address == nullptr ? nullptr : *address;
    const wchar_t* const macAddressText = macAddress == nullptr ? nullptr : *macAddress;
    const auto shown = [](const wchar_t* text) { return text == nullptr ? L"" : text; };
    constexpr std::uint32_t notAnswered = 1;
    constexpr std::uint32_t notChanged = 2;
    const std::uint32_t statusValue = number(status, notAnswered);
    const std::uint32_t changeValue = number(change, notChanged);
    WriteLineInTurn(
        "qdc: status %d, change %d, lpAddress %S, lpMACAddress %S", static_cast<std::int32_t>(statusValue),
        static_cast<std::int32_t>(changeValue), shown(addressText), shown(macAddressText));
    if (answer.queryPending <= 0)
        return 0; // a repeated call: the first answer is already being stored
    answer.onlineStatus = statusValue == 0 ? Answered : DidNotAnswer;
    if (statusValue == 0)
    {
        Take(answer.queriedAddress, addressText);
        Take(answer.queriedMacAddress, macAddressText);
    }
    answer.addressChanged = changeValue == 0 || changeValue == 1;
    --answer.queryPending;
    return 0;
}

} // namespace scankelv

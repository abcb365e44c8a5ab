#include "OnlineTesting.h"

#include "DriverStorages.h"
#include "Loggers.h"
#include "WiaStorage.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <optional>

namespace scankelv
{
namespace
{

constexpr std::size_t addressCapacity = 256; // characters, terminator counted
constexpr DWORD pollInterval = 200;          // milliseconds

// A stored text may fill all 256 characters without a terminator: the last character terminates it.
using StoredAddress = std::array<wchar_t, addressCapacity + 1>;
constexpr StoredAddress noAddress{'0'};

/// An address as the callback gave it, or else as it was stored. Known to neither, it is sent as "0" and not written.
struct QueriedAddress
{
    std::array<wchar_t, addressCapacity> text{'0'};
    bool isKnown = false;
};

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
    std::atomic_flag isTaken; ///< only the first answer counts
    DWORD onlineStatus = NoAnswerYet;
    bool addressChanged = false;
    QueriedAddress queriedAddress;
    QueriedAddress queriedMacAddress;
};
constinit QueryAnswer answer;

struct PatchedValue
{
    const wchar_t* name;
    QueriedAddress QueryAnswer::*address;
    bool networkOnly;
};
constexpr PatchedValue patchedValues[] = {
    {L"Address", &QueryAnswer::queriedAddress, false},
    {L"Address2", &QueryAnswer::queriedAddress, true},
    {L"MACAddress", &QueryAnswer::queriedMacAddress, false},
};

std::optional<StoredAddress> ReadAddress(CrossProductStorage& storage, const wchar_t* name)
{
    StoredAddress text{};
    return storage.GetString(name, text.data(), addressCapacity) ? std::optional(text) : std::nullopt;
}

void PatchAddresses(CrossProductStorage& storage, bool isNetwork)
{
    const auto patch = [isNetwork](auto& to) {
        for (const auto& [name, address, networkOnly] : patchedValues)
            if ((answer.*address).isKnown && (isNetwork || !networkOnly))
                to.SetString(name, (answer.*address).text.data());
    };
    AgentLogger().WriteLine(
        "patch device addresses %ws, %ws", answer.queriedAddress.text.data(), answer.queriedMacAddress.text.data());
    patch(storage);
    const ResourceLocationWide path = WiaConfigLocationWide();
    if (path.View().empty())
        AgentLogger().WriteLine("WIA storage invalid");
    else if (answer.queriedAddress.isKnown || answer.queriedMacAddress.isKnown) // without one no file is made
        WriteWiaStorage(path, patch);
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

/// Cut at 255 characters; a null text leaves the address as it was.
void Take(QueriedAddress& address, const wchar_t* text)
{
    if (text == nullptr)
        return;
    const std::wstring_view given = std::wstring_view(text).substr(0, addressCapacity - 1);
    *std::ranges::copy(given, address.text.begin()).out = 0;
    address.isKnown = true;
}

/// What the answer leaves out stays as it was stored.
void BeginWith(QueriedAddress& address, const std::optional<StoredAddress>& stored)
{
    Take(address, stored.value_or(noAddress).data());
    address.isKnown = stored.has_value();
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
    const std::optional<StoredAddress> storedAddress = ReadAddress(storage, L"Address");
    const std::optional<StoredAddress> storedMacAddress = ReadAddress(storage, L"MACAddress");
    const StoredAddress address = storedAddress.value_or(noAddress);
    const StoredAddress macAddress = storedMacAddress.value_or(noAddress);
    DWORD connectionType = 0;
    storage.GetULong(L"ConnectionType", &connectionType);
    AgentLogger().WriteLine("original device addresses %S, %S", address.data(), macAddress.data());

    BeginWith(answer.queriedAddress, storedAddress);
    BeginWith(answer.queriedMacAddress, storedMacAddress);
    answer.isTaken.clear();
    answer.queryPending = 1;
    const std::uint32_t queryResult = library.QueryDeviceAddress()(
        address.data(), macAddress.data(), &QueryDeviceAddressCallback, productName, options.VendorName());
    if (queryResult != 0)
    {
        AgentLogger().WriteLine("do not store Query results");
        return;
    }
    AgentLogger().WriteLine("store Query results");
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
    AgentLogger().WriteLine(
        "qdc: status %d, change %d, lpAddress %S, lpMACAddress %S", static_cast<std::int32_t>(statusValue),
        static_cast<std::int32_t>(changeValue), shown(addressText), shown(macAddressText));
    if (answer.isTaken.test_and_set())
        return 0; // the first answer is being stored
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

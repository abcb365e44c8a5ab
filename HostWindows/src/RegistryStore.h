// The registry on disk: keys and values in an SQLite database in the machine's folder.
#pragma once

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>
#include <windows.h>

struct sqlite3;
struct sqlite3_stmt;

namespace hostwindows
{

/// Names one key as long as it exists; the number of a deleted key is never another's.
using KeyId = std::int64_t;

inline constexpr KeyId currentUser = 1;
inline constexpr KeyId localMachine = 2;

struct StoredKey
{
    KeyId id = 0;
    std::u16string name;
};

struct StoredValue
{
    std::u16string name;
    DWORD type = 0;
    std::string data;
};

/// Thrown where a registry function ends with this status.
struct RegistryFailure
{
    LSTATUS status;
};

/// Opened by the first operation, closed when the process ends. What is not there is a result; every failure is thrown:
/// 1018 for a key that was deleted, 161 and 87 for names that cannot be, and what hinders the database. Whoever calls
/// holds Mutex(), unless the process has one thread only.
///
/// Several processes: readers never wait for a writer, thanks to the write-ahead log, and a writer waits for the one
/// before it, 10 seconds at the most, and after such a wait 50 milliseconds until a call succeeds. A killed process
/// loses nothing it had completed. Nothing is synced, so a power failure may lose the last writes.
///
/// A file that is damaged or cannot be used is said once, in one line on standard error. Once damage was met, every
/// operation gives 1015 and the file is not written again; likewise 170 once it could not be locked at all.
class RegistryStore
{
public:
    static RegistryStore& OfThisProcess();
    static std::mutex& Mutex();

    /// @param path  below `start`; doubled and trailing backslashes count as one, and an empty one is `start` itself
    std::optional<KeyId> FindKey(KeyId start, std::u16string_view path);
    /// @param made  whether it was not there before
    KeyId CreateKey(KeyId start, std::u16string_view path, bool isVolatile, bool& made);
    /// With all below it.
    void DeleteKey(KeyId key);
    /// The sub-keys in the order of their names.
    std::vector<StoredKey> KeysOf(KeyId key);

    /// Its name is spelled as it was asked for.
    std::optional<StoredValue> ReadValue(KeyId key, std::u16string_view name);
    void WriteValue(KeyId key, std::u16string_view name, DWORD type, std::string_view data);
    /// @return whether it was there
    bool DeleteValue(KeyId key, std::u16string_view name);
    /// In the order in which they were first written.
    std::vector<StoredValue> ValuesOf(KeyId key);

    /// What is done while it lives is done whole, by Commit, or not at all. One within another is part of it.
    class Transaction
    {
    public:
        explicit Transaction(RegistryStore& store);
        Transaction(const Transaction&) = delete;
        Transaction& operator=(const Transaction&) = delete;
        ~Transaction();
        void Commit();

    private:
        RegistryStore& m_store;
        bool m_isOpen; ///< and ours
    };

private:
    class Query;

    void Open();
    int Connect(const std::string& name, int flags);
    void Disconnect(bool tidy);
    sqlite3_stmt* Prepared(std::string_view sql);
    void RequireKey(KeyId key);
    int ReasonOf(int result) const;
    [[noreturn]] void Fail(int reason);

    sqlite3* m_database = nullptr;
    LSTATUS m_unusable = ERROR_SUCCESS; // the lasting reason why nothing works
    bool m_said = false;
};

} // namespace hostwindows

// The registry on disk: keys and values in an SQLite database in the machine's folder.
#pragma once

#include <array>
#include <cstdint>
#include <mutex>
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

struct StoredValue
{
    std::u16string name;
    DWORD type = 0;
    std::string data;
};

/// Opened by the first operation, closed when the process ends. Each operation is one transaction, and its result a
/// Windows status: 2 for what does not exist, 1018 for a key that was deleted. Whoever calls holds Mutex().
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

    using Path = std::vector<std::u16string>;
    LSTATUS FindKey(KeyId start, const Path& path, KeyId& found);
    LSTATUS CreateKey(KeyId start, const Path& path, bool isVolatile, KeyId& found, bool& made);
    /// Refuses a key with sub-keys (5).
    LSTATUS DeleteKey(KeyId key);
    /// All below the key and its values; with `itself` the key too.
    LSTATUS DeleteTree(KeyId key, bool itself);

    LSTATUS ReadValue(KeyId key, std::u16string_view name, StoredValue& value);
    LSTATUS WriteValue(KeyId key, std::u16string_view name, DWORD type, std::string_view data);
    LSTATUS DeleteValue(KeyId key, std::u16string_view name);

    /// Sub-keys in the order of their names, values in the order in which they were first written.
    LSTATUS ListKeys(KeyId key, std::vector<std::int64_t>& rows);
    LSTATUS ListValues(KeyId key, std::vector<std::int64_t>& rows);
    LSTATUS ReadKeyRow(std::int64_t row, StoredValue& nameOnly);
    LSTATUS ReadValueRow(std::int64_t row, StoredValue& value);

    /// The operations up to Commit become one transaction.
    LSTATUS Begin();
    LSTATUS Commit();
    void Rollback();

    void Close();

private:
    class Query;
    enum class Sql : unsigned;
    static constexpr std::size_t sqlCount = 20;
    static const char* TextOf(Sql sql);

    LSTATUS Open();
    LSTATUS Connect(const char* name, int flags, int& result);
    LSTATUS Prepare(Sql sql, sqlite3_stmt*& statement);
    LSTATUS Run(Sql sql, std::int64_t parameter);
    LSTATUS List(Sql sql, KeyId key, std::vector<std::int64_t>& rows);
    LSTATUS ReadRow(Sql sql, std::int64_t row, StoredValue& value);
    LSTATUS ExistingKey(KeyId key, bool& isVolatile);
    LSTATUS NothingIn(KeyId key);
    LSTATUS Failure(int result);
    void SetHeld(bool held);
    void Disconnect();

    sqlite3* m_database = nullptr;
    std::array<sqlite3_stmt*, sqlCount> m_statements{};
    LSTATUS m_unusable = ERROR_SUCCESS; // the lasting reason why nothing works
    bool m_isHeld = false;              // by a process that does not let go
    bool m_said = false;
};

} // namespace hostwindows

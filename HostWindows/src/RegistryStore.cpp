#include "RegistryStore.h"

#include "Descriptor.h"
#include "LetterCase.h"
#include "Paths.h"
#include "SharedFile.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <sqlite3.h>

namespace hostwindows
{
namespace
{

constexpr int patience = 10000; // milliseconds that a writer waits for others
constexpr int impatience = 50;  // and waits when its whole patience has been of no use
constexpr std::size_t longestKeyName = 255;
constexpr std::size_t longestValueName = 16383;

// Names are UTF-16LE bytes as they were given, so that every text of 16-bit units is a name. `folded` is the name in
// capitals, big-endian: its byte order is the order of the units. Small pages, because each write of a value puts two
// of them into the log.
constexpr const char* schema = R"(
PRAGMA page_size=1024;
CREATE TABLE key(id INTEGER PRIMARY KEY AUTOINCREMENT, parent INTEGER NOT NULL, folded BLOB NOT NULL,
    name BLOB NOT NULL, volatile INTEGER NOT NULL, UNIQUE(parent, folded));
CREATE TABLE value(id INTEGER PRIMARY KEY, key INTEGER NOT NULL, folded BLOB NOT NULL,
    name BLOB NOT NULL, type INTEGER NOT NULL, data BLOB NOT NULL, UNIQUE(key, folded));
INSERT INTO key VALUES(1, 0, 'HKEY_CURRENT_USER', x'', 0), (2, 0, 'HKEY_LOCAL_MACHINE', x'', 0);
PRAGMA user_version=1;
)";
constexpr std::string_view schemaVersion = "1";

std::string Folded(std::u16string_view name)
{
    std::string bytes;
    bytes.reserve(name.size() * 2);
    for (const char16_t unit : name)
    {
        const char16_t capital = Capital(unit);
        bytes += static_cast<char>(capital >> 8);
        bytes += static_cast<char>(capital & 0xFF);
    }
    return bytes;
}

std::string_view Bytes(std::u16string_view name)
{
    return {reinterpret_cast<const char*>(name.data()), name.size() * sizeof(char16_t)};
}

/// Takes the first name off a path; an empty one at its end.
std::u16string_view TakeName(std::u16string_view& path)
{
    path.remove_prefix(std::min(path.find_first_not_of(u'\\'), path.size()));
    const std::u16string_view name = path.substr(0, path.find(u'\\'));
    path.remove_prefix(name.size());
    return name;
}

void RequirePath(std::u16string_view path)
{
    if (path.starts_with(u'\\'))
        throw RegistryFailure{ERROR_BAD_PATHNAME};
    while (!path.empty())
        if (TakeName(path).size() > longestKeyName)
            throw RegistryFailure{ERROR_INVALID_PARAMETER};
}

/// Makes the file of an empty registry, or finds that another process has. It gets its name when it is whole: nobody
/// ever opens a half-made one. @return 0 or an errno value
int MakeEmptyFile(const std::string& path)
{
    sqlite3* database = nullptr;
    sqlite3_int64 size = 0;
    const bool built = ::sqlite3_open(":memory:", &database) == SQLITE_OK &&
                       ::sqlite3_exec(database, schema, nullptr, nullptr, nullptr) == SQLITE_OK;
    const std::unique_ptr<unsigned char, decltype(&::sqlite3_free)> image(
        built ? ::sqlite3_serialize(database, "main", &size, 0) : nullptr, &::sqlite3_free);
    ::sqlite3_close(database);
    if (image == nullptr)
        return ENOMEM;
    // The file format's write and read version: 2 says that the file is used with a write-ahead log.
    image.get()[18] = image.get()[19] = 2;

    const std::string fresh = path + ".new-" + std::to_string(::getpid());
    Descriptor file;
    file.Open(fresh, O_WRONLY | O_CREAT | O_TRUNC, 0666);
    if (!file.IsOpen())
        return errno;
    const std::string_view bytes(reinterpret_cast<const char*>(image.get()), static_cast<std::size_t>(size));
    const bool made =
        WriteAll(file.Number(), bytes) == NO_ERROR && (::link(fresh.c_str(), path.c_str()) == 0 || errno == EEXIST);
    const int error = made ? 0 : errno;
    ::unlink(fresh.c_str());
    return error;
}

/// The name by which the database library reads a file that does not change while it is open.
std::string Unchanging(const std::string& path)
{
    constexpr const char* digits = "0123456789ABCDEF";
    std::string name = "file:";
    for (const char c : path) // all escaped: some have a meaning there
        name.append({'%', digits[static_cast<unsigned char>(c) >> 4], digits[c & 0xF]});
    return name + "?immutable=1";
}

// What a result of the database library is to a caller.
constexpr struct
{
    int result;
    LSTATUS status;
    bool lasts; // would be met at each value again, the lock only after ten more seconds
} failures[] = {
    {SQLITE_CORRUPT, ERROR_REGISTRY_CORRUPT, true},
    {SQLITE_NOTADB, ERROR_REGISTRY_CORRUPT, true},
    {SQLITE_FULL, ERROR_DISK_FULL, false},
    {SQLITE_READONLY, ERROR_ACCESS_DENIED, false},
    {SQLITE_PERM, ERROR_ACCESS_DENIED, false},
    {SQLITE_NOMEM, ERROR_OUTOFMEMORY, false},
    {SQLITE_BUSY, ERROR_BUSY, false},
    {SQLITE_PROTOCOL, ERROR_BUSY, true},
    {0, ERROR_REGISTRY_IO_FAILED, false}, // every other one
};

/// The reason by errno for what the database library calls no more than a failed opening, input or output.
int ResultOfErrno(int error, int otherwise)
{
    switch (error)
    {
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
        return SQLITE_FULL;
    case EACCES:
    case EPERM:
        return SQLITE_PERM;
    case EROFS:
        return SQLITE_READONLY;
    default:
        return otherwise;
    }
}

} // namespace

/// One use of a statement, which is prepared once and is ready for the next use afterwards. Texts given to it outlive
/// it.
class RegistryStore::Query
{
public:
    template <class... Parameters>
    Query(RegistryStore& store, std::string_view sql, const Parameters&... parameters)
        : m_store(store),
          m_statement(store.Prepared(sql))
    {
        int index = 0;
        (Require(Bind(++index, parameters)), ...);
    }
    Query(const Query&) = delete;
    Query& operator=(const Query&) = delete;
    ~Query() { ::sqlite3_reset(m_statement); }

    /// @return whether there is another row
    bool Next()
    {
        const int result = ::sqlite3_step(m_statement);
        if (result != SQLITE_ROW)
            Require(result);
        ::sqlite3_busy_timeout(m_store.m_database, patience);
        return result == SQLITE_ROW;
    }
    /// For what gives no rows. @return whether it changed anything
    bool Run()
    {
        Next();
        return ::sqlite3_changes(m_store.m_database) != 0;
    }

    std::int64_t Number(int column) const { return ::sqlite3_column_int64(m_statement, column); }
    std::string_view Blob(int column) const
    {
        const auto* data = static_cast<const char*>(::sqlite3_column_blob(m_statement, column));
        const auto size = static_cast<std::size_t>(::sqlite3_column_bytes(m_statement, column));
        if (data == nullptr && size != 0) // the database library had no memory for it
            throw std::bad_alloc();
        return {data == nullptr ? "" : data, size};
    }
    std::u16string Name(int column) const
    {
        const std::string_view bytes = Blob(column);
        std::u16string name(bytes.size() / sizeof(char16_t), u'\0');
        std::memcpy(name.data(), bytes.data(), name.size() * sizeof(char16_t));
        return name;
    }

private:
    int Bind(int index, std::int64_t number) { return ::sqlite3_bind_int64(m_statement, index, number); }
    int Bind(int index, std::string_view bytes)
    {
        const char* data = bytes.empty() ? "" : bytes.data(); // a null pointer would be no bytes but NULL
        return ::sqlite3_bind_blob64(m_statement, index, data, bytes.size(), SQLITE_STATIC);
    }
    void Require(int result)
    {
        if (result == SQLITE_OK || result == SQLITE_DONE)
            return;
        // A holder that has outlasted a writer's patience is not waited for at each of the values that follow.
        const int reason = m_store.ReasonOf(result);
        if (reason == SQLITE_BUSY)
            ::sqlite3_busy_timeout(m_store.m_database, impatience);
        m_store.Fail(reason);
    }

    RegistryStore& m_store;
    sqlite3_stmt* m_statement;
};

RegistryStore::Transaction::Transaction(RegistryStore& store) : m_store(store)
{
    store.Open();
    m_isOpen = ::sqlite3_get_autocommit(store.m_database) != 0;
    if (m_isOpen)
        Query(store, "BEGIN IMMEDIATE").Next();
}

RegistryStore::Transaction::~Transaction()
{
    // Some failures have already ended it. Not through a query, which throws.
    if (m_isOpen && ::sqlite3_get_autocommit(m_store.m_database) == 0)
        ::sqlite3_exec(m_store.m_database, "ROLLBACK", nullptr, nullptr, nullptr);
}

void RegistryStore::Transaction::Commit()
{
    if (m_isOpen)
        Query(m_store, "COMMIT").Next();
    m_isOpen = false;
}

RegistryStore& RegistryStore::OfThisProcess()
{
    // Never destroyed, so that static owners may still call; the connection is closed, which tidies the log away.
    static RegistryStore* const store = [] {
        auto* const made = new RegistryStore; // first: without memory for it there is nothing to close
        std::atexit([] {
            const std::lock_guard lock(Mutex());
            RegistryStore& ending = OfThisProcess();
            ending.Disconnect(ending.m_unusable == ERROR_SUCCESS);
        });
        return made;
    }();
    return *store;
}

std::mutex& RegistryStore::Mutex()
{
    static constinit std::mutex mutex;
    return mutex;
}

int RegistryStore::ReasonOf(int result) const
{
    const int primary = result & 0xFF;
    const bool isVague = primary == SQLITE_IOERR || primary == SQLITE_CANTOPEN;
    return isVague ? ResultOfErrno(::sqlite3_system_errno(m_database), primary) : primary;
}

void RegistryStore::Fail(int reason)
{
    const auto* failure = failures;
    while (failure->result != reason && failure->result != 0)
        ++failure;
    if (failure->lasts)
        m_unusable = failure->status;
    // A machine folder that cannot be written has been said already.
    const bool isNews = m_unusable != ERROR_SUCCESS || ::access(MachineFolder().c_str(), W_OK | X_OK) == 0;
    if (!m_said && isNews)
    {
        const char* const what = failure->status == ERROR_REGISTRY_CORRUPT ? "is damaged: " : "cannot be used: ";
        const std::string line =
            "hostwindows: the registry " + MachineFolder() + "/registry " + what + ::sqlite3_errstr(reason) + "\n";
        (void)!::write(STDERR_FILENO, line.data(), line.size());
    }
    m_said = true;
    throw RegistryFailure{failure->status};
}

/// Opens the file and looks into it. @return SQLITE_OK, or the reason why it is not open
int RegistryStore::Connect(const std::string& name, int flags)
{
    int result =
        ::sqlite3_open_v2(name.c_str(), &m_database, flags | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE, nullptr);
    if (result == SQLITE_OK)
    {
        ::sqlite3_busy_timeout(m_database, patience);
        int judged = SQLITE_NOTADB;
        const auto judge = [](void* place, int, char** version, char**) {
            const bool noMemory = version[0] == nullptr; // for the number as a text
            *static_cast<int*>(place) = noMemory                      ? SQLITE_NOMEM
                                        : version[0] == schemaVersion ? SQLITE_OK
                                                                      : SQLITE_NOTADB;
            return 0;
        };
        result = ::sqlite3_exec(m_database, "PRAGMA synchronous=OFF; PRAGMA user_version", judge, &judged, nullptr);
        result = result == SQLITE_OK ? judged : result;
    }
    const int reason = ReasonOf(result);
    if (reason != SQLITE_OK)
        Disconnect(false);
    return reason;
}

void RegistryStore::Open()
{
    if (m_unusable != ERROR_SUCCESS)
        throw RegistryFailure{m_unusable};
    if (m_database != nullptr)
        return;
    const std::string path = MachineFolder() + "/registry";
    int reason = Connect(path, SQLITE_OPEN_READWRITE);
    if (reason != SQLITE_OK && ::access(path.c_str(), F_OK) != 0 && errno == ENOENT)
    {
        const int error = MakeEmptyFile(path);
        reason = error == 0 ? Connect(path, SQLITE_OPEN_READWRITE) : ResultOfErrno(error, SQLITE_CANTOPEN);
    }
    // Where no log can be made beside the file, it can still be read as long as there is none.
    struct ::stat log = {};
    if ((reason == SQLITE_PERM || reason == SQLITE_READONLY) && ::access(path.c_str(), R_OK) == 0 &&
        (::stat((path + "-wal").c_str(), &log) != 0 || log.st_size == 0))
        reason = Connect(Unchanging(path), SQLITE_OPEN_READONLY | SQLITE_OPEN_URI);
    if (reason != SQLITE_OK)
        Fail(reason);
}

/// @param tidy  whether what the log holds goes into the file, and not when that is damaged
void RegistryStore::Disconnect(bool tidy)
{
    if (m_database == nullptr)
        return;
    while (sqlite3_stmt* const statement = ::sqlite3_next_stmt(m_database, nullptr))
        ::sqlite3_finalize(statement);
    ::sqlite3_db_config(m_database, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, tidy ? 0 : 1, nullptr);
    ::sqlite3_close(std::exchange(m_database, nullptr));
}

/// The database library itself keeps what was prepared before.
sqlite3_stmt* RegistryStore::Prepared(std::string_view sql)
{
    Open();
    sqlite3_stmt* statement = nullptr;
    while ((statement = ::sqlite3_next_stmt(m_database, statement)) != nullptr)
        if (sql == ::sqlite3_sql(statement))
            return statement;
    const int result = ::sqlite3_prepare_v3(
        m_database, sql.data(), static_cast<int>(sql.size()), SQLITE_PREPARE_PERSISTENT, &statement, nullptr);
    if (result != SQLITE_OK)
        Fail(ReasonOf(result));
    return statement;
}

void RegistryStore::RequireKey(KeyId key)
{
    if (!Query(*this, "SELECT 1 FROM key WHERE id=?1", key).Next())
        throw RegistryFailure{ERROR_KEY_DELETED};
}

std::optional<KeyId> RegistryStore::FindKey(KeyId start, std::u16string_view path)
{
    RequirePath(path);
    KeyId key = start;
    while (!path.empty())
    {
        const std::string folded = Folded(TakeName(path));
        if (folded.empty()) // the backslashes at the end
            break;
        Query query(*this, "SELECT id FROM key WHERE parent=?1 AND folded=?2", key, folded);
        // What is found below a key proves that the key exists; nothing found proves nothing.
        if (!query.Next())
            return RequireKey(start), std::nullopt;
        key = query.Number(0);
    }
    if (key == start)
        RequireKey(start);
    return key;
}

KeyId RegistryStore::CreateKey(KeyId start, std::u16string_view path, bool isVolatile, bool& made)
{
    // Most keys exist already: a look first spares them a write transaction.
    const std::optional<KeyId> found = FindKey(start, path);
    made = !found;
    if (found)
        return *found;
    Transaction transaction(*this);
    RequireKey(start);
    KeyId key = start;
    made = false;
    for (std::u16string_view name = TakeName(path); !name.empty(); name = TakeName(path))
    {
        if (const std::optional<KeyId> below = FindKey(key, name))
        {
            key = *below;
            continue;
        }
        constexpr const char* add = "INSERT INTO key(parent, folded, name, volatile) "
                                    "SELECT ?1, ?2, ?3, ?4 FROM key WHERE id=?1 AND volatile<=?4";
        const std::string folded = Folded(name);
        if (!Query(*this, add, key, folded, Bytes(name), KeyId{isVolatile}).Run())
            throw RegistryFailure{ERROR_CHILD_MUST_BE_VOLATILE};
        key = ::sqlite3_last_insert_rowid(m_database);
        made = true;
    }
    transaction.Commit();
    return key;
}

void RegistryStore::DeleteKey(KeyId key)
{
// The key ?1 with all below it.
#define WITH_BELOW                                                                                                     \
    "WITH RECURSIVE below(id) AS (VALUES(?1) UNION ALL SELECT key.id FROM key JOIN below ON key.parent=below.id) "
    Transaction transaction(*this);
    RequireKey(key);
    Query(*this, WITH_BELOW "DELETE FROM value WHERE key IN below", key).Run();
    Query(*this, WITH_BELOW "DELETE FROM key WHERE id IN below", key).Run();
    transaction.Commit();
#undef WITH_BELOW
}

std::vector<StoredKey> RegistryStore::KeysOf(KeyId key)
{
    RequireKey(key);
    std::vector<StoredKey> keys;
    Query query(*this, "SELECT id, name FROM key WHERE parent=?1 ORDER BY folded", key);
    while (query.Next())
        keys.push_back({query.Number(0), query.Name(1)});
    return keys;
}

std::optional<StoredValue> RegistryStore::ReadValue(KeyId key, std::u16string_view name)
{
    const std::string folded = Folded(name);
    Query query(*this, "SELECT type, data FROM value WHERE key=?1 AND folded=?2", key, folded);
    if (query.Next())
        return StoredValue{std::u16string(name), static_cast<DWORD>(query.Number(0)), std::string(query.Blob(1))};
    RequireKey(key);
    return std::nullopt;
}

void RegistryStore::WriteValue(KeyId key, std::u16string_view name, DWORD type, std::string_view data)
{
    if (name.size() > longestValueName)
        throw RegistryFailure{ERROR_INVALID_PARAMETER};
    // One statement, so that a key deleted by others meanwhile gets no value. The first spelling of the name stays.
    constexpr const char* write =
        "INSERT INTO value(key, folded, name, type, data) SELECT ?1, ?2, ?3, ?4, ?5 FROM key WHERE id=?1 "
        "ON CONFLICT(key, folded) DO UPDATE SET type=excluded.type, data=excluded.data";
    const std::string folded = Folded(name);
    if (!Query(*this, write, key, folded, Bytes(name), KeyId{type}, data).Run())
        throw RegistryFailure{ERROR_KEY_DELETED};
}

bool RegistryStore::DeleteValue(KeyId key, std::u16string_view name)
{
    const std::string folded = Folded(name);
    if (Query(*this, "DELETE FROM value WHERE key=?1 AND folded=?2", key, folded).Run())
        return true;
    RequireKey(key);
    return false;
}

std::vector<StoredValue> RegistryStore::ValuesOf(KeyId key)
{
    RequireKey(key);
    std::vector<StoredValue> values;
    Query query(*this, "SELECT name, type, data FROM value WHERE key=?1 ORDER BY id", key);
    while (query.Next())
        values.push_back({query.Name(0), static_cast<DWORD>(query.Number(1)), std::string(query.Blob(2))});
    return values;
}

} // namespace hostwindows

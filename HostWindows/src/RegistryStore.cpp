#include "RegistryStore.h"

#include "LetterCase.h"
#include "Paths.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <span>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace hostwindows
{
namespace
{

constexpr int schemaVersion = 1;
constexpr int patience = 10000; // milliseconds that a writer waits for others
constexpr int impatience = 50;  // and waits when its whole patience has been of no use

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

struct DatabaseDeleter
{
    void operator()(sqlite3* database) const { ::sqlite3_close_v2(database); }
};

struct Descriptor
{
    int number;
    ~Descriptor()
    {
        if (number >= 0)
            ::close(number);
    }
};

bool WriteAll(int descriptor, std::span<const unsigned char> bytes)
{
    while (!bytes.empty())
    {
        const ::ssize_t count = ::write(descriptor, bytes.data(), bytes.size());
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            return false;
        bytes = bytes.subspan(static_cast<std::size_t>(count));
    }
    return true;
}

/// Makes the file of an empty registry, or finds that another process has. It gets its name when it is whole: nobody
/// ever opens a half-made one. @return 0 or an errno value
int MakeEmptyFile(const std::string& path)
{
    sqlite3* opened = nullptr;
    const bool built = ::sqlite3_open(":memory:", &opened) == SQLITE_OK &&
                       ::sqlite3_exec(opened, schema, nullptr, nullptr, nullptr) == SQLITE_OK;
    const std::unique_ptr<sqlite3, DatabaseDeleter> database(opened);
    sqlite3_int64 size = 0;
    const std::unique_ptr<unsigned char, decltype(&::sqlite3_free)> image(
        built ? ::sqlite3_serialize(opened, "main", &size, 0) : nullptr, &::sqlite3_free);
    if (image == nullptr)
        return ENOMEM;
    // The file format's write and read version: 2 says that the file is used with a write-ahead log.
    image.get()[18] = image.get()[19] = 2;

    const std::string fresh = path + ".new-" + std::to_string(::getpid());
    const Descriptor file{::open(fresh.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666)};
    if (file.number < 0)
        return errno;
    const bool made = WriteAll(file.number, {image.get(), static_cast<std::size_t>(size)}) &&
                      (::link(fresh.c_str(), path.c_str()) == 0 || errno == EEXIST);
    const int error = made ? 0 : errno;
    ::unlink(fresh.c_str());
    return error;
}

/// A path as the database library's file: URI.
std::string Uri(const std::string& path, std::string_view options)
{
    constexpr const char* digits = "0123456789ABCDEF";
    std::string uri = "file:";
    for (const char c : path)
        if (std::strchr("%?#", c) != nullptr)
            (uri += '%') += {digits[static_cast<unsigned char>(c) >> 4], digits[c & 0xF]};
        else
            uri += c;
    return uri.append(options);
}

struct FailureKind
{
    int result; // of the database library
    LSTATUS status;
    const char* words;
};

constexpr FailureKind failureKinds[] = {
    {SQLITE_CORRUPT, ERROR_REGISTRY_CORRUPT, "is damaged"},
    {SQLITE_NOTADB, ERROR_REGISTRY_CORRUPT, "is damaged"},
    {SQLITE_FULL, ERROR_DISK_FULL, "cannot be written, the disk is full"},
    {SQLITE_READONLY, ERROR_ACCESS_DENIED, "cannot be written"},
    {SQLITE_PERM, ERROR_ACCESS_DENIED, "cannot be used"},
    {SQLITE_NOMEM, ERROR_OUTOFMEMORY, "cannot be used, memory ran out"},
    {SQLITE_BUSY, ERROR_BUSY, "is held by another process"},
    {SQLITE_PROTOCOL, ERROR_BUSY, "cannot be locked"},
    {0, ERROR_REGISTRY_IO_FAILED, "cannot be used"}, // every other one
};

// By errno, for what the database library calls no more than an input or output error.
constexpr struct
{
    int error;
    int result;
} systemErrors[] = {
    {ENOSPC, SQLITE_FULL}, {EDQUOT, SQLITE_FULL}, {EFBIG, SQLITE_FULL},
    {EACCES, SQLITE_PERM}, {EPERM, SQLITE_PERM},  {EROFS, SQLITE_READONLY},
};

int ResultOfErrno(int error)
{
    const auto* known = std::ranges::find(systemErrors, error, [](const auto& row) { return row.error; });
    return known == std::end(systemErrors) ? SQLITE_IOERR : known->result;
}

/// Runs `work` as one transaction, or as part of the one that is open.
template <class Work>
LSTATUS InTransaction(RegistryStore& store, sqlite3* database, const Work& work)
{
    if (::sqlite3_get_autocommit(database) == 0)
        return work();
    LSTATUS status = store.Begin();
    if (status == ERROR_SUCCESS)
    {
        status = work();
        if (status == ERROR_SUCCESS)
            status = store.Commit();
        else
            store.Rollback();
    }
    return status;
}

} // namespace

enum class RegistryStore::Sql : unsigned
{
    synchronous,
    version,
    begin,
    commit,
    rollback,
    findKey,
    existingKey,
    addKey,
    hasSubKeys,
    deleteKey,
    deleteValuesOfKey,
    deleteTreeValues,
    deleteTreeKeys,
    readValue,
    writeValue,
    deleteValue,
    listKeys,
    listValues,
    keyRow,
    valueRow,
};

const char* RegistryStore::TextOf(Sql sql)
{
// The key ?1 with all below it.
#define BELOW                                                                                                          \
    "WITH RECURSIVE below(id) AS (VALUES(?1) UNION ALL SELECT key.id FROM key JOIN below ON key.parent=below.id) "
    constexpr const char* texts[] = {
        "PRAGMA synchronous=OFF",
        "PRAGMA user_version",
        "BEGIN IMMEDIATE",
        "COMMIT",
        "ROLLBACK",
        "SELECT id, volatile FROM key WHERE parent=?1 AND folded=?2",
        "SELECT id, volatile FROM key WHERE id=?1",
        "INSERT INTO key(parent, folded, name, volatile) VALUES(?1, ?2, ?3, ?4)",
        "SELECT 1 FROM key WHERE parent=?1 LIMIT 1",
        "DELETE FROM key WHERE id=?1",
        "DELETE FROM value WHERE key=?1",
        BELOW "DELETE FROM value WHERE key IN below",
        BELOW "DELETE FROM key WHERE id IN below AND id<>?1",
        "SELECT name, type, data FROM value WHERE key=?1 AND folded=?2",
        // One statement, so that a key deleted by others meanwhile gets no value. The first spelling of the name stays.
        ("INSERT INTO value(key, folded, name, type, data) SELECT ?1, ?2, ?3, ?4, ?5 WHERE EXISTS(SELECT 1 FROM key "
         "WHERE id=?1) ON CONFLICT(key, folded) DO UPDATE SET type=excluded.type, data=excluded.data"),
        "DELETE FROM value WHERE key=?1 AND folded=?2",
        "SELECT id FROM key WHERE parent=?1 ORDER BY folded",
        "SELECT id FROM value WHERE key=?1 ORDER BY id",
        "SELECT name, 0, x'' FROM key WHERE id=?1",
        "SELECT name, type, data FROM value WHERE id=?1",
    };
#undef BELOW
    static_assert(std::size(texts) == sqlCount && static_cast<unsigned>(Sql::valueRow) == sqlCount - 1);
    return texts[static_cast<unsigned>(sql)];
}

/// One use of a prepared statement, which is ready for the next one afterwards. Texts given to it outlive it.
class RegistryStore::Query
{
public:
    Query(RegistryStore& store, Sql sql) : m_store(store) { m_status = store.Prepare(sql, m_statement); }
    Query(const Query&) = delete;
    Query& operator=(const Query&) = delete;
    ~Query()
    {
        if (m_statement == nullptr) // it could not be prepared
            return;
        ::sqlite3_reset(m_statement);
        ::sqlite3_clear_bindings(m_statement);
    }

    Query& With(std::int64_t number)
    {
        Check(::sqlite3_bind_int64(m_statement, ++m_parameters, number));
        return *this;
    }

    Query& With(std::string_view bytes)
    {
        const char* data = bytes.empty() ? "" : bytes.data(); // a null pointer would be no bytes but NULL
        Check(::sqlite3_bind_blob64(m_statement, ++m_parameters, data, bytes.size(), SQLITE_STATIC));
        return *this;
    }

    /// @return true while there is a row; false at the end and on a failure, which Status() tells
    bool Next()
    {
        if (m_status != ERROR_SUCCESS)
            return false;
        const int result = ::sqlite3_step(m_statement);
        if (result != SQLITE_ROW)
            Check(result);
        if (m_status == ERROR_SUCCESS && m_store.m_isHeld)
            m_store.SetHeld(false);
        return result == SQLITE_ROW;
    }

    LSTATUS Status() const { return m_status; }
    /// The status when no row was what the caller needs.
    LSTATUS NotFound() const { return m_status != ERROR_SUCCESS ? m_status : LSTATUS{ERROR_FILE_NOT_FOUND}; }
    std::int64_t Number(int column) const { return ::sqlite3_column_int64(m_statement, column); }
    std::string_view Blob(int column) const
    {
        const auto* data = static_cast<const char*>(::sqlite3_column_blob(m_statement, column));
        const auto size = static_cast<std::size_t>(::sqlite3_column_bytes(m_statement, column));
        if (data == nullptr && size != 0) // the database library had no memory for it
            throw std::bad_alloc();
        return {data == nullptr ? "" : data, size};
    }

    void Read(StoredValue& value) const
    {
        const std::string_view name = Blob(0);
        value.name.resize(name.size() / sizeof(char16_t));
        std::memcpy(value.name.data(), name.data(), value.name.size() * sizeof(char16_t));
        value.type = static_cast<DWORD>(Number(1));
        value.data = Blob(2);
    }

private:
    void Check(int result)
    {
        if (m_status == ERROR_SUCCESS && result != SQLITE_OK && result != SQLITE_DONE)
            m_status = m_store.Failure(result);
    }

    RegistryStore& m_store;
    sqlite3_stmt* m_statement = nullptr;
    LSTATUS m_status;
    int m_parameters = 0;
};

RegistryStore& RegistryStore::OfThisProcess()
{
    // Never destroyed, so that static owners may still call; the connection is closed, which tidies the log away.
    static RegistryStore* const store = [] {
        auto* const made = new RegistryStore; // first: without memory for it there is nothing to close
        std::atexit([] {
            const std::lock_guard lock(Mutex());
            OfThisProcess().Close();
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

/// A holder that has outlasted a writer's patience is not waited for at each of the values that follow.
void RegistryStore::SetHeld(bool held)
{
    m_isHeld = held;
    ::sqlite3_busy_timeout(m_database, held ? impatience : patience);
}

LSTATUS RegistryStore::Failure(int result)
{
    const int primary = result & 0xFF;
    if (primary == SQLITE_BUSY && m_database != nullptr)
        SetHeld(true);
    int kindOfFailure = primary;
    if (primary == SQLITE_IOERR || primary == SQLITE_CANTOPEN)
        kindOfFailure = ResultOfErrno(m_database == nullptr ? errno : ::sqlite3_system_errno(m_database));
    const auto* kind = std::ranges::find(failureKinds, kindOfFailure, &FailureKind::result);
    if (kind == std::end(failureKinds))
        --kind;
    // The database library has tried to lock for ten seconds; it would do so for each value.
    if (kind->status == ERROR_REGISTRY_CORRUPT || primary == SQLITE_PROTOCOL)
        m_unusable = kind->status;
    // A machine folder that cannot be written has been said already.
    const bool isNews = m_unusable != ERROR_SUCCESS || ::access(MachineFolder().c_str(), W_OK | X_OK) == 0;
    if (!m_said && isNews)
    {
        const std::string line = "hostwindows: the registry " + MachineFolder() + "/registry " + kind->words + ": " +
                                 ::sqlite3_errstr(result) + "\n";
        (void)!::write(STDERR_FILENO, line.data(), line.size());
    }
    m_said = true;
    return kind->status;
}

LSTATUS RegistryStore::Connect(const char* name, int flags, int& result)
{
    Disconnect();
    result = ::sqlite3_open_v2(name, &m_database, flags | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE, nullptr);
    if (result != SQLITE_OK)
        return ERROR_SUCCESS;
    SetHeld(false);
    // The first read of the file. Its failure is for the caller to judge, so it goes past Failure().
    sqlite3_stmt* statement = nullptr;
    result = ::sqlite3_prepare_v2(m_database, TextOf(Sql::version), -1, &statement, nullptr);
    if (result == SQLITE_OK)
        result = ::sqlite3_step(statement);
    const bool known = result == SQLITE_ROW && ::sqlite3_column_int(statement, 0) == schemaVersion;
    ::sqlite3_finalize(statement);
    if (result == SQLITE_ROW)
        result = known ? SQLITE_OK : SQLITE_NOTADB;
    return result == SQLITE_OK ? Run(Sql::synchronous, 0) : ERROR_SUCCESS;
}

LSTATUS RegistryStore::Open()
{
    if (m_database != nullptr || m_unusable != ERROR_SUCCESS)
        return m_unusable;
    const std::string path = MachineFolder() + "/registry";
    int result = SQLITE_OK;
    LSTATUS status = Connect(path.c_str(), SQLITE_OPEN_READWRITE, result);
    struct ::stat file = {};
    if ((result & 0xFF) == SQLITE_CANTOPEN && ::stat(path.c_str(), &file) != 0 && errno == ENOENT)
    {
        const int error = MakeEmptyFile(path);
        if (error == 0)
            status = Connect(path.c_str(), SQLITE_OPEN_READWRITE, result);
        else
            result = ResultOfErrno(error);
    }
    // Where no log can be made beside the file, it can still be read as long as there is none.
    const int primary = result & 0xFF;
    if ((primary == SQLITE_CANTOPEN || primary == SQLITE_READONLY) && ::access(path.c_str(), R_OK) == 0 &&
        (::stat((path + "-wal").c_str(), &file) != 0 || file.st_size == 0))
        status = Connect(Uri(path, "?immutable=1").c_str(), SQLITE_OPEN_READONLY | SQLITE_OPEN_URI, result);
    if (result != SQLITE_OK)
        status = Failure(result);
    if (status != ERROR_SUCCESS)
        Disconnect();
    return status;
}

void RegistryStore::Disconnect()
{
    for (sqlite3_stmt*& statement : m_statements)
        ::sqlite3_finalize(std::exchange(statement, nullptr));
    if (m_unusable != ERROR_SUCCESS && m_database != nullptr) // what the log holds stays out of a damaged file
        ::sqlite3_db_config(m_database, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    ::sqlite3_close(std::exchange(m_database, nullptr));
}

void RegistryStore::Close()
{
    Disconnect();
}

LSTATUS RegistryStore::Prepare(Sql sql, sqlite3_stmt*& statement)
{
    sqlite3_stmt*& prepared = m_statements[static_cast<unsigned>(sql)];
    if (prepared == nullptr)
    {
        const int result =
            ::sqlite3_prepare_v3(m_database, TextOf(sql), -1, SQLITE_PREPARE_PERSISTENT, &prepared, nullptr);
        if (result != SQLITE_OK)
            return Failure(result);
    }
    statement = prepared;
    return ERROR_SUCCESS;
}

/// A statement with one parameter or none.
LSTATUS RegistryStore::Run(Sql sql, std::int64_t parameter)
{
    Query query(*this, sql);
    if (parameter != 0)
        query.With(parameter);
    query.Next();
    return query.Status();
}

LSTATUS RegistryStore::Begin()
{
    const LSTATUS status = Open();
    return status != ERROR_SUCCESS ? status : Run(Sql::begin, 0);
}

LSTATUS RegistryStore::Commit()
{
    const LSTATUS status = Run(Sql::commit, 0);
    if (status != ERROR_SUCCESS)
        Rollback();
    return status;
}

void RegistryStore::Rollback()
{
    // Some failures have already ended the transaction.
    if (m_database != nullptr && ::sqlite3_get_autocommit(m_database) == 0)
        Run(Sql::rollback, 0);
}

LSTATUS RegistryStore::ExistingKey(KeyId key, bool& isVolatile)
{
    Query query(*this, Sql::existingKey);
    if (query.With(key).Next())
        isVolatile = query.Number(1) != 0;
    else if (query.Status() == ERROR_SUCCESS)
        return ERROR_KEY_DELETED;
    return query.Status();
}

/// The status when a key holds no such value.
LSTATUS RegistryStore::NothingIn(KeyId key)
{
    bool isVolatile = false;
    const LSTATUS status = ExistingKey(key, isVolatile);
    return status != ERROR_SUCCESS ? status : LSTATUS{ERROR_FILE_NOT_FOUND};
}

LSTATUS RegistryStore::FindKey(KeyId start, const Path& path, KeyId& found)
{
    LSTATUS status = Open();
    bool isVolatile = false;
    KeyId key = start;
    for (auto name = path.begin(); status == ERROR_SUCCESS && name != path.end(); ++name)
    {
        const std::string folded = Folded(*name);
        Query query(*this, Sql::findKey);
        if (query.With(key).With(folded).Next())
            key = query.Number(0);
        else
            status = query.NotFound();
    }
    // What is found below a key proves that the key exists; nothing found proves nothing.
    if (status == ERROR_FILE_NOT_FOUND || (status == ERROR_SUCCESS && path.empty()))
    {
        if (const LSTATUS startStatus = ExistingKey(start, isVolatile); startStatus != ERROR_SUCCESS)
            status = startStatus;
    }
    if (status == ERROR_SUCCESS)
        found = key;
    return status;
}

LSTATUS RegistryStore::CreateKey(KeyId start, const Path& path, bool isVolatile, KeyId& found, bool& made)
{
    // Most keys exist already: a look first spares them a write transaction.
    LSTATUS status = FindKey(start, path, found);
    made = status == ERROR_FILE_NOT_FOUND;
    if (!made)
        return status;
    return InTransaction(*this, m_database, [&] {
        KeyId key = start;
        bool parentVolatile = false;
        made = false;
        if (const LSTATUS startStatus = ExistingKey(start, parentVolatile); startStatus != ERROR_SUCCESS)
            return startStatus;
        for (const std::u16string& name : path)
        {
            const std::string folded = Folded(name);
            Query query(*this, Sql::findKey);
            if (query.With(key).With(folded).Next())
            {
                key = query.Number(0);
                parentVolatile = query.Number(1) != 0;
                continue;
            }
            if (query.Status() != ERROR_SUCCESS)
                return query.Status();
            if (parentVolatile && !isVolatile)
                return LSTATUS{ERROR_CHILD_MUST_BE_VOLATILE};
            Query add(*this, Sql::addKey);
            add.With(key).With(folded).With(Bytes(name)).With(std::int64_t{isVolatile}).Next();
            if (add.Status() != ERROR_SUCCESS)
                return add.Status();
            key = ::sqlite3_last_insert_rowid(m_database);
            parentVolatile = isVolatile;
            made = true;
        }
        found = key;
        return ERROR_SUCCESS;
    });
}

LSTATUS RegistryStore::DeleteKey(KeyId key)
{
    const LSTATUS opened = Open();
    if (opened != ERROR_SUCCESS)
        return opened;
    return InTransaction(*this, m_database, [&] {
        bool isVolatile = false;
        LSTATUS status = ExistingKey(key, isVolatile);
        if (status != ERROR_SUCCESS)
            return status;
        {
            Query query(*this, Sql::hasSubKeys);
            if (query.With(key).Next())
                return LSTATUS{ERROR_ACCESS_DENIED};
            status = query.Status();
        }
        for (const Sql sql : {Sql::deleteValuesOfKey, Sql::deleteKey})
            if (status == ERROR_SUCCESS)
                status = Run(sql, key);
        return status;
    });
}

LSTATUS RegistryStore::DeleteTree(KeyId key, bool itself)
{
    const LSTATUS opened = Open();
    if (opened != ERROR_SUCCESS)
        return opened;
    return InTransaction(*this, m_database, [&] {
        bool isVolatile = false;
        LSTATUS status = ExistingKey(key, isVolatile);
        for (const Sql sql : {Sql::deleteTreeValues, Sql::deleteTreeKeys, Sql::deleteKey})
            if (status == ERROR_SUCCESS && (sql != Sql::deleteKey || itself))
                status = Run(sql, key);
        return status;
    });
}

LSTATUS RegistryStore::ReadValue(KeyId key, std::u16string_view name, StoredValue& value)
{
    const LSTATUS opened = Open();
    if (opened != ERROR_SUCCESS)
        return opened;
    const std::string folded = Folded(name);
    Query query(*this, Sql::readValue);
    if (query.With(key).With(folded).Next())
    {
        query.Read(value);
        return ERROR_SUCCESS;
    }
    return query.Status() != ERROR_SUCCESS ? query.Status() : NothingIn(key);
}

LSTATUS RegistryStore::WriteValue(KeyId key, std::u16string_view name, DWORD type, std::string_view data)
{
    const LSTATUS opened = Open();
    if (opened != ERROR_SUCCESS)
        return opened;
    const std::string folded = Folded(name);
    Query query(*this, Sql::writeValue);
    query.With(key).With(folded).With(Bytes(name)).With(std::int64_t{type}).With(data).Next();
    if (query.Status() != ERROR_SUCCESS)
        return query.Status();
    if (::sqlite3_changes(m_database) == 0)
        return ERROR_KEY_DELETED;
    return ERROR_SUCCESS;
}

LSTATUS RegistryStore::DeleteValue(KeyId key, std::u16string_view name)
{
    const LSTATUS opened = Open();
    if (opened != ERROR_SUCCESS)
        return opened;
    const std::string folded = Folded(name);
    Query query(*this, Sql::deleteValue);
    query.With(key).With(folded).Next();
    if (query.Status() != ERROR_SUCCESS || ::sqlite3_changes(m_database) != 0)
        return query.Status();
    return NothingIn(key);
}

LSTATUS RegistryStore::List(Sql sql, KeyId key, std::vector<std::int64_t>& rows)
{
    rows.clear();
    LSTATUS status = Open();
    bool isVolatile = false;
    if (status == ERROR_SUCCESS)
        status = ExistingKey(key, isVolatile);
    if (status != ERROR_SUCCESS)
        return status;
    Query query(*this, sql);
    query.With(key);
    while (query.Next())
        rows.push_back(query.Number(0));
    return query.Status();
}

LSTATUS RegistryStore::ReadRow(Sql sql, std::int64_t row, StoredValue& value)
{
    const LSTATUS opened = Open();
    if (opened != ERROR_SUCCESS)
        return opened;
    Query query(*this, sql);
    if (query.With(row).Next())
        query.Read(value);
    else
        return query.NotFound();
    return ERROR_SUCCESS;
}

LSTATUS RegistryStore::ListKeys(KeyId key, std::vector<std::int64_t>& rows)
{
    return List(Sql::listKeys, key, rows);
}

LSTATUS RegistryStore::ListValues(KeyId key, std::vector<std::int64_t>& rows)
{
    return List(Sql::listValues, key, rows);
}

LSTATUS RegistryStore::ReadKeyRow(std::int64_t row, StoredValue& nameOnly)
{
    return ReadRow(Sql::keyRow, row, nameOnly);
}

LSTATUS RegistryStore::ReadValueRow(std::int64_t row, StoredValue& value)
{
    return ReadRow(Sql::valueRow, row, value);
}

} // namespace hostwindows

// The registry's tables, and its recovery from damage.
//
// The database keeps SQLite's default rollback journal: it also works where a write-ahead log does not
// (network file systems), leaves one file, and writes are rare. Nothing waits for the disk: all that is kept
// here can be made again, and an index file is held against its hash before it is used. All work on the
// database holds `registry.lock` shared; moving it aside holds it exclusively, so no journal of the old file
// can meet the new one.
#include "index/Registry.h"

#include <system_error>
#include <utility>

#include "VexmoraHost/Error.h"
#include "index/Database.h"
#include "system/Posix.h"

namespace VexmoraHost {
namespace {

namespace fs = std::filesystem;

constexpr const char* kDatabaseName = "registry.sqlite3";
constexpr const char* kJournalName = "registry.sqlite3-journal";
constexpr const char* kLockName = "registry.lock";

// Kept in the database's user_version. Version 1 had no table of media.
constexpr std::int64_t kSchemaVersion = 2;
constexpr const char* kCreateSchema =
    "CREATE TABLE IF NOT EXISTS index_files ("
    " identity TEXT PRIMARY KEY, file_name TEXT NOT NULL, bytes INTEGER NOT NULL,"
    " hash TEXT NOT NULL, media_path BLOB NOT NULL);"
    "CREATE INDEX IF NOT EXISTS by_media_path ON index_files (media_path);"
    "CREATE TABLE IF NOT EXISTS media (path BLOB PRIMARY KEY, facts TEXT NOT NULL, identity TEXT NOT NULL);"
    "PRAGMA user_version = 2;";
static_assert(kSchemaVersion == 2, "the pragma above sets the version");

// The database is damaged, or another release's.
class RegistryUnusable : public std::exception {};

std::int64_t SchemaVersion(Database& ioDatabase) {
    Database::Statement statement(ioDatabase, "PRAGMA user_version");
    return statement.Step() ? statement.Number(0) : 0;
}

void PrepareSchema(Database& ioDatabase) {
    if (SchemaVersion(ioDatabase) == kSchemaVersion) return;
    ioDatabase.Execute("BEGIN IMMEDIATE");
    const std::int64_t version = SchemaVersion(ioDatabase);  // another process may have been first
    if (version < 0 || version > kSchemaVersion) throw RegistryUnusable();
    if (version < kSchemaVersion) ioDatabase.Execute(kCreateSchema);
    ioDatabase.Execute("COMMIT");
}

// Moves the database away unless another process has replaced it since inSeen was seen to be damaged.
void BeginAnew(const fs::path& inFolder, const Posix::FileKey& inSeen) {
    const Posix::FileLock lock(inFolder / kLockName, Posix::FileLock::Kind::Exclusive);
    if (Posix::KeyOf(inFolder / kDatabaseName) != inSeen) return;
    std::error_code error;
    fs::remove(inFolder / kJournalName, error);
    if (error) Posix::MoveAside(inFolder / kJournalName);
    Posix::MoveAside(inFolder / kDatabaseName);
}

// Runs inWork on the database. Gives the file instead when that is damaged.
template <typename Work>
std::optional<Posix::FileKey> Try(const fs::path& inFolder, Work& ioWork) {
    const fs::path path = inFolder / kDatabaseName;
    const Posix::FileLock lock(inFolder / kLockName, Posix::FileLock::Kind::Shared);
    try {
        Database database(path);
        PrepareSchema(database);
        ioWork(database);
        return std::nullopt;
    } catch (const DatabaseError& error) {
        if (!error.IsDamage() && !fs::is_directory(path)) {
            throw Error(Vexmora_Failure, path, std::string("cannot be used: ") + error.what(),
                        "check permissions and free space, or choose another index folder");
        }
    } catch (const RegistryUnusable&) {
    }
    return Posix::KeyOf(path).value_or(Posix::FileKey{});
}

// Runs inWork on the database, on a new one if it is damaged. inWork may run twice.
template <typename Work>
void WithDatabase(const fs::path& inFolder, Work inWork) {
    constexpr int kRepairs = 2;  // another process may damage or repair it meanwhile
    for (int repair = 0; repair < kRepairs; ++repair) {
        const auto damaged = Try(inFolder, inWork);
        if (!damaged) return;
        BeginAnew(inFolder, *damaged);
    }
    if (Try(inFolder, inWork)) {
        throw Error(Vexmora_Failure, inFolder / kDatabaseName, "is damaged again and again",
                    "check the disk, or choose another index folder");
    }
}

// The identity that was recorded with the media's path and facts; empty when there is none.
std::string RecordedIdentity(Database& ioDatabase, const RegistryMedia& inMedia) {
    Database::Statement find(ioDatabase, "SELECT identity FROM media WHERE path = ? AND facts = ?");
    find.BindBlob(1, inMedia.path).Bind(2, inMedia.facts);
    return find.Step() ? find.Bytes(0) : std::string();
}

std::optional<RegistryEntry> EntryOf(Database& ioDatabase, const std::string& inIdentity) {
    Database::Statement find(ioDatabase, "SELECT file_name, bytes, hash FROM index_files WHERE identity = ?");
    find.Bind(1, inIdentity);
    if (!find.Step()) return std::nullopt;
    return RegistryEntry{inIdentity, find.Bytes(0), static_cast<std::uint64_t>(find.Number(1)),
                         find.Bytes(2)};
}

void RecordMedia(Database& ioDatabase, const RegistryMedia& inMedia, const std::string& inIdentity) {
    Database::Statement(ioDatabase, "INSERT OR REPLACE INTO media VALUES (?, ?, ?)")
        .BindBlob(1, inMedia.path)
        .Bind(2, inMedia.facts)
        .Bind(3, inIdentity)
        .Step();
}

// A folder that may only be read serves as well: the media is identified each time.
void RecordIfPossible(Database& ioDatabase, const RegistryMedia& inMedia, const std::string& inIdentity) {
    try {
        RecordMedia(ioDatabase, inMedia, inIdentity);
    } catch (const DatabaseError& error) {
        if (error.IsDamage()) throw;
    }
}

}  // namespace

Registry::Registry(std::filesystem::path inFolder) : mFolder(std::move(inFolder)) {}

std::optional<RegistryEntry> Registry::Find(const RegistryMedia& inMedia,
                                            const std::function<std::string()>& inIdentify) const {
    std::optional<RegistryEntry> entry;
    std::string identity;  // empty until it is known
    WithDatabase(mFolder, [&](Database& ioDatabase) {
        if (!inMedia.facts.empty()) entry = EntryOf(ioDatabase, RecordedIdentity(ioDatabase, inMedia));
        if (entry) return;
        if (identity.empty()) identity = inIdentify();
        entry = EntryOf(ioDatabase, identity);
        if (entry && !inMedia.facts.empty()) RecordIfPossible(ioDatabase, inMedia, identity);
    });
    return entry;
}

std::vector<std::string> Registry::Record(const RegistryEntry& inEntry, const RegistryMedia& inMedia,
                                          const std::function<void()>& inMove) const {
    std::vector<std::string> outdated;
    bool moved = false;
    WithDatabase(mFolder, [&](Database& ioDatabase) {
        outdated.clear();
        ioDatabase.Execute("BEGIN IMMEDIATE");
        if (!std::exchange(moved, true)) inMove();
        constexpr const char* kOfOtherContent = "FROM index_files WHERE media_path = ?1 AND identity <> ?2";
        const std::string select = std::string("SELECT file_name ") + kOfOtherContent;
        Database::Statement others(ioDatabase, select.c_str());
        others.BindBlob(1, inMedia.path).Bind(2, inEntry.identity);
        while (others.Step()) outdated.push_back(others.Bytes(0));
        const std::string remove = std::string("DELETE ") + kOfOtherContent;
        Database::Statement forget(ioDatabase, remove.c_str());
        forget.BindBlob(1, inMedia.path).Bind(2, inEntry.identity).Step();
        Database::Statement(ioDatabase, "INSERT OR REPLACE INTO index_files VALUES (?, ?, ?, ?, ?)")
            .Bind(1, inEntry.identity)
            .Bind(2, inEntry.fileName)
            .Bind(3, static_cast<std::int64_t>(inEntry.bytes))
            .Bind(4, inEntry.hash)
            .BindBlob(5, inMedia.path)
            .Step();
        RecordMedia(ioDatabase, inMedia, inEntry.identity);
        ioDatabase.Execute("COMMIT");
    });
    return outdated;
}

}  // namespace VexmoraHost

// The only file that speaks SQLite.
#include "index/Database.h"

#include <sqlite3.h>

#include <new>

namespace VexmoraHost {
namespace {

constexpr int kBusyMilliseconds = 10'000;

}  // namespace

bool DatabaseError::IsDamage() const noexcept {
    // SQLITE_ERROR: our statements are fixed, so the tables must be somebody else's.
    return mCode == SQLITE_CORRUPT || mCode == SQLITE_NOTADB || mCode == SQLITE_ERROR ||
           mCode == SQLITE_MISMATCH;
}

void Database::CloseConnection::operator()(sqlite3* inConnection) const noexcept {
    sqlite3_close_v2(inConnection);
}

Database::Database(const std::filesystem::path& inPath) {
    sqlite3* connection = nullptr;
    const int code =
        sqlite3_open_v2(inPath.c_str(), &connection,
                        SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_FULLMUTEX, nullptr);
    mConnection.reset(connection);
    if (!mConnection) throw std::bad_alloc();
    if (code != SQLITE_OK) Throw(code);
    sqlite3_busy_timeout(connection, kBusyMilliseconds);
    Execute("PRAGMA synchronous = OFF");
}

void Database::Throw(int inCode) const {
    const int code = inCode & 0xFF;  // without the extension
    if (code == SQLITE_NOMEM) throw std::bad_alloc();
    throw DatabaseError(code, sqlite3_errmsg(mConnection.get()));
}

void Database::Execute(const char* inSql) {
    const int code = sqlite3_exec(mConnection.get(), inSql, nullptr, nullptr, nullptr);
    if (code != SQLITE_OK) Throw(code);
}

void Database::Statement::Finalize::operator()(sqlite3_stmt* inStatement) const noexcept {
    sqlite3_finalize(inStatement);
}

Database::Statement::Statement(Database& ioDatabase, const char* inSql) : mDatabase(ioDatabase) {
    sqlite3_stmt* statement = nullptr;
    Check(sqlite3_prepare_v2(mDatabase.mConnection.get(), inSql, -1, &statement, nullptr));
    mStatement.reset(statement);
}

void Database::Statement::Check(int inCode) const {
    if (inCode != SQLITE_OK) mDatabase.Throw(inCode);
}

Database::Statement& Database::Statement::Bind(int inParameter, std::string_view inText) {
    // A null destructor is SQLITE_STATIC; the copying SQLITE_TRANSIENT is a cast of -1 to a function pointer,
    // so callers keep what they bind alive until the statement has run.
    Check(sqlite3_bind_text64(mStatement.get(), inParameter, inText.data(), inText.size(), nullptr,
                              SQLITE_UTF8));
    return *this;
}

Database::Statement& Database::Statement::BindBlob(int inParameter, std::string_view inBytes) {
    Check(sqlite3_bind_blob64(mStatement.get(), inParameter, inBytes.data(), inBytes.size(), nullptr));
    return *this;
}

Database::Statement& Database::Statement::Bind(int inParameter, std::int64_t inNumber) {
    Check(sqlite3_bind_int64(mStatement.get(), inParameter, inNumber));
    return *this;
}

bool Database::Statement::Step() {
    const int code = sqlite3_step(mStatement.get());
    if (code == SQLITE_ROW) return true;
    if (code != SQLITE_DONE) mDatabase.Throw(code);
    return false;
}

std::int64_t Database::Statement::Number(int inColumn) {
    return sqlite3_column_int64(mStatement.get(), inColumn);
}

std::string Database::Statement::Bytes(int inColumn) {
    const void* const bytes = sqlite3_column_blob(mStatement.get(), inColumn);
    const int count = sqlite3_column_bytes(mStatement.get(), inColumn);
    if (bytes == nullptr) return {};
    return {static_cast<const char*>(bytes), static_cast<std::size_t>(count)};
}

}  // namespace VexmoraHost

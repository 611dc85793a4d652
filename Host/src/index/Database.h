// An SQLite database file and the statements run on it.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

struct sqlite3;
struct sqlite3_stmt;

namespace VexmoraHost {

/// SQLite refused something.
class DatabaseError : public std::runtime_error {
  public:
    DatabaseError(int inCode, const std::string& inText) : std::runtime_error(inText), mCode(inCode) {}
    /// Whether the file is to blame (no database, torn, not our tables) rather than the disk or other users.
    bool IsDamage() const noexcept;

  private:
    int mCode;
};

/// A connection. One thread at a time; must not be carried across a fork. Every function throws DatabaseError
/// or std::bad_alloc. The destructor undoes a transaction that was not committed.
class Database {
  public:
    /// Opens or makes the file. Statements wait up to ten seconds for other users, and never for the disk:
    /// what a failing system had not written yet is lost.
    explicit Database(const std::filesystem::path& inPath);

    /// Runs statements that have no parameters and no result.
    void Execute(const char* inSql);

    /// One statement. Parameters and columns count from 1 and from 0, as in SQLite.
    class Statement {
      public:
        Statement(Database& ioDatabase, const char* inSql);
        Statement& Bind(int inParameter, std::string_view inText);
        Statement& BindBlob(int inParameter, std::string_view inBytes);
        Statement& Bind(int inParameter, std::int64_t inNumber);
        /// Whether there is a (further) row.
        bool Step();
        std::int64_t Number(int inColumn);
        std::string Bytes(int inColumn);

      private:
        struct Finalize {
            void operator()(sqlite3_stmt* inStatement) const noexcept;
        };
        void Check(int inCode) const;

        Database& mDatabase;
        std::unique_ptr<sqlite3_stmt, Finalize> mStatement;
    };

  private:
    struct CloseConnection {
        void operator()(sqlite3* inConnection) const noexcept;
    };
    [[noreturn]] void Throw(int inCode) const;

    std::unique_ptr<sqlite3, CloseConnection> mConnection;
};

}  // namespace VexmoraHost

#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <string_view>

// SQLite as the state file needs it. Nothing here is locked: one thread at a time.

// One statement of an open database, prepared once and run many times. It must go before its
// database does.
class TcrStatement {
  public:
    TcrStatement() = default;

    // False when the database refuses the text.
    bool Prepare(sqlite3* database, const char* sql);

    // The next parameter of the next run. Bytes must live until then.
    TcrStatement& Bind(int64_t value);
    TcrStatement& Bind(std::string_view bytes);
    // Runs a statement that gives no rows; parameters start anew. False with the reason in the
    // database.
    bool Run();

    // Goes to the next row: SQLITE_ROW, SQLITE_DONE, or the error.
    int Step() { return sqlite3_step(m_statement.get()); }
    // Ends a run, so that another can begin and the database may end its transaction.
    void Reset();

    // A column of the row, from 0. False for a value that does not fit: of another kind, beyond
    // the number's range, longer than max_size.
    template <typename Number>
    bool Get(int column, Number& value) const {
        int64_t wide = 0;
        if (!GetWide(column, wide) || wide < std::numeric_limits<Number>::min()) return false;
        if (wide > 0 && static_cast<uint64_t>(wide) > kMax<Number>) return false;
        value = static_cast<Number>(wide);
        return true;
    }
    bool Get(int column, bool& value) const;
    bool Get(int column, std::string& bytes, int max_size) const;

  private:
    struct Finalize {
        void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
    };
    template <typename Number>
    static constexpr uint64_t kMax = static_cast<uint64_t>(std::numeric_limits<Number>::max());

    bool GetWide(int column, int64_t& value) const;

    std::unique_ptr<sqlite3_stmt, Finalize> m_statement;
    int m_bound = 0;
};

// One open database. Closed when it goes, or by Close.
class TcrDatabase {
  public:
    TcrDatabase() = default;

    // With SQLite's open flags. False with the reason in the database, which then is to be closed.
    bool Open(const std::string& path, int flags);
    void Close() { m_database.reset(); }

    // Statements without rows; false when one of them fails.
    bool Execute(const char* sql);
    // The first column of a statement's first row: false when there is none.
    bool Ask(const char* sql, int64_t& answer);
    bool Ask(const char* sql, std::string& answer);
    // Ends a transaction that is open without its changes.
    void RollBack();

    sqlite3* Handle() const { return m_database.get(); }
    // Why the last call failed, with the system's reason where there is one.
    std::string Reason() const;
    // Whether it failed because another process holds the file.
    bool IsHeldByAnother() const;

  private:
    struct CloseDatabase {
        void operator()(sqlite3* database) const { sqlite3_close_v2(database); }
    };
    std::unique_ptr<sqlite3, CloseDatabase> m_database;
};

#include "tcr/state_database.h"

#include <cstring>

namespace {

constexpr int kMaxTextSize = 4096;  // of an answer in one line

}  // namespace

bool TcrStatement::Prepare(sqlite3* database, const char* sql) {
    sqlite3_stmt* statement = nullptr;
    int result =
        sqlite3_prepare_v3(database, sql, -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr);
    m_statement.reset(statement);
    return result == SQLITE_OK;
}

TcrStatement& TcrStatement::Bind(int64_t value) {
    sqlite3_bind_int64(m_statement.get(), ++m_bound, value);
    return *this;
}

TcrStatement& TcrStatement::Bind(std::string_view bytes) {
    // A null pointer would be bound as NULL.
    const char* data = bytes.data() ? bytes.data() : "";
    sqlite3_bind_blob64(m_statement.get(), ++m_bound, data, bytes.size(), SQLITE_STATIC);
    return *this;
}

bool TcrStatement::Run() {
    int result = Step();
    Reset();
    return result == SQLITE_DONE;
}

void TcrStatement::Reset() {
    sqlite3_reset(m_statement.get());
    m_bound = 0;
}

bool TcrStatement::GetWide(int column, int64_t& value) const {
    if (sqlite3_column_type(m_statement.get(), column) != SQLITE_INTEGER) return false;
    value = sqlite3_column_int64(m_statement.get(), column);
    return true;
}

bool TcrStatement::Get(int column, bool& value) const {
    int64_t wide = 0;
    if (!GetWide(column, wide) || wide < 0 || wide > 1) return false;
    value = wide == 1;
    return true;
}

bool TcrStatement::Get(int column, std::string& bytes, int max_size) const {
    int type = sqlite3_column_type(m_statement.get(), column);
    if (type != SQLITE_BLOB && type != SQLITE_TEXT) return false;
    const void* data = sqlite3_column_blob(m_statement.get(), column);
    int size = sqlite3_column_bytes(m_statement.get(), column);
    if (size > max_size) return false;
    bytes.assign(static_cast<const char*>(size > 0 ? data : ""), static_cast<size_t>(size));
    return true;
}

bool TcrDatabase::Open(const std::string& path, int flags) {
    sqlite3* database = nullptr;
    int result = sqlite3_open_v2(path.c_str(), &database, flags, nullptr);
    m_database.reset(database);
    return result == SQLITE_OK;
}

bool TcrDatabase::Execute(const char* sql) {
    return sqlite3_exec(Handle(), sql, nullptr, nullptr, nullptr) == SQLITE_OK;
}

bool TcrDatabase::Ask(const char* sql, int64_t& answer) {
    TcrStatement question;
    return question.Prepare(Handle(), sql) && question.Step() == SQLITE_ROW &&
           question.Get(0, answer);
}

bool TcrDatabase::Ask(const char* sql, std::string& answer) {
    TcrStatement question;
    return question.Prepare(Handle(), sql) && question.Step() == SQLITE_ROW &&
           question.Get(0, answer, kMaxTextSize);
}

void TcrDatabase::RollBack() {
    if (Handle() && sqlite3_get_autocommit(Handle()) == 0) Execute("ROLLBACK");
}

std::string TcrDatabase::Reason() const {
    if (!Handle()) return "out of memory";
    std::string reason = sqlite3_errmsg(Handle());
    int code = sqlite3_errcode(Handle()) & 0xFF;
    int system = sqlite3_system_errno(Handle());
    bool of_system = code == SQLITE_IOERR || code == SQLITE_CANTOPEN || code == SQLITE_FULL;
    return of_system && system != 0 ? reason + " (" + strerror(system) + ")" : reason;
}

bool TcrDatabase::IsHeldByAnother() const {
    return Handle() && (sqlite3_errcode(Handle()) & 0xFF) == SQLITE_BUSY;
}

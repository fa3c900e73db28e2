// How a file is taken up. Until everything about it is known to be good, nothing is written to it
// or to its log: the database only reads, within one transaction that also holds the file.
//
//   tcr_state_examine   path, kind, first bytes
//   Hold                exclusive lock
//   CheckContent        version, SQLite's own check, tables
//   Load                migration of an earlier version, rows, ranges; then it is committed
//   Settle              write-ahead log, mode 0600, statements

#include "tcr/state_file.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <utility>

#include "tcr/state_check.h"
#include "tcr/state_path.h"

namespace {

constexpr char kLogSuffix[] = "-wal";
constexpr size_t kMaxFaultSize = 200;
constexpr int kMaxValueSize = 1 << 20;  // far beyond any row or statement of ours

// In the file's header: 2 stands for a database with a write-ahead log.
constexpr size_t kWriteVersionOffset = 18;
constexpr size_t kReadVersionOffset = 19;
constexpr char kWithLog = 2;

// Flushed at each commit; locks kept, the log's index in memory; nothing to disk before a commit.
constexpr char kSettings[] =
    "PRAGMA locking_mode = EXCLUSIVE; PRAGMA synchronous = FULL; PRAGMA cache_spill = OFF;"
    "PRAGMA cell_size_check = ON; PRAGMA temp_store = MEMORY; PRAGMA mmap_size = 0;"
    "PRAGMA journal_size_limit = 4194304";

struct FreeMemory {
    void operator()(void* memory) const { sqlite3_free(memory); }
};

// What the database says of a damaged file may hold any of its bytes.
std::string OneLine(const std::string& text) {
    std::string line = text.substr(0, std::min(text.find('\n'), kMaxFaultSize));
    for (char& c : line) {
        if (c < ' ' || c > '~') c = '.';
    }
    return line;
}

}  // namespace

bool TcrStateFile::Fail(std::string& fault, const char* what) {
    fault = std::string(what) + ": " + m_database.Reason();
    return false;
}

bool TcrStateFile::Open(const std::string& path, TcrStateImage& image, std::string& fault,
                        TcrStateSteps steps) {
    m_path = path;
    bool exists = false;
    bool open = tcr_state_examine(m_path, exists, fault);
    if (open && !exists) open = Create(steps, fault) && tcr_state_examine(m_path, exists, fault);
    if (open) {
        m_remove_log = access((m_path + kLogSuffix).c_str(), F_OK) != 0;
        open = TakeUp(image, steps, fault);
        if (!open) GiveUp();
    }
    if (!open) fault = path + ": " + OneLine(fault);
    m_path = path;
    return open;
}

// The first content is made in memory, so that there never is half a file.
bool TcrStateFile::Create(TcrStateSteps steps, std::string& fault) {
    bool made = m_database.Open(":memory:", SQLITE_OPEN_READWRITE) &&
                tcr_state_migrate(m_database, steps, 0);
    sqlite3_int64 size = 0;
    std::unique_ptr<unsigned char, FreeMemory> bytes;
    if (made) bytes.reset(sqlite3_serialize(m_database.Handle(), "main", &size, 0));
    if (!bytes) return Fail(fault, "cannot be made");
    std::string content(reinterpret_cast<const char*>(bytes.get()), static_cast<size_t>(size));
    m_database.Close();
    content[kWriteVersionOffset] = content[kReadVersionOffset] = kWithLog;
    return tcr_state_create(m_path, content, fault);
}

bool TcrStateFile::TakeUp(TcrStateImage& image, TcrStateSteps steps, std::string& fault) {
    if (!m_database.Open(m_path, SQLITE_OPEN_READWRITE)) return Fail(fault, "cannot be opened");
    return Hold(fault) && CheckContent(steps, fault) && Load(image, fault) && Settle(fault);
}

bool TcrStateFile::Hold(std::string& fault) {
    sqlite3* handle = m_database.Handle();
    sqlite3_limit(handle, SQLITE_LIMIT_LENGTH, kMaxValueSize);
    // What the file's own tables say is not trusted; closing leaves file and log as they are.
    sqlite3_db_config(handle, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
    sqlite3_db_config(handle, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
    sqlite3_db_config(handle, SQLITE_DBCONFIG_ENABLE_TRIGGER, 0, nullptr);
    sqlite3_db_config(handle, SQLITE_DBCONFIG_ENABLE_VIEW, 0, nullptr);
    sqlite3_db_config(handle, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    if (sqlite3_db_readonly(handle, "main") != 0) {
        fault = "cannot be written";
        return false;
    }
    if (m_database.Execute(kSettings) && m_database.Execute("BEGIN EXCLUSIVE")) return true;
    if (!m_database.IsHeldByAnother()) return Fail(fault, "cannot be read");
    m_remove_log = false;  // it is the other's
    fault = "is held by another central router";
    return false;
}

bool TcrStateFile::CheckContent(TcrStateSteps steps, std::string& fault) {
    int64_t latest = static_cast<int64_t>(steps.size());
    int64_t id = 0;
    std::string verdict;
    if (!m_database.Ask("PRAGMA user_version", m_version) ||
        !m_database.Ask("PRAGMA application_id", id)) {
        return Fail(fault, "cannot be read");
    }
    if (m_version > latest) {
        fault = "has the later version " + std::to_string(m_version) + ", known here is " +
                std::to_string(latest);
    } else if (!m_database.Ask("PRAGMA integrity_check(1)", verdict)) {
        return Fail(fault, "cannot be read");
    } else if (verdict != "ok") {
        fault = "is damaged: " + verdict;
    } else if (m_version < 1 || id != kTcrApplicationId ||
               !tcr_state_has_schema(m_database, steps, m_version)) {
        fault = "is damaged: it does not have the tables of its version";
    } else {
        return m_version == latest || tcr_state_migrate(m_database, steps, m_version) ||
               Fail(fault, "cannot be migrated");
    }
    return false;
}

bool TcrStateFile::Load(TcrStateImage& image, std::string& fault) {
    TcrStateImage loaded;
    std::string reason;
    if (!tcr_state_load(m_database, loaded, reason) || !tcr_state_check(loaded, reason)) {
        fault = "is damaged: " + reason;
        return false;
    }
    if (!m_database.Execute("COMMIT")) return Fail(fault, "cannot be written");
    image = std::move(loaded);
    return true;
}

bool TcrStateFile::Settle(std::string& fault) {
    std::string mode;
    if (!m_database.Ask("PRAGMA journal_mode = WAL", mode) || mode != "wal" ||
        !m_tables.Prepare(m_database)) {
        return Fail(fault, "cannot be written");
    }
    if (chmod(m_path.c_str(), S_IRUSR | S_IWUSR) != 0) {
        fault = std::string("cannot be made its owner's only: ") + strerror(errno);
        return false;
    }
    chmod((m_path + kLogSuffix).c_str(), S_IRUSR | S_IWUSR);  // one of a restored copy
    sqlite3_db_config(m_database.Handle(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 0, nullptr);
    return true;
}

// An empty log is what the database made on its way. It goes while the file is held still: the next
// to hold it may make its own.
void TcrStateFile::GiveUp() {
    m_database.RollBack();
    struct stat status = {};
    std::string log = m_path + kLogSuffix;
    if (m_remove_log && stat(log.c_str(), &status) == 0 && status.st_size == 0) unlink(log.c_str());
    Close();
}

bool TcrStateFile::Write(const TcrStateBatch& batch, std::string& fault) {
    if (m_database.Execute("BEGIN IMMEDIATE") && m_tables.Apply(batch) &&
        m_database.Execute("COMMIT")) {
        return true;
    }
    fault = m_path + ": " + OneLine(m_database.Reason());
    m_database.RollBack();
    return false;
}

void TcrStateFile::Close() {
    m_database.RollBack();
    m_tables.Release();
    m_database.Close();
}

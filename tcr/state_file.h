#pragma once

#include <string>

#include "tcr/state_database.h"
#include "tcr/state_record.h"
#include "tcr/state_schema.h"
#include "tcr/state_table.h"

// The central router's memory on disk: an SQLite database that one program has for as long as it
// runs. What Write reported as written is there after a kill at any moment, and after a power cut
// as far as the file system keeps what it was asked to flush.
//
// A file that cannot be taken up is left as it is, byte for byte, and so is what lies beside it.
// After a kill the last changes lie in FILE-wal: both belong together.
//
// One thread at a time: the main thread opens it, then the writer's has it.
class TcrStateFile {
  public:
    TcrStateFile() = default;
    ~TcrStateFile() { Close(); }
    TcrStateFile(const TcrStateFile&) = delete;
    TcrStateFile& operator=(const TcrStateFile&) = delete;

    // Opens the file, or makes it with mode 0600, holds it, checks it, brings it to the latest
    // version and reads it. False with one line, which begins with the path, in fault: a later
    // version, damage, a value out of its range, content of another program, or a file that
    // another central router holds. Other steps than the program's own are for tests.
    bool Open(const std::string& path, TcrStateImage& image, std::string& fault,
              TcrStateSteps steps = kTcrStateSteps);
    // All of the batch, on disk when it returns, or nothing of it: false with a line as above.
    // Another attempt may succeed.
    bool Write(const TcrStateBatch& batch, std::string& fault);
    // The file is whole then and lies alone.
    void Close();

  private:
    bool Create(TcrStateSteps steps, std::string& fault);
    bool TakeUp(TcrStateImage& image, TcrStateSteps steps, std::string& fault);
    bool Hold(std::string& fault);
    bool CheckContent(TcrStateSteps steps, std::string& fault);
    bool Load(TcrStateImage& image, std::string& fault);
    bool Settle(std::string& fault);
    bool Fail(std::string& fault, const char* what);
    void GiveUp();

    std::string m_path;
    TcrDatabase m_database;
    TcrStateTables m_tables;
    int64_t m_version = 0;      // that the file had when it was opened
    bool m_remove_log = false;  // FILE-wal, should it be empty: it was not there before
};

#pragma once

#include <string>

#include "tcr/state_database.h"
#include "tcr/state_record.h"

// The records as rows of the latest version's tables. One thread.

// Reads every row. False with the reason in fault: a row that cannot be read, a value that no
// record can hold, more rows than there can be records. Ranges beyond that are tcr_state_check's.
bool tcr_state_load(TcrDatabase& database, TcrStateImage& image, std::string& fault);

// Changes rows, with statements that are prepared once.
class TcrStateTables {
  public:
    // False with the reason in the database, which must outlive this object.
    bool Prepare(TcrDatabase& database);
    // Within a transaction of the caller's. False with the reason in the database.
    bool Apply(const TcrStateBatch& batch);
    // Lets the statements go, so that the database can be closed.
    void Release() { *this = TcrStateTables(); }

  private:
    bool RemoveEdges(int64_t first, int64_t last);
    bool Put(const TcrSubnetRecord& subnet);
    bool Put(const TcrEdgeRecord& edge);

    TcrStatement m_remove_subnet;
    TcrStatement m_remove_edges;
    TcrStatement m_remove_devices;
    TcrStatement m_put_subnet;
    TcrStatement m_put_edge;
    TcrStatement m_put_device;
};

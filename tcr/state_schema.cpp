#include "tcr/state_schema.h"

#include <cstddef>

namespace {

// Names and labels are bytes of any kind. An edge's identifier is the index of its subnet << 8 |
// its slot. Addresses are numbers in host byte order.
constexpr char kVersion1[] = R"(
CREATE TABLE subnet (
    number INTEGER PRIMARY KEY,
    name BLOB NOT NULL,
    gateway INTEGER NOT NULL,
    mask INTEGER NOT NULL
) STRICT;
CREATE TABLE edge (
    identifier INTEGER PRIMARY KEY,
    serial INTEGER NOT NULL,
    label BLOB NOT NULL,
    type INTEGER NOT NULL,
    layer INTEGER NOT NULL,
    remote_address INTEGER NOT NULL,
    remote_port INTEGER NOT NULL,
    local_address INTEGER NOT NULL,
    lease INTEGER NOT NULL,
    presence INTEGER NOT NULL,
    listed INTEGER NOT NULL,
    registered INTEGER NOT NULL,
    settled INTEGER NOT NULL,
    heard INTEGER NOT NULL
) STRICT;
CREATE TABLE device (
    identifier INTEGER NOT NULL,
    place INTEGER NOT NULL,
    address INTEGER NOT NULL,
    mac BLOB NOT NULL,
    status INTEGER NOT NULL,
    PRIMARY KEY (identifier, place)
) STRICT, WITHOUT ROWID;
)";

constexpr char kVersion2[] = "ALTER TABLE edge ADD COLUMN sealed INTEGER NOT NULL DEFAULT 0;";

constexpr const char* kSteps[] = {kVersion1, kVersion2};

constexpr int kMaxSchemaSize = 64 * 1024;

// Every statement that made something, in an order that does not depend on the file.
bool SchemaOf(TcrDatabase& database, std::string& schema) {
    TcrStatement rows;
    if (!rows.Prepare(database.Handle(),
                      "SELECT CAST(type || ' ' || name || ' ' || tbl_name || ' ' || "
                      "ifnull(sql, '') AS BLOB) FROM sqlite_schema ORDER BY type, name")) {
        return false;
    }
    int result = SQLITE_ROW;
    while ((result = rows.Step()) == SQLITE_ROW) {
        std::string row;
        if (!rows.Get(0, row, kMaxSchemaSize) || schema.size() > size_t{kMaxSchemaSize})
            return false;
        schema += row + "\n";
    }
    return result == SQLITE_DONE;
}

}  // namespace

constinit const TcrStateSteps kTcrStateSteps = kSteps;

bool tcr_state_migrate(TcrDatabase& database, TcrStateSteps steps, int64_t version) {
    for (size_t i = static_cast<size_t>(version); i < steps.size(); ++i) {
        if (!database.Execute(steps[i])) return false;
    }
    std::string marks = "PRAGMA application_id = " + std::to_string(kTcrApplicationId) +
                        "; PRAGMA user_version = " + std::to_string(steps.size());
    return database.Execute(marks.c_str());
}

bool tcr_state_has_schema(TcrDatabase& database, TcrStateSteps steps, int64_t version) {
    TcrDatabase model;
    std::string expected;
    std::string found;
    return model.Open(":memory:", SQLITE_OPEN_READWRITE) &&
           tcr_state_migrate(model, steps.first(static_cast<size_t>(version)), 0) &&
           SchemaOf(model, expected) && SchemaOf(database, found) && found == expected;
}

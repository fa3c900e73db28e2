#pragma once

#include <string>

#include "cfg/json_object.h"

// The value of a key that a configuration file may have or lack: kept as the file gave it, so that
// it is written back unchanged, of the wrong kind or out of range as it may be. Owned by its
// section's record.
class CTKeptValue {
  public:
    // Takes the member over as text; an absent one leaves what was kept.
    void Read(const CTJsonObject& section, const char* key);
    // Appends the member; nothing where none was read.
    void Write(CTJsonObject& section, const char* key) const;

  private:
    std::string m_json;  // empty: the file has no such key
};

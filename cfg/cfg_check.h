#pragma once

#include <cjson/cJSON.h>

#include <cstddef>
#include <span>
#include <string>
#include <vector>

#include "base/pvu_config_fault.h"

// Tells an operator of what a configuration file says in vain: a key that nobody reads, one that
// is a duplicate, a value that its field cannot take. Nothing else comes of it, the fields are read
// by the rules of their records. Used on the thread that reads the file.
class CTCfgCheck {
  public:
    // Of the lines on one file; the rest is counted in a last one.
    static constexpr int kMaxLines = 20;

    // The path is for the lines only, and is to outlive the object.
    explicit CTCfgCheck(const char* path) : m_path(path) {}

    // At a start: looks through a parsed file and prints one line for each fault, to standard
    // output and the system's log, with key, section and file; the number of faults. A value that
    // ends the start (CTSysCfg::GetRefusedKey) has its line in any number of others.
    int Check(const cJSON* root);

    // Before a start: every fault of the file, with its line, in the file's order. Beyond those
    // above it finds values that are of the right kind and out of range (see cfg_value_fault), and
    // whatever keeps the file from being read as it was meant.
    static CTConfigFaults CheckFile(const std::string& path);

    enum class Kind {
        kObject,
        kText,
        kNumber,
        kFlag,
        kIPv4Address,
        kEtherAddress,
        kInterface,
        kInterfaceMtu,
        kFingerprints,
        kUnread
    };
    struct Key {
        const char* name;
        Kind kind;
    };

  private:
    struct Finding {
        const cJSON* item;
        std::string text;
        bool ends_start;
    };

    static std::vector<Finding> Find(const cJSON* root, bool with_values);
    // Place: what stands behind a key's name in a text, empty at the top level.
    static void FindInObject(const cJSON* object, std::span<const Key> keys,
                             const std::string& place, bool with_values,
                             std::vector<Finding>& found);

    const char* m_path;
};

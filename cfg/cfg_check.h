#pragma once

#include <cjson/cJSON.h>

#include <cstddef>
#include <span>
#include <string>

// Tells an operator of what a configuration file says in vain: a key that nobody reads, one that
// is a duplicate, a value that its field cannot take. One line each, to standard
// output, with key, section and file; nothing else comes of it, the fields are read by the rules
// of their records. A value that ends the start (CTSysCfg::GetRefusedKey) has its line like others,
// in any number of them. Used once, on the thread that reads the file.
class CTCfgCheck {
  public:
    // Of the lines on one file; the rest is counted in a last one.
    static constexpr int kMaxLines = 20;

    // The path is for the lines only, and is to outlive the object.
    explicit CTCfgCheck(const char* path) : m_path(path) {}

    // Looks through a parsed file and prints; the number of faults.
    int Check(const cJSON* root);

    enum class Kind {
        kObject,
        kText,
        kNumber,
        kFlag,
        kIPv4Address,
        kEtherAddress,
        kInterface,
        kInterfaceMtu,
        kUnread
    };
    struct Key {
        const char* name;
        Kind kind;
    };

  private:
    // Place: what stands behind a key's name in a line, empty at the top level.
    void CheckObject(const cJSON* object, std::span<const Key> keys, const std::string& place);
    void PrintFault(const std::string& fault, bool always = false);

    const char* m_path;
    int m_faults = 0;
    int m_printed = 0;
};

#pragma once

#include "base/pvu_string.h"
#include "base/pvu_version.h"

// The parsed command line.
class CTsdwCommandOption {
  public:
    // Options in any order; of two -c the last one wins. An unknown option or a missing argument
    // asks for the help. 0 always.
    int Parse(int argc, char** argv);

    bool IsVersion() const { return m_version; }
    bool IsHelp() const { return m_help; }
    // Stay in the foreground.
    bool IsTerminal() const { return m_terminal; }
    bool IsConfig() const { return m_config; }
    CTString& GetConfigFile() { return m_config_file; }

    // To standard output.
    static void PrintHelp();
    static void PrintVersion(CTVersion& version);

  private:
    void Apply(int option, const char* argument);

    bool m_version = false;
    bool m_help = false;
    bool m_terminal = false;
    bool m_config = false;
    CTString m_config_file;
};

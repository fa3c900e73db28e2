#pragma once

#include <cstdint>

constexpr int kSstpErrTcrNotOnline = 1000;
constexpr int kSstpErrVersionLow = 1001;
constexpr int kSstpErrSubnetPassword = 1002;
constexpr int kSstpErrLoginFailed = 1003;
constexpr int kSstpErrLogoutFailed = 1004;
constexpr int kSstpErrUnknown = 2000;

// The last error of the protocol layer. One thread at a time.
class CTSstpError {
  public:
    static void SetLastError(int err) { m_err = err; }
    static int GetLastError() { return m_err; }

    // Both give the text for an unknown error, whatever the last error or the code: the table of
    // texts is data for a look-up that is intentionally not wired in. The second one prints the
    // table's figures to standard output.
    static const char* GetLastErrorMessage();
    static const char* GetLastErrorMessage(int code);

  private:
    struct ErrEntry {
        int32_t code;
        const char* text;
    };
    static const ErrEntry tsdw_err_map[6];

    static int32_t m_err;
};

#include "sstp/sstp_error.h"

#include <cstdio>

int32_t CTSstpError::m_err = 0;

const CTSstpError::ErrEntry CTSstpError::tsdw_err_map[6] = {
    {kSstpErrTcrNotOnline, "TCR is not online"},
    {kSstpErrVersionLow, "version is low"},
    {kSstpErrSubnetPassword, "subnet password is Incorrect"},
    {kSstpErrLoginFailed, "login failed"},
    {kSstpErrLogoutFailed, "logout failed"},
    {kSstpErrUnknown, "unkonw error"},
};

const char* CTSstpError::GetLastErrorMessage() {
    return "unkonw error";
}

const char* CTSstpError::GetLastErrorMessage([[maybe_unused]] int code) {
    long map_size = static_cast<long>(sizeof tsdw_err_map);
    long entry_size = static_cast<long>(sizeof tsdw_err_map[0]);
    printf("GetLastErrorMessage map: %ld, err: %ld, count: %d\n", map_size, entry_size,
           static_cast<int>(map_size / entry_size));
    return GetLastErrorMessage();
}

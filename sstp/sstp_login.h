#pragma once

#include "sstp/sstp_body.h"

// The request by which an edge joins a subnet.
//
//   0       1       2       3
// +-------+-------+-------+-------+
// | subnet name                   |  0 .. 31
// +-------------------------------+
// | user name                     | 32 .. 63
// +-------------------------------+
// | user password                 | 64 .. 95
// +-------------------------------+
// | serial number                 | 96
// +---------------+-------+-------+
// | version:major | minor | patch | 100
// +---------------+-------+-------+
struct __attribute__((packed)) sstp_login_msg {
    char subnet_name[kTextFieldSize];
    char user_name[kTextFieldSize];
    char user_pwd[kTextFieldSize];
    uint32_t serial_number;
    uint32_t version;
};
static_assert(sizeof(sstp_login_msg) == 104);
static_assert(offsetof(sstp_login_msg, user_name) == 32 &&
              offsetof(sstp_login_msg, user_pwd) == 64 &&
              offsetof(sstp_login_msg, serial_number) == 96 &&
              offsetof(sstp_login_msg, version) == 100);

class CTSstpLoginMsg : public CTSstpBodyMsg<kSstpCommand, kSstpCmmLogin, sstp_login_msg> {
  public:
    // True whatever the buffer: one of fewer than 16 bytes leaves the message as it was.
    bool Attach(CTSkBuffer& skb);

    // Null leaves the field as it was.
    void SetSubnetName(const char* name) { m_body.StoreText(offsetof(Record, subnet_name), name); }
    void SetUserName(const char* name) { m_body.StoreText(offsetof(Record, user_name), name); }
    void SetUserPwd(const char* pwd) { m_body.StoreText(offsetof(Record, user_pwd), pwd); }
    // That of the edge's router.
    void SetSerialNumber(uint32_t n) { m_body.Store32(offsetof(Record, serial_number), n); }
    // Packed as CTVersion does.
    void SetVersion(uint32_t version) { m_body.Store32(offsetof(Record, version), version); }
    const char* GetSubnetName() const { return m_body.LoadText(offsetof(Record, subnet_name)); }
    const char* GetUserName() const { return m_body.LoadText(offsetof(Record, user_name)); }
    const char* GetUserPwd() const { return m_body.LoadText(offsetof(Record, user_pwd)); }
    uint32_t GetSerialNumber() const { return m_body.Load32(offsetof(Record, serial_number)); }
    uint32_t GetVersion() const { return m_body.Load32(offsetof(Record, version)); }

    // With the password in clear.
    int Print();
};

// The answer: 0 and the identifier that the edge has from now on, or why it may not join.
//
//   0       1       2       3
// +-------+-------+-------+-------+
// | error                         |  0
// +-------------------------------+
// | identifier                    |  4
// +-------------------------------+
struct __attribute__((packed)) sstp_login_ack {
    uint32_t error;
    uint32_t identifier;
};
static_assert(sizeof(sstp_login_ack) == 8);
static_assert(offsetof(sstp_login_ack, identifier) == 4);

class CTSstpLoginAck : public CTSstpBodyMsg<kSstpCommandAck, kSstpCmmLogin, sstp_login_ack> {
  public:
    void SetError(uint32_t error) { m_body.Store32(offsetof(Record, error), error); }
    void SetIdentifier(uint32_t id) { m_body.Store32(offsetof(Record, identifier), id); }
    uint32_t GetError() const { return m_body.Load32(offsetof(Record, error)); }
    uint32_t GetIdentifier() const { return m_body.Load32(offsetof(Record, identifier)); }

    int Print();
};

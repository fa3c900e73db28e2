#pragma once

// The names of the sections of the configuration file and of the keys in them, each once for
// reading and writing.

namespace cfg_key {

constexpr char kSubnet[] = "subnet";
constexpr char kNetName[] = "net name";
constexpr char kUserName[] = "user name";
constexpr char kUserPwd[] = "user password";

constexpr char kLocalRouter[] = "local router";
constexpr char kLabel[] = "label";
constexpr char kSerialNumber[] = "serial number";
constexpr char kType[] = "type";
constexpr char kLayer[] = "layer";

constexpr char kLan[] = "lan";
constexpr char kMac[] = "mac";
constexpr char kGateway[] = "gateway";
constexpr char kNetMask[] = "netmask";
// May be absent; the default file has neither. "mtu" as in section "sstp".
constexpr char kInterface[] = "interface";
constexpr char kControl[] = "control";

constexpr char kCentralRouter[] = "central router";
constexpr char kPort[] = "port";
// May be absent; the default file has none.
constexpr char kKey[] = "key";
// Of the sections "lan" and "central router".
constexpr char kIp[] = "ip";

constexpr char kSstp[] = "sstp";
constexpr char kRecvTimeout[] = "recv timeout";
// The spelling is the file format's.
constexpr char kP2pEnable[] = "p2p eanble";
constexpr char kHeartBeatInterval[] = "heartbeat interval";
constexpr char kMtu[] = "mtu";
// May be absent; the default file has neither.
constexpr char kRejoinAfter[] = "rejoin after";
constexpr char kStrictSource[] = "strict source";
// Of the default file; nobody reads them.
constexpr char kFreshP2pEnable[] = "p2p enable";
constexpr char kFreshMtu[] = "mtuj";

}  // namespace cfg_key

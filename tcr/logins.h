#pragma once

#include <cstdint>

#include "sstp/sstp_login.h"
#include "tcr/login_allowance.h"
#include "tcr/sessions.h"

// Edges that come and go: who is let in, into which slot. One thread.
class TcrLogins {
  public:
    TcrLogins(TcrCore& core, TcrSessions& sessions) : m_core(core), m_sessions(sessions) {}

    void Login(const TcrDatagram& request);
    bool Logout(const TcrEdge& edge, const TcrDatagram& request);

  private:
    uint32_t Judge(const TcrPath& from, CTSstpLoginMsg& login, TcrSubnet*& subnet) const;
    void Resume(const TcrDatagram& request, CTSstpLoginMsg& login, TcrEdge& edge,
                CTSstpLoginAck& reply);
    void ChangeChannel(const TcrEdge& edge, const TcrDatagram& request);
    bool TakeSlot(TcrSubnet& subnet, uint32_t serial, int& slot);
    void Refuse(const TcrDatagram& request, uint32_t error);
    void StartSession(const TcrEdge& edge, const TcrDatagram& request);
    void PrintLogin(const TcrEdge& edge, const TcrDatagram& request, CTSstpLoginMsg& login);
    void DropDevicesBut(const TcrEdge& edge, uint32_t kept);

    TcrCore& m_core;
    TcrSessions& m_sessions;
    TcrLoginAllowance m_allowance;
    TcrTime m_last_refusal_line = INT64_MIN / 2;
    uint64_t m_refusals_not_shown = 0;
};

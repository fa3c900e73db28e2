#include "tcr/replies.h"

void TcrReplies::Address(const TcrDatagram& request, CTSstpMessage& reply) {
    reply.SetSeq(request.msg.GetSeq());
    reply.SetSrc(kSstpCentralRouter);
    reply.SetDst(request.msg.GetSrc());
}

void TcrReplies::SendNow(const TcrDatagram& request, CTSstpMessage& reply) {
    Address(request, reply);
    ++m_counters.answered;
    m_link.Send(request.from, reply.GetBufferPtr(), reply.GetMessageLength());
}

void TcrReplies::Send(const TcrEdge& edge, const TcrDatagram& request, CTSstpMessage& reply) {
    Address(request, reply);
    Leave(edge, reply.GetBufferPtr(), reply.GetMessageLength());
}

void TcrReplies::SendAndKeep(const TcrEdge& edge, const TcrDatagram& request,
                             CTSstpMessage& reply) {
    Send(edge, request, reply);
    TcrSession& session = edge.Session();
    session.answered_sub_type = request.msg.GetSubType();
    session.answered_seq = request.msg.GetSeq();
    session.answer.assign(reply.GetBufferPtr(), reply.GetBufferPtr() + reply.GetMessageLength());
}

bool TcrReplies::IsRepeated(const TcrEdge& edge, CTSstpMessage& request) {
    const TcrSession& session = edge.Session();
    return !session.answer.empty() && session.answered_sub_type == request.GetSubType() &&
           session.answered_seq == request.GetSeq();
}

void TcrReplies::Repeat(const TcrEdge& edge) {
    const std::vector<uint8_t>& answer = edge.Session().answer;
    Leave(edge, answer.data(), static_cast<int>(answer.size()));
}

void TcrReplies::Leave(const TcrEdge& edge, const uint8_t* data, int length) {
    TcrSession& session = edge.Session();
    if (!session.unsaved) {
        ++m_counters.answered;
        m_link.Send(session.path, data, length);
        return;
    }
    session.held.assign(data, data + length);
    if (m_failing) Drop(edge);
}

bool TcrReplies::Release(const TcrEdge& edge) {
    TcrSession& session = edge.Session();
    if (session.held.empty()) return false;
    ++m_counters.answered;
    m_link.Send(session.path, session.held.data(), static_cast<int>(session.held.size()));
    session.held.clear();
    return true;
}

void TcrReplies::Drop(const TcrEdge& edge) {
    TcrSession& session = edge.Session();
    if (!session.held.empty()) ++m_counters.replies_dropped;
    session.held.clear();
}

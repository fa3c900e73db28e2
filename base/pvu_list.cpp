#include "base/pvu_list.h"

#include <new>

CTLinkedList::CTLinkedList() {
    Init();
}

CTLinkedList::~CTLinkedList() {
    DeInit();
}

void CTLinkedList::Init() {
    if (m_sentinel) return;
    m_sentinel = new (std::nothrow) CTLinkedNode;
    m_count = 0;
    if (!m_sentinel) return;
    m_sentinel->m_next = m_sentinel;
    m_sentinel->m_prev = m_sentinel;
}

void CTLinkedList::DeInit() {
    delete m_sentinel;
    m_sentinel = nullptr;
    m_count = 0;
}

int CTLinkedList::empty() const {
    if (!m_sentinel) return 1;
    return m_sentinel->m_next == m_sentinel && m_sentinel->m_prev == m_sentinel ? 1 : 0;
}

CTLinkedNode* CTLinkedList::insert(CTLinkedNode* pos, CTLinkedNode* node) {
    if (!pos || !node) return nullptr;
    node->m_prev = pos->m_prev;
    node->m_next = pos;
    pos->m_prev->m_next = node;
    pos->m_prev = node;
    ++m_count;
    return node;
}

CTLinkedNode* CTLinkedList::erase(CTLinkedNode* node) {
    if (!node) return nullptr;
    CTLinkedNode* following = node->m_next;
    node->m_prev->m_next = following;
    following->m_prev = node->m_prev;
    --m_count;
    return following;
}

CTLinkedNode* CTLinkedList::pop_front() {
    if (empty()) return nullptr;
    CTLinkedNode* node = begin();
    erase(node);
    return node;
}

CTLinkedNode* CTLinkedList::pop_back() {
    if (empty()) return nullptr;
    CTLinkedNode* node = back();
    erase(node);
    return node;
}

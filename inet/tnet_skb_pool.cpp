#include "inet/tnet_skb_pool.h"

#include <cstdio>
#include <new>

CTSkBuffer* CTSkBuffPool::Alloc() {
    CTSkBuffer* skb;
    {
        CTMutexGuard guard(m_mutex);
        skb = static_cast<CTSkBuffer*>(m_idle.pop_front());
    }
    return skb ? skb : new (std::nothrow) CTSkBuffer(m_bufsize);
}

void CTSkBuffPool::Free(CTSkBuffer* skb) {
    if (!skb) return;
    {
        CTMutexGuard guard(m_mutex);
        if (m_idle.count() <= m_max) {
            m_idle.push_back(skb);
            return;
        }
    }
    delete skb;
}

void CTSkBuffPool::Release() {
    CTMutexGuard guard(m_mutex);
    while (CTLinkedNode* node = m_idle.pop_front())
        delete static_cast<CTSkBuffer*>(node);
}

void test_skb_pool() {
    CTSkBuffPool pool(1500, 128);
    CTSkBuffer* skb = pool.Alloc();
    printf(skb ? "get skb success\n" : "get skb failed\n");
    pool.Free(skb);
    pool.Free(pool.Alloc());
}

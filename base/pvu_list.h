#pragma once

// The intrusive, circular, doubly linked list on which every queue, pool and store of the data
// path is built. A class that is to sit in a list derives from CTLinkedNode, so that queueing a
// packet allocates nothing.
//
// No class here locks; pools and queues wrap their list in a CTMutex.

class CTLinkedNode {
  public:
    // Both links null.
    CTLinkedNode() = default;
    // Copying copies both links, as plain pointers.
    CTLinkedNode(const CTLinkedNode& other) = default;
    CTLinkedNode& operator=(const CTLinkedNode& other) = default;

    CTLinkedNode* GetNext() const { return m_next; }
    CTLinkedNode* GetPrev() const { return m_prev; }

  private:
    friend class CTLinkedList;

    CTLinkedNode* m_prev = nullptr;
    CTLinkedNode* m_next = nullptr;
};

// Owns its sentinel only, never the elements. A list whose sentinel could not be allocated
// behaves as empty. Walk from begin() to end() with GetNext(), and fetch the next node before an
// element may be erased.
class CTLinkedList {
  public:
    CTLinkedList();
    ~CTLinkedList();
    CTLinkedList(const CTLinkedList&) = delete;
    CTLinkedList& operator=(const CTLinkedList&) = delete;

    // Allocates the sentinel if there is none.
    void Init();
    // Frees the sentinel; elements still linked are forgotten.
    void DeInit();

    // 1 if there is no element, else 0.
    int empty() const;

    // Links node immediately before pos; returns node, or null for a null argument.
    CTLinkedNode* insert(CTLinkedNode* pos, CTLinkedNode* node);
    // Unlinks node, whose own links stay as they were; returns the node that followed it, or null
    // for null. The node must be in this list: that is not checked.
    CTLinkedNode* erase(CTLinkedNode* node);

    CTLinkedNode* push_front(CTLinkedNode* node) { return insert(begin(), node); }
    CTLinkedNode* push_back(CTLinkedNode* node) { return insert(end(), node); }
    // The element unlinked, or null if the list is empty.
    CTLinkedNode* pop_front();
    CTLinkedNode* pop_back();

    // The first element; the sentinel when the list is empty; null without a sentinel.
    CTLinkedNode* begin() const { return m_sentinel ? m_sentinel->m_next : nullptr; }
    CTLinkedNode* front() const { return begin(); }
    CTLinkedNode* end() const { return m_sentinel; }
    CTLinkedNode* back() const { return m_sentinel ? m_sentinel->m_prev : nullptr; }
    int count() const { return m_count; }

  private:
    CTLinkedNode* m_sentinel = nullptr;
    int m_count = 0;
};

#include <gtest/gtest.h>

#include <cstring>
#include <iterator>
#include <list>
#include <random>
#include <string>
#include <vector>

#include "base/pvu_buffer.h"
#include "base/pvu_list.h"
#include "base/pvu_memblock.h"
#include "base/pvu_memory.h"
#include "base/pvu_text_field.h"

namespace {

using Nodes = std::list<CTLinkedNode*>;

// Both directions, the count and the ends, against the reference.
void ExpectSame(const CTLinkedList& list, const Nodes& expected) {
    Nodes forward;
    for (CTLinkedNode* n = list.begin(); n != list.end(); n = n->GetNext())
        forward.push_back(n);
    Nodes backward;
    for (CTLinkedNode* n = list.end()->GetPrev(); n != list.end(); n = n->GetPrev())
        backward.push_front(n);
    ASSERT_EQ(forward, expected);
    ASSERT_EQ(backward, expected);
    ASSERT_EQ(list.count(), static_cast<int>(expected.size()));
    ASSERT_EQ(list.empty(), expected.empty() ? 1 : 0);
    ASSERT_EQ(list.front(), expected.empty() ? list.end() : expected.front());
    ASSERT_EQ(list.back(), expected.empty() ? list.end() : expected.back());
}

TEST(LinkedList, FollowsAStandardListThroughRandomOperations) {
    std::mt19937 random(20240501);
    auto below = [&](size_t n) { return static_cast<long>(random() % n); };
    std::vector<CTLinkedNode> nodes(40);
    std::vector<CTLinkedNode*> unlinked;
    for (CTLinkedNode& node : nodes)
        unlinked.push_back(&node);
    CTLinkedList list;
    Nodes expected;
    for (int step = 0; step < 20000; ++step) {
        long operation = below(7);
        if (operation < 3 && unlinked.empty()) continue;
        CTLinkedNode* fresh = unlinked.empty() ? nullptr : unlinked.back();
        if (operation < 3) unlinked.pop_back();
        auto at = std::next(expected.begin(), below(expected.size() + 1));
        CTLinkedNode* pos = at == expected.end() ? list.end() : *at;
        CTLinkedNode* popped = nullptr;
        switch (operation) {
            case 0:
                EXPECT_EQ(list.push_front(fresh), fresh);
                expected.push_front(fresh);
                break;
            case 1:
                EXPECT_EQ(list.push_back(fresh), fresh);
                expected.push_back(fresh);
                break;
            case 2:
                EXPECT_EQ(list.insert(pos, fresh), fresh);
                expected.insert(at, fresh);
                break;
            case 3:
                popped = list.pop_front();
                EXPECT_EQ(popped, expected.empty() ? nullptr : expected.front());
                if (popped) expected.pop_front();
                break;
            case 4:
                popped = list.pop_back();
                EXPECT_EQ(popped, expected.empty() ? nullptr : expected.back());
                if (popped) expected.pop_back();
                break;
            default: {
                if (at == expected.end()) break;
                popped = *at;
                at = expected.erase(at);
                EXPECT_EQ(list.erase(popped), at == expected.end() ? list.end() : *at);
            }
        }
        if (popped) unlinked.push_back(popped);
        ASSERT_NO_FATAL_FAILURE(ExpectSame(list, expected)) << "step " << step;
    }
}

TEST(LinkedList, WithoutASentinelBehavesAsEmpty) {
    CTLinkedList list;
    CTLinkedNode a;
    CTLinkedNode b;
    list.push_back(&a);
    list.push_back(&b);
    list.Init();
    EXPECT_EQ(list.count(), 2);
    list.erase(&a);
    EXPECT_EQ(a.GetNext(), &b);
    list.DeInit();
    EXPECT_EQ(list.empty(), 1);
    EXPECT_EQ(list.count(), 0);
    EXPECT_EQ(list.push_front(&a), nullptr);
    EXPECT_EQ(list.push_back(&a), nullptr);
    EXPECT_EQ(list.pop_back(), nullptr);
    list.Init();
    EXPECT_EQ(list.push_back(&a), &a);
    EXPECT_EQ(list.count(), 1);
}

TEST(Memory, ResizeToNothingFreesOnceAndKeepsTheFields) {
    CTMemory memory;
    EXPECT_EQ(memory.GetSize(), 512);
    memset(memory.GetPtr(), 'a', 512);
    EXPECT_EQ(memory.Resize(1000), 1000);
    EXPECT_EQ(static_cast<char*>(memory.GetPtr())[511], 'a');
    void* stale = memory.GetPtr();
    EXPECT_EQ(memory.Resize(0), 0);
    EXPECT_EQ(memory.GetPtr(), stale);
    EXPECT_EQ(memory.GetSize(), 1000);
    EXPECT_EQ(memory.Resize(0), 0);
    EXPECT_EQ(memory.Resize(8), 8);
    EXPECT_EQ(memcmp(memory.GetPtr(), "\0\0\0\0\0\0\0\0", 8), 0);
    memory.Destroy();
    EXPECT_EQ(memory.GetSize(), 0);
    EXPECT_EQ(memory.Create(0), 0);
    EXPECT_EQ(memory.Create(100), 100);
}

TEST(MemBlock, CutsReadsAndWritesAtItsEnd) {
    CTMemBlock block;
    EXPECT_EQ(block.Write(600, "0123456789", 10), 0);
    EXPECT_EQ(block.Write(512, "0123456789", 10), 0);
    EXPECT_EQ(block.Write(510, "0123456789", 10), 2);
    char back[16] = {};
    EXPECT_EQ(block.Read(510, back, 10), 2);
    EXPECT_STREQ(back, "01");
    EXPECT_EQ(block.Read(-1, back, 10), 0);
    EXPECT_EQ(block.Read(513, back, 1), 0);
    // A text that fills the block is still terminated, by the byte past its end.
    memset(block.GetPtr(), 'x', 512);
    EXPECT_EQ(strlen(static_cast<char*>(block.GetPtr())), 512U);
}

TEST(MemBlock, CreatesOnceAndKeepsItsContentWhenResized) {
    CTMemBlock block(10);
    block.Write("0123456789", 10);
    EXPECT_EQ(block.Create(100), 10);
    EXPECT_EQ(block.ReSize(0), 0);
    EXPECT_EQ(block.ReSize(5000), 5000);
    EXPECT_EQ(memcmp(block.GetPtr(), "0123456789", 10), 0);
    EXPECT_EQ(block.ReSize(4), 4);
    EXPECT_STREQ(static_cast<char*>(block.GetPtr()), "0123");
    block.Destroy();
    EXPECT_EQ(block.Clear(), 0);
    EXPECT_EQ(block.Write("a", 1), 0);
    EXPECT_EQ(block.ReSize(3), 3);
}

TEST(MemBlock, CopyRunsFromTheObjectIntoTheArgument) {
    CTMemBlock from(8);
    CTMemBlock to(4);
    from.Write("ABCDEFGH", 8);
    to.Write("1234", 4);
    from.Copy(to);
    EXPECT_STREQ(static_cast<char*>(to.GetPtr()), "ABCD");
    EXPECT_EQ(to.GetSize(), 4);

    CTMemBlock larger(6);
    to.Copy(larger);
    EXPECT_EQ(to.GetSize(), 6);
    EXPECT_EQ(memcmp(larger.GetPtr(), "ABCD", 4), 0);
}

TEST(Buffer, GivesUpItsLastByteOnlyToSkip) {
    CTBuffer buffer;
    char out[16] = {};
    EXPECT_EQ(buffer.Write("0123456789", 10), 10);
    EXPECT_EQ(buffer.Read(out, 10), 0);
    EXPECT_EQ(buffer.Read(out, 9), 9);
    EXPECT_STREQ(out, "012345678");
    EXPECT_EQ(buffer.Skip(-3), -3);
    EXPECT_EQ(buffer.GetLength(), 1);
    EXPECT_EQ(buffer.Skip(1), 1);
    EXPECT_EQ(buffer.GetPtr(), buffer.CTMemBlock::GetPtr());
}

TEST(Buffer, CompactsBeforeItGrows) {
    struct {
        int n;
        int size;
        bool compacted;
    } cases[] = {{11, 512, false},
                 {12, 512, true},  // exactly the space behind the data
                 {100, 512, true},
                 {411, 512, true},
                 {412, 412 + 100 + 16, true},  // exactly the space there is
                 {500, 500 + 100 + 16, true}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.n);
        CTBuffer buffer;
        EXPECT_EQ(buffer.Write((std::string(400, 'a') + std::string(100, 'b')).data(), 500), 500);
        buffer.Skip(400);
        std::string more(static_cast<size_t>(c.n), 'c');
        EXPECT_EQ(buffer.Write(more.data(), c.n), c.n);
        EXPECT_EQ(buffer.GetSize(), c.size);
        EXPECT_EQ(buffer.GetPtr() == buffer.CTMemBlock::GetPtr(), c.compacted);
        std::string held(static_cast<char*>(buffer.GetPtr()),
                         static_cast<size_t>(buffer.GetLength()));
        EXPECT_EQ(held, std::string(100, 'b') + more);
    }
}

TEST(Buffer, IsAByteQueueUnderRandomOperations) {
    std::mt19937 random(7);
    CTBuffer buffer(32);
    std::string expected;
    unsigned char next = 0;
    for (int step = 0; step < 20000; ++step) {
        int n = static_cast<int>(random() % 40) + 1;
        size_t count = static_cast<size_t>(n);
        std::string bytes(count, '\0');
        switch (random() % 3) {
            case 0:
                for (char& byte : bytes)
                    byte = static_cast<char>(next++);
                ASSERT_EQ(buffer.Write(bytes.data(), n), n);
                expected += bytes;
                break;
            case 1:
                if (expected.size() <= count) {
                    ASSERT_EQ(buffer.Read(bytes.data(), n), 0);
                } else {
                    ASSERT_EQ(buffer.Read(bytes.data(), n), n);
                    ASSERT_EQ(bytes, expected.substr(0, count));
                    expected.erase(0, count);
                }
                break;
            default:
                ASSERT_EQ(buffer.Skip(n), n);
                expected.erase(0, count);
        }
        ASSERT_EQ(buffer.GetLength(), static_cast<int>(expected.size()));
        ASSERT_EQ(memcmp(buffer.GetPtr(), expected.data(), expected.size()), 0);
    }
}

TEST(TextField, HoldsThirtyTwoBytesWithoutTerminator) {
    char field[kTextFieldSize + 1];
    memset(field, '#', sizeof field);
    std::string text(40, 'x');
    pvu_text_field_set(field, text.c_str());
    EXPECT_EQ(std::string(field, sizeof field), std::string(32, 'x') + "#");
    EXPECT_EQ(pvu_text_field_get(field), std::string(32, 'x'));
    pvu_text_field_set(field, "ab");
    EXPECT_EQ(std::string(field, sizeof field), "ab" + std::string(30, '\0') + "#");
    pvu_text_field_set(field, nullptr);
    EXPECT_EQ(pvu_text_field_get(field), "ab");
}

}  // namespace

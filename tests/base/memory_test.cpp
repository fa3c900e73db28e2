#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <list>
#include <random>
#include <string>

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
    CTLinkedNode nodes[6];  // few, so that the list often runs empty
    CTLinkedList list;
    Nodes expected;
    auto following = [&](Nodes::iterator at) { return at == expected.end() ? list.end() : *at; };
    for (int step = 0; step < 5000; ++step) {
        SCOPED_TRACE(step);
        CTLinkedNode* node = &nodes[random() % std::size(nodes)];
        auto at = std::find(expected.begin(), expected.end(), node);
        bool linked = at != expected.end();
        if (!linked)
            at = std::next(expected.begin(), static_cast<long>(random() % 7) %
                                                 static_cast<long>(expected.size() + 1));
        switch (random() % 3 + (linked ? 3 : 0)) {
            case 0:
                EXPECT_EQ(list.push_front(node), node);
                expected.push_front(node);
                break;
            case 1:
                EXPECT_EQ(list.push_back(node), node);
                expected.push_back(node);
                break;
            case 2:
                EXPECT_EQ(list.insert(following(at), node), node);
                expected.insert(at, node);
                break;
            case 3:
                EXPECT_EQ(list.pop_front(), expected.front());
                expected.pop_front();
                break;
            case 4:
                EXPECT_EQ(list.pop_back(), expected.back());
                expected.pop_back();
                break;
            default:
                at = expected.erase(at);
                EXPECT_EQ(list.erase(node), following(at));
        }
        ASSERT_NO_FATAL_FAILURE(ExpectSame(list, expected));
        if (!expected.empty()) continue;
        EXPECT_EQ(list.pop_front(), nullptr);
        EXPECT_EQ(list.pop_back(), nullptr);
        EXPECT_EQ(list.count(), 0);
    }
}

TEST(LinkedList, WithoutASentinelBehavesAsEmpty) {
    CTLinkedList list;
    CTLinkedNode a;
    CTLinkedNode b;
    list.push_back(&a);
    list.push_back(&b);
    list.Init();  // changes nothing: there is one
    EXPECT_EQ(list.insert(nullptr, &b), nullptr);
    EXPECT_EQ(list.insert(&a, nullptr), nullptr);
    EXPECT_EQ(list.erase(nullptr), nullptr);
    EXPECT_EQ(list.count(), 2);
    list.erase(&a);
    EXPECT_EQ(a.GetNext(), &b);
    list.DeInit();
    EXPECT_EQ(list.empty(), 1);
    EXPECT_EQ(list.count(), 0);
    EXPECT_EQ(list.push_front(&a), nullptr);
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
    for (int n : {-1, 0, 0}) {
        EXPECT_EQ(memory.Resize(n), 0);
        EXPECT_EQ(memory.GetPtr(), stale);
        EXPECT_EQ(memory.GetSize(), 1000);
    }
    EXPECT_EQ(memory.Resize(8), 8);
    EXPECT_EQ(memcmp(memory.GetPtr(), "\0\0\0\0\0\0\0\0", 8), 0);
    memory.Destroy();
    EXPECT_EQ(memory.GetSize(), 0);
    EXPECT_EQ(memory.Create(-1), 0);
    EXPECT_EQ(memory.Create(100), 100);

    EXPECT_EQ(CTMemory::Calloc(0, 5), nullptr);
    void* p = CTMemory::Calloc(2, 2);
    EXPECT_EQ(memcmp(p, "\0\0\0\0", 4), 0);
    CTMemory::Free(&p);
    EXPECT_EQ(p, nullptr);
    CTMemory::Free(&p);
    CTMemory::Free(nullptr);
}

TEST(MemBlock, CutsReadsAndWritesAtItsEnd) {
    CTMemBlock block;
    struct {
        int offset;
        int n;
        int count;
    } cases[] = {{0, 512, 512}, {0, 600, 512}, {510, 10, 2}, {512, 10, 0},
                 {513, 1, 0},   {600, 10, 0},  {5, 0, 0},    {5, -1, 0}};
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.offset << ", " << c.n);
        std::string bytes(600, 'w');
        EXPECT_EQ(block.Clear(), 512);
        EXPECT_EQ(block.Write(c.offset, bytes.data(), c.n), c.count);
        bytes.assign(600, '#');
        EXPECT_EQ(block.Read(c.offset, bytes.data(), c.n), c.count);
        size_t count = static_cast<size_t>(c.count);
        EXPECT_EQ(bytes, std::string(count, 'w') + std::string(600 - count, '#'));
    }
    char byte;
    EXPECT_EQ(block.Read(-1, &byte, 1), 0);
    EXPECT_EQ(block.Read(nullptr, 1), 0);
    EXPECT_EQ(block.Write(nullptr, 1), 0);
}

TEST(MemBlock, CreatesOnceAndKeepsItsContentWhenResized) {
    CTMemBlock block(10);
    block.Write("0123456789", 10);
    EXPECT_EQ(block.Create(100), 10);
    EXPECT_EQ(block.ReSize(0), 0);
    EXPECT_EQ(block.ReSize(5000), 5000);
    EXPECT_EQ(memcmp(block.GetPtr(), "0123456789", 10), 0);
    EXPECT_EQ(block.ReSize(4), 4);
    // A text that fills the block is still terminated, by the byte past its end.
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

TEST(Buffer, CompactsBeforeItGrows) {
    struct {
        int n;
        int size;
        bool compacted;
    } cases[] = {{11, 512, false},
                 {12, 512, true},  // exactly the space behind the data
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

TEST(Buffer, IsAByteQueueThatGivesUpItsLastByteOnlyToSkip) {
    std::mt19937 random(7);
    CTBuffer buffer(32);
    std::string expected;
    unsigned char next = 0;
    for (int step = 0; step < 20000; ++step) {
        int n = static_cast<int>(random() % 40) - 1;
        size_t count = n > 0 ? static_cast<size_t>(n) : 0;
        std::string bytes(count, '\0');
        switch (random() % 3) {
            case 0:
                for (char& byte : bytes)
                    byte = static_cast<char>(next++);
                ASSERT_EQ(buffer.Write(bytes.data(), n), static_cast<int>(count));
                expected += bytes;
                break;
            case 1: {
                bool gives = count > 0 && expected.size() > count;
                ASSERT_EQ(buffer.Read(bytes.data(), n), gives ? n : 0);
                if (!gives) break;
                ASSERT_EQ(bytes, expected.substr(0, count));
                expected.erase(0, count);
                break;
            }
            default:
                ASSERT_EQ(buffer.Skip(n), n);
                expected.erase(0, count);
        }
        ASSERT_EQ(buffer.GetLength(), static_cast<int>(expected.size()));
        ASSERT_EQ(buffer.IsEmpty(), expected.empty());
        ASSERT_EQ(memcmp(buffer.GetPtr(), expected.data(), expected.size()), 0);
    }
    buffer.Write("ab", 2);
    EXPECT_EQ(buffer.Write(nullptr, 1) + buffer.Read(nullptr, 1), 0);
    // Emptied, it starts at the front again.
    buffer.Skip(buffer.GetLength());
    EXPECT_EQ(buffer.GetPtr(), buffer.CTMemBlock::GetPtr());
}

TEST(TextField, HoldsThirtyTwoBytesWithoutTerminator) {
    char field[kTextFieldSize + 1];
    memset(field, '#', sizeof field);
    std::string text(40, 'x');
    pvu_text_field_set(field, text.c_str());
    EXPECT_EQ(std::string(field, sizeof field), std::string(32, 'x') + "#");
    EXPECT_EQ(pvu_text_field_get(field), std::string(32, 'x'));
    pvu_text_field_set(field, "ab");
    pvu_text_field_set(field, nullptr);
    EXPECT_EQ(std::string(field, sizeof field), "ab" + std::string(30, '\0') + "#");
    EXPECT_EQ(pvu_text_field_get(field), "ab");
}

}  // namespace

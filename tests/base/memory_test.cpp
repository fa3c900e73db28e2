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
        bool back = random() % 2 != 0;
        bool ends = random() % 3 != 0;
        if (at == expected.end()) {
            if (!expected.empty() && !ends) at = std::next(expected.begin());
            CTLinkedNode* pos = following(at);
            EXPECT_EQ(!ends  ? list.insert(pos, node)
                      : back ? list.push_back(node)
                             : list.push_front(node),
                      node);
            expected.insert(ends && !back ? expected.begin() : at, node);
        } else if (ends) {
            at = back ? std::prev(expected.end()) : expected.begin();
            EXPECT_EQ(back ? list.pop_back() : list.pop_front(), *at);
            expected.erase(at);
        } else {
            at = expected.erase(at);
            EXPECT_EQ(list.erase(node), following(at));
        }
        ASSERT_NO_FATAL_FAILURE(ExpectSame(list, expected));
        if (!expected.empty()) continue;
        ASSERT_EQ(back ? list.pop_back() : list.pop_front(), nullptr);
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
}

TEST(Memory, ResizeToNothingFreesOnceAndKeepsTheFields) {
    CTMemory memory;
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

    void* p = CTMemory::Calloc(2, 2);
    CTMemory::Free(&p);
    EXPECT_EQ(p, nullptr);
    CTMemory::Free(&p);
}

TEST(MemBlock, CutsReadsAndWritesAtItsEnd) {
    CTMemBlock block;
    struct {
        int offset;
        int n;
        size_t count;
    } cases[] = {{0, 600, 512}, {510, 10, 2}, {512, 10, 0}, {513, 1, 0}, {5, 0, 0}, {5, -1, 0}};
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.offset << ", " << c.n);
        std::string bytes(600, 'w');
        EXPECT_EQ(block.Clear(), 512);
        EXPECT_EQ(block.Write(c.offset, bytes.data(), c.n), static_cast<int>(c.count));
        bytes.assign(600, '#');
        EXPECT_EQ(block.Read(c.offset, bytes.data(), c.n), static_cast<int>(c.count));
        EXPECT_EQ(bytes, std::string(c.count, 'w') + std::string(600 - c.count, '#'));
    }
    char byte;
    EXPECT_EQ(block.Read(-1, &byte, 1), 0);
    EXPECT_EQ(block.Read(nullptr, 1) + block.Write(nullptr, 1), 0);
}

TEST(MemBlock, KeepsItsContentWhenResizedAndCopiesItIntoTheArgument) {
    CTMemBlock block(10);
    block.Write("0123456789", 10);
    EXPECT_EQ(block.Create(100), 10);
    EXPECT_EQ(block.ReSize(0), 0);
    CTMemBlock larger(5000);
    block.Copy(larger);
    EXPECT_EQ(block.GetSize(), 5000);
    EXPECT_EQ(memcmp(larger.GetPtr(), "0123456789", 10), 0);
    CTMemBlock smaller(4);
    block.Copy(smaller);
    // A text that fills the block is still terminated, by the byte past its end.
    EXPECT_STREQ(static_cast<char*>(smaller.GetPtr()), "0123");
    EXPECT_EQ(block.ReSize(6), 6);
    EXPECT_STREQ(static_cast<char*>(block.GetPtr()), "012345");
    block.Destroy();
    EXPECT_EQ(block.Clear(), 0);
    EXPECT_EQ(block.Write("a", 1), 0);
    EXPECT_EQ(block.ReSize(3), 3);
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

TEST(Buffer, GivesUpItsLastByteOnlyToSkip) {
    CTBuffer buffer;
    char out[16] = {};
    EXPECT_EQ(buffer.Write("0123456789", 10), 10);
    EXPECT_EQ(buffer.Write(nullptr, 1) + buffer.Write(out, 0), 0);
    EXPECT_EQ(buffer.Read(out, 10) + buffer.Read(nullptr, 1) + buffer.Read(out, 0), 0);
    EXPECT_EQ(buffer.Read(out, 4), 4);
    EXPECT_EQ(buffer.Skip(-3), -3);
    EXPECT_EQ(buffer.Skip(2), 2);
    EXPECT_EQ(buffer.Read(out + 4, 3), 3);
    EXPECT_STREQ(out, "0123678");
    EXPECT_EQ(buffer.GetLength(), 1);
    EXPECT_EQ(buffer.Skip(1), 1);
    EXPECT_TRUE(buffer.IsEmpty());
    EXPECT_EQ(buffer.GetPtr(), buffer.CTMemBlock::GetPtr());
    EXPECT_EQ(buffer.Skip(5), 5);
    EXPECT_TRUE(buffer.IsEmpty());
}

TEST(TextField, HoldsThirtyTwoBytesWithoutTerminator) {
    CTTextField field;
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

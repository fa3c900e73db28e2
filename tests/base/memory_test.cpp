#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "base/pvu_buffer.h"
#include "base/pvu_list.h"
#include "base/pvu_memblock.h"
#include "base/pvu_memory.h"
#include "base/pvu_text_field.h"

namespace {

using Nodes = std::vector<CTLinkedNode*>;

// The ring is the elements and then the sentinel, alike in both directions.
void ExpectRing(const CTLinkedList& list, const Nodes& ring) {
    Nodes forward;
    for (CTLinkedNode* n = list.front(); forward.size() < ring.size(); n = n->GetNext())
        forward.push_back(n);
    ASSERT_EQ(forward, ring);
    Nodes backward;
    for (CTLinkedNode* n = list.end(); backward.size() < ring.size(); n = n->GetPrev())
        backward.push_back(n);
    ASSERT_EQ(backward, Nodes(ring.rbegin(), ring.rend()));
    ASSERT_EQ(list.back(), list.end()->GetPrev());
    ASSERT_EQ(list.count(), static_cast<int>(ring.size()) - 1);
    ASSERT_EQ(list.empty(), ring.size() == 1 ? 1 : 0);
}

TEST(LinkedList, FollowsAModelThroughRandomOperations) {
    std::mt19937 random(20240501);
    CTLinkedNode nodes[6];  // few, so that the list often runs empty
    CTLinkedList list;
    Nodes ring = {list.end()};
    for (int step = 0; step < 5000; ++step) {
        SCOPED_TRACE(step);
        CTLinkedNode* node = &nodes[random() % std::size(nodes)];
        auto at = std::find(ring.begin(), ring.end(), node);
        bool back = random() % 2 != 0;
        bool ends = random() % 3 != 0;
        auto pop = back ? &CTLinkedList::pop_back : &CTLinkedList::pop_front;
        if (at == ring.end()) {
            at = back ? ring.end() - 1 : ring.begin();
            if (!ends) at = ring.begin() + std::ssize(ring) / 2;
            auto push = back ? &CTLinkedList::push_back : &CTLinkedList::push_front;
            EXPECT_EQ(ends ? (list.*push)(node) : list.insert(*at, node), node);
            ring.insert(at, node);
        } else if (ends) {
            at = back ? ring.end() - 2 : ring.begin();
            EXPECT_EQ((list.*pop)(), *at);
            ring.erase(at);
        } else {
            at = ring.erase(at);
            EXPECT_EQ(list.erase(node), *at);
            EXPECT_EQ(node->GetNext(), *at) << "its own links stay";
        }
        ASSERT_NO_FATAL_FAILURE(ExpectRing(list, ring));
        if (ring.size() > 1) continue;
        ASSERT_EQ((list.*pop)(), nullptr);
    }
}

TEST(LinkedList, WithoutASentinelBehavesAsEmpty) {
    CTLinkedList list;
    CTLinkedNode node;
    list.push_back(&node);
    list.Init();  // changes nothing: there is one
    EXPECT_TRUE(!list.insert(nullptr, &node) && !list.insert(&node, nullptr));
    EXPECT_EQ(list.erase(nullptr), nullptr);
    EXPECT_EQ(list.count(), 1);
    list.DeInit();
    EXPECT_TRUE(list.empty() == 1 && list.count() == 0);
    EXPECT_TRUE(!list.push_front(&node) && !list.pop_back());
    list.Init();
    EXPECT_EQ(list.push_back(&node), &node);
}

TEST(Memory, ResizeToNothingFreesOnceAndKeepsTheFields) {
    CTMemory memory;
    EXPECT_EQ(memory.Resize(1000), 1000);
    void* stale = memory.GetPtr();
    for (int n : {-1, 0, 0}) {
        EXPECT_EQ(memory.Resize(n), 0);
        EXPECT_TRUE(memory.GetPtr() == stale && memory.GetSize() == 1000);
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
    const int cases[][3] = {{0, 600, 512}, {510, 10, 2}, {512, 1, 0}, {513, 1, 0}, {5, -1, 0}};
    for (auto [offset, n, count] : cases) {
        SCOPED_TRACE(offset);
        std::string bytes(600, 'w');
        EXPECT_EQ(block.Clear(), 512);
        EXPECT_EQ(block.Write(offset, bytes.data(), n), count);
        bytes.assign(600, '#');
        EXPECT_EQ(block.Read(offset, bytes.data(), n), count);
        EXPECT_EQ(bytes.find_first_not_of('w'), static_cast<size_t>(count));
    }
    char byte;
    EXPECT_EQ(block.Read(-1, &byte, 1) + block.Read(nullptr, 1) + block.Write(nullptr, 1), 0);
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
    EXPECT_EQ(block.Clear() + block.Write("a", 1), 0);
    EXPECT_EQ(block.ReSize(3), 3);
}

TEST(Buffer, CompactsBeforeItGrows) {
    // 12 is exactly the space behind the data, 412 exactly the space there is.
    const int cases[][3] = {{11, 512, 400}, {12, 512, 0}, {411, 512, 0}, {412, 412 + 100 + 16, 0}};
    for (auto [n, size, offset] : cases) {
        SCOPED_TRACE(n);
        CTBuffer buffer;
        EXPECT_EQ(buffer.Write((std::string(400, 'a') + std::string(100, 'b')).data(), 500), 500);
        buffer.Skip(400);
        std::string more(static_cast<size_t>(n), 'c');
        EXPECT_EQ(buffer.Write(more.data(), n), n);
        EXPECT_EQ(buffer.GetSize(), size);
        char* held = static_cast<char*>(buffer.GetPtr());
        EXPECT_EQ(held - static_cast<char*>(buffer.CTMemBlock::GetPtr()), offset);
        EXPECT_EQ(std::string(held, static_cast<size_t>(buffer.GetLength())),
                  std::string(100, 'b') + more);
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
    for (int n : {1, 5}) {
        EXPECT_EQ(buffer.Skip(n), n);
        EXPECT_TRUE(buffer.IsEmpty());
        EXPECT_EQ(buffer.GetPtr(), buffer.CTMemBlock::GetPtr());
    }
}

TEST(TextField, HoldsThirtyTwoBytesWithoutTerminator) {
    CTTextField field;
    memset(field, '#', sizeof field);
    pvu_text_field_set(field, std::string(40, 'x').c_str());
    EXPECT_EQ(std::string(field, sizeof field), std::string(32, 'x') + "#");
    EXPECT_EQ(pvu_text_field_get(field), std::string(32, 'x'));
    pvu_text_field_set(field, "ab");
    pvu_text_field_set(field, nullptr);
    EXPECT_EQ(std::string(field, sizeof field), "ab" + std::string(30, '\0') + "#");
}

}  // namespace

// SPDX-License-Identifier: Apache-2.0
// The linked list, with one and several threads.
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "bacl_link_list.h"

namespace
{

std::atomic<int> g_nodes{0};
bool g_has_memory = true;

BaCL_LinkNode* allocate(void* data)
{
    (void)data;
    if (!g_has_memory) {
        return nullptr;
    }
    ++g_nodes;
    return static_cast<BaCL_LinkNode*>(std::malloc(sizeof(BaCL_LinkNode)));
}

void release(BaCL_LinkNode* node)
{
    --g_nodes;
    // So that using a freed node fails without sanitizers, too.
    std::memset(node, 0xA5, sizeof *node);
    std::free(node);
}

char* text(const char* data)
{
    return const_cast<char*>(data); // NOLINT(cppcoreguidelines-pro-type-const-cast): only read
}

int32_t compare(const void* first, const void* second)
{
    // Only the first letter, so that some are equal.
    return *static_cast<const char*>(first) - *static_cast<const char*>(second);
}

uint32_t append(BaCL_LinkNode* node, void* argument)
{
    *static_cast<std::string*>(argument) += std::string{static_cast<const char*>(node->PtrData)} + " ";
    return 0;
}

uint32_t is_named(BaCL_LinkNode* node, void* argument)
{
    return std::strcmp(static_cast<const char*>(node->PtrData), static_cast<const char*>(argument)) == 0 ? 7
                                                                                                         : 0;
}

} // namespace

class LinkList : public testing::Test
{
  protected:
    void SetUp() override
    {
        g_nodes = 0;
        g_has_memory = true;
        ASSERT_EQ(BaCL_LinkList_Init(&list_, allocate, release), 0u);
    }

    void TearDown() override
    {
        if (list_.State != 0) {
            EXPECT_EQ(BaCL_LinkList_Close(&list_), 0u);
        }
        EXPECT_EQ(g_nodes, 0) << "every node is freed once";
    }

    std::string all()
    {
        std::string names;
        EXPECT_EQ(BaCL_LinkList_Walk(&list_, append, &names), 0u);
        return names;
    }

    BaCL_LinkNode* find(const char* name) { return BaCL_LinkList_Find(&list_, is_named, text(name)); }

    BaCL_LinkList list_;
};

TEST_F(LinkList, AddsNodesInTheRightPlaces)
{
    BaCL_LinkNode* b = nullptr;
    EXPECT_EQ(BaCL_LinkList_AddLast(&list_, text("b"), &b), 0u);
    EXPECT_EQ(BaCL_LinkList_AddLast(&list_, text("d"), nullptr), 0u);
    EXPECT_EQ(BaCL_LinkList_AddFirst(&list_, text("a"), nullptr), 0u);
    EXPECT_EQ(BaCL_LinkList_AddBefore(&list_, b, text("ab"), nullptr), 0u);
    for (const char* name : {"c", "b2", "e", "A"}) {
        EXPECT_EQ(BaCL_LinkList_AddSorted(&list_, text(name), compare, nullptr), 0u);
    }
    EXPECT_EQ(all(), "A a ab b b2 c d e ");
    EXPECT_EQ(BaCL_LinkList_GetCount(&list_), 8u);
    std::string backwards;
    for (const BaCL_LinkNode* node = list_.PtrLast; node != nullptr; node = node->PtrPrevious) {
        backwards += static_cast<const char*>(node->PtrData);
    }
    EXPECT_EQ(backwards, "edcb2babaA");
}

TEST_F(LinkList, DeletedNodesAreFreedAfterTheLastWalk)
{
    for (const char* name : {"a", "b", "c"}) {
        ASSERT_EQ(BaCL_LinkList_AddLast(&list_, text(name), nullptr), 0u);
    }
    ASSERT_EQ(BaCL_LinkList_EnterWalk(&list_), 0u);
    ASSERT_EQ(BaCL_LinkList_EnterWalk(&list_), 0u);
    BaCL_LinkNode* const a = BaCL_LinkList_NextNode(&list_, nullptr);
    BaCL_LinkNode* const b = BaCL_LinkList_NextNode(&list_, a);
    EXPECT_EQ(BaCL_LinkList_Delete(&list_, a), 0u);
    EXPECT_EQ(BaCL_LinkList_Delete(&list_, b), 0u);
    EXPECT_EQ(BaCL_LinkList_Delete(&list_, b), 14u);
    EXPECT_EQ(BaCL_LinkList_AddBefore(&list_, b, text("x"), nullptr), 14u);
    EXPECT_EQ(find("b"), nullptr);
    EXPECT_EQ(all(), "c ");
    EXPECT_EQ(BaCL_LinkList_GetCount(&list_), 1u);
    EXPECT_EQ(BaCL_LinkList_GetDeletedCount(&list_), 2u);
    EXPECT_EQ(BaCL_LinkList_NextNode(&list_, a), list_.PtrLast) << "steps from a deleted node";
    EXPECT_EQ(BaCL_LinkList_AddSorted(&list_, text("b"), compare, nullptr), 0u);
    EXPECT_EQ(all(), "b c ");
    EXPECT_EQ(BaCL_LinkList_Close(&list_), 14u) << "a walk is not finished";
    EXPECT_EQ(BaCL_LinkList_LeaveWalk(&list_), 0u);
    EXPECT_EQ(g_nodes, 4);
    EXPECT_EQ(BaCL_LinkList_LeaveWalk(&list_), 0u);
    EXPECT_EQ(g_nodes, 2) << "freed by the last one";
    EXPECT_EQ(BaCL_LinkList_LeaveWalk(&list_), 14u);
    EXPECT_EQ(all(), "b c ");
    EXPECT_EQ(BaCL_LinkList_DeleteAll(&list_), 0u);
    EXPECT_EQ(g_nodes, 0);
    EXPECT_EQ(list_.PtrFirst, nullptr);
    EXPECT_EQ(list_.PtrLast, nullptr);
}

TEST_F(LinkList, CallbacksMayChangeTheList)
{
    for (const char* name : {"a", "b", "c", "d"}) {
        ASSERT_EQ(BaCL_LinkList_AddLast(&list_, text(name), nullptr), 0u);
    }
    const auto keep_last = [](BaCL_LinkNode* node, void* argument) -> uint32_t {
        auto* const list = static_cast<BaCL_LinkList*>(argument);
        if (BaCL_LinkList_GetCount_WM(list, 0) > 2) {
            EXPECT_EQ(BaCL_LinkList_Delete_WM(list, node, 0), 0u);
        }
        return 0;
    };
    EXPECT_EQ(BaCL_LinkList_Walk(&list_, keep_last, &list_), 0u);
    EXPECT_EQ(all(), "c d ");
    EXPECT_EQ(g_nodes, 2);
    EXPECT_EQ(BaCL_LinkList_Walk(&list_, is_named, text("c")), 7u) << "the result of the visit";
    const auto delete_it = [](BaCL_LinkNode* node, void* argument) -> uint32_t {
        EXPECT_EQ(BaCL_LinkList_Delete_WM(static_cast<BaCL_LinkList*>(argument), node, 0), 0u);
        return 1;
    };
    EXPECT_EQ(BaCL_LinkList_Find(&list_, delete_it, &list_), nullptr) << "deleted nodes are not found";
    EXPECT_EQ(g_nodes, 0);
}

TEST_F(LinkList, BadRecordsAndArgumentsAreRejected)
{
    BaCL_LinkList cleared;
    std::memset(&cleared, 0, sizeof cleared);
    for (BaCL_LinkList* const bad : {static_cast<BaCL_LinkList*>(nullptr), &cleared}) {
        EXPECT_EQ(BaCL_LinkList_AddFirst(bad, nullptr, nullptr), 22u);
        EXPECT_EQ(BaCL_LinkList_Walk(bad, append, nullptr), 22u);
        EXPECT_EQ(BaCL_LinkList_Find(bad, append, nullptr), nullptr);
        EXPECT_EQ(BaCL_LinkList_GetCount(bad), 0u);
        EXPECT_EQ(BaCL_LinkList_ThreadMuxLock(bad, 1), 22u);
        EXPECT_EQ(BaCL_LinkList_Close(bad), 22u);
    }
    EXPECT_EQ(BaCL_LinkList_Init(nullptr, nullptr, nullptr), 22u);
    EXPECT_EQ(BaCL_LinkList_Init(&cleared, allocate, nullptr), 22u) << "both callbacks or none";
    EXPECT_EQ(BaCL_LinkList_Init(&cleared, nullptr, release), 22u);
    EXPECT_EQ(BaCL_LinkList_AddSorted(&list_, nullptr, nullptr, nullptr), 22u);
    EXPECT_EQ(BaCL_LinkList_AddBefore(&list_, nullptr, nullptr, nullptr), 22u);
    EXPECT_EQ(BaCL_LinkList_Delete(&list_, nullptr), 22u);
    EXPECT_EQ(BaCL_LinkList_Walk(&list_, nullptr, nullptr), 22u);
    g_has_memory = false;
    EXPECT_EQ(BaCL_LinkList_AddLast(&list_, nullptr, nullptr), 12u);
    EXPECT_EQ(BaCL_LinkList_GetCount(&list_), 0u);
}

// For the thread sanitizer: no thread sees a freed node, and none is lost.
TEST_F(LinkList, ThreadsWalkFindAddAndDelete)
{
    constexpr int kRounds = 300;
    static char names[26][2];
    for (int i = 0; i < 26; ++i) {
        names[i][0] = static_cast<char>('a' + i);
    }
    std::atomic<int> wrong{0};
    std::atomic<int> deleted{0};
    const auto add = [&](int start) {
        for (int i = 0; i < kRounds; ++i) {
            char* const name = names[(start + i) % 26];
            wrong += BaCL_LinkList_AddSorted(&list_, name, compare, nullptr) != 0 ? 1 : 0;
        }
    };
    const auto walk = [&](int) {
        for (int i = 0; i < kRounds / 10; ++i) {
            (void)BaCL_LinkList_EnterWalk(&list_);
            const BaCL_LinkNode* node = nullptr;
            while ((node = BaCL_LinkList_NextNode(&list_, node)) != nullptr) {
                const auto* const name = static_cast<const char*>(node->PtrData);
                wrong += name < names[0] || name > names[25] ? 1 : 0;
            }
            (void)BaCL_LinkList_LeaveWalk(&list_);
        }
    };
    const auto find_and_delete = [&](int start) {
        for (int i = 0; i < kRounds; ++i) {
            (void)BaCL_LinkList_ThreadMuxLock(&list_, 1);
            BaCL_LinkNode* const node = BaCL_LinkList_Find_WM(&list_, is_named, names[(start + i) % 26], 0);
            deleted += node != nullptr && BaCL_LinkList_Delete_WM(&list_, node, 0) == 0 ? 1 : 0;
            (void)BaCL_LinkList_ThreadMuxLock(&list_, 0);
        }
    };
    std::vector<std::thread> threads;
    for (int i = 0; i < 2; ++i) {
        threads.emplace_back(add, i);
        threads.emplace_back(walk, i);
        threads.emplace_back(find_and_delete, i);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(BaCL_LinkList_GetDeletedCount(&list_), 0u);
    EXPECT_EQ(BaCL_LinkList_GetCount(&list_), static_cast<uint32_t>(2 * kRounds - deleted));
    EXPECT_EQ(static_cast<uint32_t>(g_nodes), BaCL_LinkList_GetCount(&list_));
}

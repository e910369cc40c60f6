// SPDX-License-Identifier: Apache-2.0
// The mutex of the linked list: which functions lock it, and their results when that fails.
#include <cerrno>

#include "bacl_link_list.h"
#include "support/FakePthread.h"
#include "support/Outside.h"

using namespace test;

namespace
{

uint32_t stop(BaCL_LinkNode*, void*)
{
    return 9;
}

int32_t compare(const void*, const void*)
{
    return 0;
}

uint32_t is_found(const BaCL_LinkNode* node)
{
    return node != nullptr ? 1 : 0;
}

} // namespace

class LinkListLock : public OutsideTest
{
  protected:
    void SetUp() override
    {
        watch(nullptr);
        OutsideTest::SetUp();
        ASSERT_EQ(BaCL_LinkList_Init(&list_, nullptr, nullptr), 0u);
        ASSERT_EQ(BaCL_LinkList_AddLast(&list_, nullptr, nullptr), 0u);
        watch(&list_.Mutex);
    }

    void TearDown() override
    {
        watch(nullptr);
        if (list_.State != 0) {
            list_.WalkerCount = 0;
            EXPECT_EQ(BaCL_LinkList_Close(&list_), 0u);
        }
        OutsideTest::TearDown();
    }

    BaCL_LinkList list_;
};

TEST_F(LinkListLock, LocksOfEachFunction)
{
    const struct {
        const char* name;
        uint32_t (*call)(BaCL_LinkList* list);
        uint32_t result;
        bool locks;
        uint32_t without_lock;
    } cases[] = {
        {"AddFirst", [](auto* list) { return BaCL_LinkList_AddFirst(list, nullptr, nullptr); }, 0, true, 35},
        {"AddFirst_WM 0", [](auto* list) { return BaCL_LinkList_AddFirst_WM(list, nullptr, nullptr, 0); }, 0,
         false, 0},
        {"AddLast", [](auto* list) { return BaCL_LinkList_AddLast(list, nullptr, nullptr); }, 0, true, 35},
        {"AddLast_WM 0", [](auto* list) { return BaCL_LinkList_AddLast_WM(list, nullptr, nullptr, 0); }, 0,
         false, 0},
        {"AddBefore",
         [](auto* list) { return BaCL_LinkList_AddBefore(list, list->PtrFirst, nullptr, nullptr); }, 0, true,
         35},
        {"AddBefore_WM 0",
         [](auto* list) { return BaCL_LinkList_AddBefore_WM(list, list->PtrFirst, nullptr, nullptr, 0); }, 0,
         false, 0},
        {"AddSorted", [](auto* list) { return BaCL_LinkList_AddSorted(list, nullptr, compare, nullptr); }, 0,
         true, 35},
        {"AddSorted_WM 0",
         [](auto* list) { return BaCL_LinkList_AddSorted_WM(list, nullptr, compare, nullptr, 0); }, 0, false,
         0},
        {"Find", [](auto* list) { return is_found(BaCL_LinkList_Find(list, stop, nullptr)); }, 1, true, 0},
        {"Find_WM 0", [](auto* list) { return is_found(BaCL_LinkList_Find_WM(list, stop, nullptr, 0)); }, 1,
         false, 1},
        {"Walk", [](auto* list) { return BaCL_LinkList_Walk(list, stop, nullptr); }, 9, true, 35},
        {"Walk_WM 0", [](auto* list) { return BaCL_LinkList_Walk_WM(list, stop, nullptr, 0); }, 9, false, 9},
        {"EnterWalk", [](auto* list) { return BaCL_LinkList_EnterWalk(list); }, 0, true, 35},
        {"NextNode", [](auto* list) { return is_found(BaCL_LinkList_NextNode(list, nullptr)); }, 1, true, 0},
        {"LeaveWalk", [](auto* list) { return BaCL_LinkList_LeaveWalk(list); }, 14, true, 35},
        {"GetCount", [](auto* list) { return BaCL_LinkList_GetCount(list); }, 1, true, 0},
        {"GetCount_WM 0", [](auto* list) { return BaCL_LinkList_GetCount_WM(list, 0); }, 1, false, 1},
        {"GetDeletedCount", [](auto* list) { return BaCL_LinkList_GetDeletedCount(list); }, 0, true, 0},
        {"Delete", [](auto* list) { return BaCL_LinkList_Delete(list, list->PtrFirst); }, 0, true, 35},
        {"Delete_WM 0", [](auto* list) { return BaCL_LinkList_Delete_WM(list, list->PtrFirst, 0); }, 0, false,
         0},
        {"DeleteAll", [](auto* list) { return BaCL_LinkList_DeleteAll(list); }, 0, true, 35},
        {"DeleteAll_WM 0", [](auto* list) { return BaCL_LinkList_DeleteAll_WM(list, 0); }, 0, false, 0},
        {"Close", [](auto* list) { return BaCL_LinkList_Close(list); }, 0, true, 35},
    };
    for (const auto& [name, call, result, locks, without_lock] : cases) {
        SCOPED_TRACE(name);
        const auto fresh = [this] {
            TearDown();
            SetUp();
        };
        fresh();
        EXPECT_EQ(call(&list_), result);
        Lines calls = locks ? Lines{"mutex_lock", "mutex_unlock"} : Lines{};
        if (list_.State == 0) {
            calls.emplace_back("mutex_destroy");
        }
        EXPECT_EQ(fake_pthread().calls, calls);

        fresh();
        fake_pthread().failures["mutex_lock"] = EDEADLK;
        EXPECT_EQ(call(&list_), without_lock);
        EXPECT_EQ(outside().logs,
                  std::vector<LogLine>(locks ? 1 : 0, LogLine{3, "[E] pthread_mutex_lock, error 35\n"}));
    }
}

TEST_F(LinkListLock, FailuresAreLogged)
{
    fake_pthread().failures = {{"mutex_lock", EDEADLK}, {"mutex_unlock", EPERM}, {"mutex_destroy", EBUSY}};
    EXPECT_EQ(BaCL_LinkList_ThreadMuxLock(&list_, 1), 35u);
    EXPECT_EQ(BaCL_LinkList_ThreadMuxLock(&list_, 0), 1u);
    fake_pthread().failures.erase("mutex_lock");
    fake_pthread().failures.erase("mutex_unlock");
    EXPECT_EQ(BaCL_LinkList_Close(&list_), 0u);
    EXPECT_EQ(BaCL_LinkList_GetCount(&list_), 0u);
    fake_pthread().failures = {{"mutex_init", EAGAIN}};
    EXPECT_EQ(BaCL_LinkList_Init(&list_, nullptr, nullptr), 11u);
    EXPECT_EQ(list_.State, 0u);
    EXPECT_EQ(outside().logs, (std::vector<LogLine>{{3, "[E] pthread_mutex_lock, error 35\n"},
                                                    {3, "[E] pthread_mutex_unlock, error 1\n"},
                                                    {4, "[W] pthread_mutex_destroy, error 16\n"},
                                                    {3, "[E] parameter\n"},
                                                    {3, "[E] pthread_mutex_init, error 11\n"}}));
}

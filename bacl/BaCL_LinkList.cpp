// SPDX-License-Identifier: Apache-2.0
// The linked list. Nodes are unlinked only while no thread walks it.
#include "include/bacl_link_list.h"

#include <cstdlib>
#include <cstring>
#include <type_traits>

#include "bacl/Pthread.h"

using namespace qsc;

namespace
{

constexpr const char* kModule = "BaCL_LinkList";

bool is_initialised(BaCL_LinkList* list)
{
    return list != nullptr && (load(list->State) & BACL_LIST_INITIALISED) != 0;
}

bool is_deleted(const BaCL_LinkNode& node)
{
    return (node.Flag & BACL_NODE_DELETED) != 0;
}

/// Returns the first node from here on that is not deleted, or null.
BaCL_LinkNode* skip_deleted(BaCL_LinkNode* node)
{
    while (node != nullptr && is_deleted(*node)) {
        node = node->PtrNext;
    }
    return node;
}

void unlink(BaCL_LinkList& list, const BaCL_LinkNode& node)
{
    (node.PtrPrevious != nullptr ? node.PtrPrevious->PtrNext : list.PtrFirst) = node.PtrNext;
    (node.PtrNext != nullptr ? node.PtrNext->PtrPrevious : list.PtrLast) = node.PtrPrevious;
}

/// Frees the deleted nodes unless a thread walks the list.
void purge(BaCL_LinkList& list)
{
    if (list.WalkerCount != 0) {
        return;
    }
    for (BaCL_LinkNode* node = list.DeletedCount != 0 ? list.PtrFirst : nullptr; node != nullptr;) {
        BaCL_LinkNode* const next = node->PtrNext;
        if (is_deleted(*node)) {
            unlink(list, *node);
            list.Free != nullptr ? list.Free(node) : std::free(node);
        }
        node = next;
    }
    list.DeletedCount = 0;
}

void mark(BaCL_LinkList& list, BaCL_LinkNode& node)
{
    node.Flag |= BACL_NODE_DELETED;
    --list.Count;
    ++list.DeletedCount;
}

void delete_all(BaCL_LinkList& list)
{
    for (BaCL_LinkNode* node = skip_deleted(list.PtrFirst); node != nullptr; node = skip_deleted(node)) {
        mark(list, *node);
    }
    purge(list);
}

/// Adds a node before `next`, or at the end if it is null.
u32 add(BaCL_LinkList& list, BaCL_LinkNode* next, void* data, BaCL_LinkNode** added)
{
    auto* const node = list.Allocate != nullptr
                           ? list.Allocate(data)
                           : static_cast<BaCL_LinkNode*>(std::malloc(sizeof(BaCL_LinkNode)));
    if (node == nullptr) {
        QSC_LOG(kLogError, "no memory for a node\n");
        return ENOMEM;
    }
    BaCL_LinkNode* const previous = next != nullptr ? next->PtrPrevious : list.PtrLast;
    *node = {previous, next, data, 0};
    (previous != nullptr ? previous->PtrNext : list.PtrFirst) = node;
    (next != nullptr ? next->PtrPrevious : list.PtrLast) = node;
    ++list.Count;
    if (added != nullptr) {
        *added = node;
    }
    return 0;
}

/// Calls use(*list) with the mutex held, unless the arguments are bad or the lock fails.
template <typename Result, typename Use>
Result with_list(BaCL_LinkList* list, const Caller& caller, bool takes_mutex, bool is_right, Result wrong,
                 Use use)
{
    if (!is_initialised(list) || !is_right) {
        (void)reject(caller);
        return wrong;
    }
    const MutexGuard guard{takes_mutex ? &list->Mutex : nullptr, caller};
    if (guard.error() != 0) {
        if constexpr (std::is_same_v<Result, u32>) {
            return wrong == 0 ? 0 : guard.error();
        } else {
            return wrong;
        }
    }
    return use(*list);
}

} // namespace

uint32_t BaCL_LinkList_Init(BaCL_LinkList* list, BaCL_NodeAllocate allocate, BaCL_NodeFree release)
{
    if (list == nullptr || (allocate == nullptr) != (release == nullptr)) {
        return reject(QSC_CALLER);
    }
    std::memset(list, 0, sizeof *list);
    list->Allocate = allocate;
    list->Free = release;
    if (const u32 code =
            check_pthread(QSC_CALLER, pthread_mutex_init(&list->Mutex, nullptr), "pthread_mutex_init")) {
        return code;
    }
    store(list->State, BACL_LIST_INITIALISED);
    return 0;
}

uint32_t BaCL_LinkList_Close(BaCL_LinkList* list)
{
    const u32 code = with_list(list, QSC_CALLER, true, true, u32{EINVAL}, [](BaCL_LinkList& it) -> u32 {
        if (it.WalkerCount != 0) {
            return EFAULT;
        }
        store(it.State, 0);
        delete_all(it);
        return 0;
    });
    if (code == 0) {
        (void)check_pthread(QSC_CALLER, pthread_mutex_destroy(&list->Mutex), "pthread_mutex_destroy",
                            kLogWarning);
    }
    return code;
}

uint32_t BaCL_LinkList_ThreadMuxLock(BaCL_LinkList* list, int32_t lock)
{
    if (!is_initialised(list)) {
        return reject(QSC_CALLER);
    }
    return lock != 0 ? check_pthread(QSC_CALLER, pthread_mutex_lock(&list->Mutex), "pthread_mutex_lock")
                     : check_pthread(QSC_CALLER, pthread_mutex_unlock(&list->Mutex), "pthread_mutex_unlock");
}

uint32_t BaCL_LinkList_AddFirst(BaCL_LinkList* list, void* data, BaCL_LinkNode** node)
{
    return BaCL_LinkList_AddFirst_WM(list, data, node, 1);
}

uint32_t BaCL_LinkList_AddFirst_WM(BaCL_LinkList* list, void* data, BaCL_LinkNode** node, int32_t takeMutex)
{
    return with_list(list, QSC_CALLER, takeMutex != 0, true, u32{EINVAL},
                     [&](BaCL_LinkList& it) { return add(it, it.PtrFirst, data, node); });
}

uint32_t BaCL_LinkList_AddLast(BaCL_LinkList* list, void* data, BaCL_LinkNode** node)
{
    return BaCL_LinkList_AddLast_WM(list, data, node, 1);
}

uint32_t BaCL_LinkList_AddLast_WM(BaCL_LinkList* list, void* data, BaCL_LinkNode** node, int32_t takeMutex)
{
    return with_list(list, QSC_CALLER, takeMutex != 0, true, u32{EINVAL},
                     [&](BaCL_LinkList& it) { return add(it, nullptr, data, node); });
}

uint32_t BaCL_LinkList_AddBefore(BaCL_LinkList* list, BaCL_LinkNode* next, void* data, BaCL_LinkNode** node)
{
    return BaCL_LinkList_AddBefore_WM(list, next, data, node, 1);
}

uint32_t BaCL_LinkList_AddBefore_WM(BaCL_LinkList* list, BaCL_LinkNode* next, void* data,
                                    BaCL_LinkNode** node, int32_t takeMutex)
{
    return with_list(
        list, QSC_CALLER, takeMutex != 0, next != nullptr, u32{EINVAL},
        [&](BaCL_LinkList& it) -> u32 { return is_deleted(*next) ? EFAULT : add(it, next, data, node); });
}

uint32_t BaCL_LinkList_AddSorted(BaCL_LinkList* list, void* data, BaCL_DataCompare compare,
                                 BaCL_LinkNode** node)
{
    return BaCL_LinkList_AddSorted_WM(list, data, compare, node, 1);
}

uint32_t BaCL_LinkList_AddSorted_WM(BaCL_LinkList* list, void* data, BaCL_DataCompare compare,
                                    BaCL_LinkNode** node, int32_t takeMutex)
{
    return with_list(list, QSC_CALLER, takeMutex != 0, compare != nullptr, u32{EINVAL},
                     [&](BaCL_LinkList& it) {
                         BaCL_LinkNode* next = skip_deleted(it.PtrFirst);
                         while (next != nullptr && compare(next->PtrData, data) <= 0) {
                             next = skip_deleted(next->PtrNext);
                         }
                         return add(it, next, data, node);
                     });
}

BaCL_LinkNode* BaCL_LinkList_Find(BaCL_LinkList* list, BaCL_NodeVisit match, void* argument)
{
    return BaCL_LinkList_Find_WM(list, match, argument, 1);
}

BaCL_LinkNode* BaCL_LinkList_Find_WM(BaCL_LinkList* list, BaCL_NodeVisit match, void* argument,
                                     int32_t takeMutex)
{
    BaCL_LinkNode* found = nullptr;
    const auto visit = [&](BaCL_LinkList& it) {
        ++it.WalkerCount;
        found = skip_deleted(it.PtrFirst);
        // A node that the callback deletes does not match.
        while (found != nullptr && (match(found, argument) == 0 || is_deleted(*found))) {
            found = skip_deleted(found->PtrNext);
        }
        --it.WalkerCount;
        purge(it);
        return found;
    };
    return with_list(list, QSC_CALLER, takeMutex != 0, match != nullptr, found, visit);
}

uint32_t BaCL_LinkList_Walk(BaCL_LinkList* list, BaCL_NodeVisit visit, void* argument)
{
    return BaCL_LinkList_Walk_WM(list, visit, argument, 1);
}

uint32_t BaCL_LinkList_Walk_WM(BaCL_LinkList* list, BaCL_NodeVisit visit, void* argument, int32_t takeMutex)
{
    return with_list(list, QSC_CALLER, takeMutex != 0, visit != nullptr, u32{EINVAL}, [&](BaCL_LinkList& it) {
        u32 answer = 0;
        ++it.WalkerCount;
        for (BaCL_LinkNode* node = skip_deleted(it.PtrFirst); node != nullptr && answer == 0;
             node = skip_deleted(node->PtrNext)) {
            answer = visit(node, argument);
        }
        --it.WalkerCount;
        purge(it);
        return answer;
    });
}

uint32_t BaCL_LinkList_EnterWalk(BaCL_LinkList* list)
{
    return with_list(list, QSC_CALLER, true, true, u32{EINVAL}, [](BaCL_LinkList& it) -> u32 {
        ++it.WalkerCount;
        return 0;
    });
}

BaCL_LinkNode* BaCL_LinkList_NextNode(BaCL_LinkList* list, const BaCL_LinkNode* node)
{
    constexpr BaCL_LinkNode* kNone = nullptr;
    return with_list(list, QSC_CALLER, true, true, kNone, [&](BaCL_LinkList& it) {
        return skip_deleted(node != nullptr ? node->PtrNext : it.PtrFirst);
    });
}

uint32_t BaCL_LinkList_LeaveWalk(BaCL_LinkList* list)
{
    return with_list(list, QSC_CALLER, true, true, u32{EINVAL}, [](BaCL_LinkList& it) -> u32 {
        if (it.WalkerCount == 0) {
            return EFAULT;
        }
        --it.WalkerCount;
        purge(it);
        return 0;
    });
}

uint32_t BaCL_LinkList_Delete(BaCL_LinkList* list, BaCL_LinkNode* node)
{
    return BaCL_LinkList_Delete_WM(list, node, 1);
}

uint32_t BaCL_LinkList_Delete_WM(BaCL_LinkList* list, BaCL_LinkNode* node, int32_t takeMutex)
{
    return with_list(list, QSC_CALLER, takeMutex != 0, node != nullptr, u32{EINVAL},
                     [&](BaCL_LinkList& it) -> u32 {
                         if (is_deleted(*node)) {
                             return EFAULT;
                         }
                         mark(it, *node);
                         purge(it);
                         return 0;
                     });
}

uint32_t BaCL_LinkList_DeleteAll(BaCL_LinkList* list)
{
    return BaCL_LinkList_DeleteAll_WM(list, 1);
}

uint32_t BaCL_LinkList_DeleteAll_WM(BaCL_LinkList* list, int32_t takeMutex)
{
    return with_list(list, QSC_CALLER, takeMutex != 0, true, u32{EINVAL}, [](BaCL_LinkList& it) -> u32 {
        delete_all(it);
        return 0;
    });
}

uint32_t BaCL_LinkList_GetCount(BaCL_LinkList* list)
{
    return BaCL_LinkList_GetCount_WM(list, 1);
}

uint32_t BaCL_LinkList_GetCount_WM(BaCL_LinkList* list, int32_t takeMutex)
{
    return with_list(list, QSC_CALLER, takeMutex != 0, true, u32{0},
                     [](BaCL_LinkList& it) { return it.Count; });
}

uint32_t BaCL_LinkList_GetDeletedCount(BaCL_LinkList* list)
{
    return with_list(list, QSC_CALLER, true, true, u32{0}, [](BaCL_LinkList& it) { return it.DeletedCount; });
}

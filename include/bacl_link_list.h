/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file
 * The foundation library's linked list: nodes with the caller's data, one mutex a list, and deletion that
 * waits for those who are walking. qsc_types.h states the conventions.
 *
 * The caller owns the record, which Init makes usable and Close frees of its nodes. Any thread may call any
 * function but these two. Each form whose name ends in _WM takes the mutex only if `takeMutex` is not 0; with
 * 0 the caller has it already, by BaCL_LinkList_ThreadMuxLock() or because it is called back by Find, Walk or
 * AddSorted: all callbacks run with the mutex held, and must use the _WM forms with 0.
 *
 * A deleted node is marked: nothing finds it, walks to it or counts it any more. It keeps its place, so that
 * who stands on it finds the next one, and is freed when nobody is walking. A node that was found or added
 * may be used as long as the mutex is held, or between EnterWalk and LeaveWalk.
 *
 * A null or uninitialised record and a missing argument are refused with 22 (null, or 0 of a count) and
 * logged as "parameter". A failed lock is logged; its pthread error is the result (null, or 0 of a count).
 */
#ifndef BACL_LINK_LIST_H
#define BACL_LINK_LIST_H

#include <pthread.h>

#include "qsc_types.h"

#ifdef __cplusplus
extern "C" {
#endif

#define BACL_LIST_INITIALISED 0x1u /**< `State`: the mutex exists */
#define BACL_NODE_DELETED 0x1u     /**< `Flag`: waits to be freed */

/** A node. A caller's own record may begin with it, when the callbacks allocate and free that record. */
typedef struct BaCL_LinkNode {
    struct BaCL_LinkNode *PtrPrevious;
    struct BaCL_LinkNode *PtrNext;
    void *PtrData; /**< the caller's */
    uint32_t Flag;
} BaCL_LinkNode;

/** Allocates a node for `data`; the list fills it in. @return null: no memory */
typedef BaCL_LinkNode *(*BaCL_NodeAllocate)(void *data);

/** Frees a node, and its data if the list is its last owner. */
typedef void (*BaCL_NodeFree)(BaCL_LinkNode *node);

/** Looks at a node. @return 0: go on; Find: anything else is a match; Walk: anything else ends the walk */
typedef uint32_t (*BaCL_NodeVisit)(BaCL_LinkNode *node, void *argument);

/** Compares data. @return below, equal to or above 0, as the first is before, like or after the second */
typedef int32_t (*BaCL_DataCompare)(const void *first, const void *second);

/** A list. */
typedef struct {
    pthread_mutex_t Mutex;
    BaCL_LinkNode *PtrFirst;
    BaCL_LinkNode *PtrLast;
    BaCL_NodeAllocate Allocate;
    BaCL_NodeFree Free;
    uint32_t Count;        /**< nodes that are not deleted */
    uint32_t DeletedCount; /**< nodes that wait to be freed */
    uint32_t WalkerCount;  /**< walks under way */
    uint32_t State;
} BaCL_LinkList;

/**
 * Makes a list, which is empty.
 *
 * @param[out] list      the list
 * @param[in]  allocate  null: malloc()
 * @param[in]  release   frees what `allocate` made; null: free(), of the node alone
 * @return 0, 22 or the pthread error
 */
QSC_API uint32_t BaCL_LinkList_Init(BaCL_LinkList *list, BaCL_NodeAllocate allocate, BaCL_NodeFree release);

/**
 * Frees all nodes and destroys the mutex.
 *
 * @retval 0  done
 * @retval 14 somebody is walking; nothing is freed
 * @retval 22 bad argument
 */
QSC_API uint32_t BaCL_LinkList_Close(BaCL_LinkList *list);

/** Takes the mutex, or with `lock` 0 gives it back. @return 0, 22 or the pthread error */
QSC_API uint32_t BaCL_LinkList_ThreadMuxLock(BaCL_LinkList *list, int32_t lock);

/*
 * ---- Adding. `node` gets the new node, and may be null. 12: no memory. ----
 */

QSC_API uint32_t BaCL_LinkList_AddFirst(BaCL_LinkList *list, void *data, BaCL_LinkNode **node);
QSC_API uint32_t BaCL_LinkList_AddFirst_WM(BaCL_LinkList *list, void *data, BaCL_LinkNode **node,
                                           int32_t takeMutex);
QSC_API uint32_t BaCL_LinkList_AddLast(BaCL_LinkList *list, void *data, BaCL_LinkNode **node);
QSC_API uint32_t BaCL_LinkList_AddLast_WM(BaCL_LinkList *list, void *data, BaCL_LinkNode **node,
                                          int32_t takeMutex);

/** Adds before the node `next` of the list. @retval 14 that node is deleted */
QSC_API uint32_t BaCL_LinkList_AddBefore(BaCL_LinkList *list, BaCL_LinkNode *next, void *data,
                                         BaCL_LinkNode **node);
QSC_API uint32_t BaCL_LinkList_AddBefore_WM(BaCL_LinkList *list, BaCL_LinkNode *next, void *data,
                                            BaCL_LinkNode **node, int32_t takeMutex);

/** Adds before the first node whose data comes after `data`, so that equal ones stay in the order they came.
 */
QSC_API uint32_t BaCL_LinkList_AddSorted(BaCL_LinkList *list, void *data, BaCL_DataCompare compare,
                                         BaCL_LinkNode **node);
QSC_API uint32_t BaCL_LinkList_AddSorted_WM(BaCL_LinkList *list, void *data, BaCL_DataCompare compare,
                                            BaCL_LinkNode **node, int32_t takeMutex);

/*
 * ---- Finding and walking, from the first node to the last. ----
 */

/** Finds the first node that `match` answers with anything but 0. @return the node; null: none */
QSC_API BaCL_LinkNode *BaCL_LinkList_Find(BaCL_LinkList *list, BaCL_NodeVisit match, void *argument);
QSC_API BaCL_LinkNode *BaCL_LinkList_Find_WM(BaCL_LinkList *list, BaCL_NodeVisit match, void *argument,
                                             int32_t takeMutex);

/** Visits every node, up to the first visit that answers with anything but 0. @return that answer, else 0 */
QSC_API uint32_t BaCL_LinkList_Walk(BaCL_LinkList *list, BaCL_NodeVisit visit, void *argument);
QSC_API uint32_t BaCL_LinkList_Walk_WM(BaCL_LinkList *list, BaCL_NodeVisit visit, void *argument,
                                       int32_t takeMutex);

/** Begins a walk step by step: until LeaveWalk no node is freed. @return 0, 22 or the pthread error */
QSC_API uint32_t BaCL_LinkList_EnterWalk(BaCL_LinkList *list);

/** Steps from a node, or from before the first with null. @return the next that is not deleted; null: none */
QSC_API BaCL_LinkNode *BaCL_LinkList_NextNode(BaCL_LinkList *list, const BaCL_LinkNode *node);

/** Ends a walk that EnterWalk began; the last to leave frees what was deleted. @retval 14 nobody is walking
 */
QSC_API uint32_t BaCL_LinkList_LeaveWalk(BaCL_LinkList *list);

/*
 * ---- Deleting and counting. ----
 */

/** Marks a node of the list, and frees it when nobody is walking. @retval 14 it is deleted already */
QSC_API uint32_t BaCL_LinkList_Delete(BaCL_LinkList *list, BaCL_LinkNode *node);
QSC_API uint32_t BaCL_LinkList_Delete_WM(BaCL_LinkList *list, BaCL_LinkNode *node, int32_t takeMutex);

/** Marks all nodes, and frees them when nobody is walking. @return 0, 22 or the pthread error */
QSC_API uint32_t BaCL_LinkList_DeleteAll(BaCL_LinkList *list);
QSC_API uint32_t BaCL_LinkList_DeleteAll_WM(BaCL_LinkList *list, int32_t takeMutex);

/** Counts the nodes that are not deleted. */
QSC_API uint32_t BaCL_LinkList_GetCount(BaCL_LinkList *list);
QSC_API uint32_t BaCL_LinkList_GetCount_WM(BaCL_LinkList *list, int32_t takeMutex);

/** Counts the nodes that are deleted, and wait to be freed. */
QSC_API uint32_t BaCL_LinkList_GetDeletedCount(BaCL_LinkList *list);

#ifdef __cplusplus
}
#endif

#endif

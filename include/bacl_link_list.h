/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file
 * The foundation library's linked list: nodes with the caller's data, one mutex per list, and lazy deletion
 * while threads walk the list. qsc_types.h states the conventions.
 *
 * The caller owns the record; Init initialises it and Close frees its nodes. Any thread may call any other
 * function. "_WM" functions lock the mutex only if `takeMutex` is not 0; otherwise the caller holds it,
 * through BaCL_LinkList_ThreadMuxLock() or inside a callback: callbacks of Find, Walk and AddSorted run with
 * the mutex held and must use the _WM functions with 0.
 *
 * A deleted node is only marked: it is no longer found, visited or counted. It stays linked, so that a thread
 * that is at this node can step to the next one, and is freed when no thread walks the list. Nodes that were
 * found or added are valid as long as the mutex is held, or between EnterWalk and LeaveWalk.
 *
 * Functions reject a null or uninitialised record and missing arguments with 22 (or null, or a count of 0)
 * and log "parameter". A failed lock is logged and its pthread error returned (or null, or a count of 0).
 */
#ifndef BACL_LINK_LIST_H
#define BACL_LINK_LIST_H

#include <pthread.h>

#include "qsc_types.h"

#ifdef __cplusplus
extern "C" {
#endif

#define BACL_LIST_INITIALISED 0x1u /**< `State`: the mutex exists */
#define BACL_NODE_DELETED 0x1u     /**< `Flag`: deleted, not yet freed */

/** A node. It may be the first member of a larger record, if the callbacks allocate and free that record. */
typedef struct BaCL_LinkNode {
    struct BaCL_LinkNode *PtrPrevious;
    struct BaCL_LinkNode *PtrNext;
    void *PtrData; /**< the caller's data */
    uint32_t Flag;
} BaCL_LinkNode;

/** Allocates a node for `data`; the list initialises it. @return the node, or null without memory */
typedef BaCL_LinkNode *(*BaCL_NodeAllocate)(void *data);

/** Frees a node, and its data if the list owns it. */
typedef void (*BaCL_NodeFree)(BaCL_LinkNode *node);

/** Visits a node. @return 0 to go on; otherwise Find has found the node, and Walk ends */
typedef uint32_t (*BaCL_NodeVisit)(BaCL_LinkNode *node, void *argument);

/** Compares data. @return below, equal to or above 0 if the first is before, equal to or after the second */
typedef int32_t (*BaCL_DataCompare)(const void *first, const void *second);

/** A list. */
typedef struct {
    pthread_mutex_t Mutex;
    BaCL_LinkNode *PtrFirst;
    BaCL_LinkNode *PtrLast;
    BaCL_NodeAllocate Allocate;
    BaCL_NodeFree Free;
    uint32_t Count;        /**< number of nodes that are not deleted */
    uint32_t DeletedCount; /**< number of deleted nodes not yet freed */
    uint32_t WalkerCount;  /**< number of current walks */
    uint32_t State;
} BaCL_LinkList;

/**
 * Initialises an empty list.
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
 * @retval 14 a thread is walking the list; nothing is freed
 * @retval 22 bad argument
 */
QSC_API uint32_t BaCL_LinkList_Close(BaCL_LinkList *list);

/** Locks the mutex, or unlocks it if `lock` is 0. @return 0, 22 or the pthread error */
QSC_API uint32_t BaCL_LinkList_ThreadMuxLock(BaCL_LinkList *list, int32_t lock);

/*
 * ---- Adding. `node` receives the new node and may be null. 12: no memory. ----
 */

QSC_API uint32_t BaCL_LinkList_AddFirst(BaCL_LinkList *list, void *data, BaCL_LinkNode **node);
QSC_API uint32_t BaCL_LinkList_AddFirst_WM(BaCL_LinkList *list, void *data, BaCL_LinkNode **node,
                                           int32_t takeMutex);
QSC_API uint32_t BaCL_LinkList_AddLast(BaCL_LinkList *list, void *data, BaCL_LinkNode **node);
QSC_API uint32_t BaCL_LinkList_AddLast_WM(BaCL_LinkList *list, void *data, BaCL_LinkNode **node,
                                          int32_t takeMutex);

/** Adds before the node `next`. @retval 14 `next` is deleted */
QSC_API uint32_t BaCL_LinkList_AddBefore(BaCL_LinkList *list, BaCL_LinkNode *next, void *data,
                                         BaCL_LinkNode **node);
QSC_API uint32_t BaCL_LinkList_AddBefore_WM(BaCL_LinkList *list, BaCL_LinkNode *next, void *data,
                                            BaCL_LinkNode **node, int32_t takeMutex);

/** Adds before the first node whose data is after `data`: equal nodes stay in the order of their addition. */
QSC_API uint32_t BaCL_LinkList_AddSorted(BaCL_LinkList *list, void *data, BaCL_DataCompare compare,
                                         BaCL_LinkNode **node);
QSC_API uint32_t BaCL_LinkList_AddSorted_WM(BaCL_LinkList *list, void *data, BaCL_DataCompare compare,
                                            BaCL_LinkNode **node, int32_t takeMutex);

/*
 * ---- Finding and walking, from the first node to the last. ----
 */

/** Finds the first node for which `match` returns non-zero. @return the node, or null */
QSC_API BaCL_LinkNode *BaCL_LinkList_Find(BaCL_LinkList *list, BaCL_NodeVisit match, void *argument);
QSC_API BaCL_LinkNode *BaCL_LinkList_Find_WM(BaCL_LinkList *list, BaCL_NodeVisit match, void *argument,
                                             int32_t takeMutex);

/** Visits the nodes until `visit` returns non-zero. @return that value, else 0 */
QSC_API uint32_t BaCL_LinkList_Walk(BaCL_LinkList *list, BaCL_NodeVisit visit, void *argument);
QSC_API uint32_t BaCL_LinkList_Walk_WM(BaCL_LinkList *list, BaCL_NodeVisit visit, void *argument,
                                       int32_t takeMutex);

/** Starts a stepwise walk: no node is freed until LeaveWalk. @return 0, 22 or the pthread error */
QSC_API uint32_t BaCL_LinkList_EnterWalk(BaCL_LinkList *list);

/** Returns the next node that is not deleted, or null. With a null node, returns the first one. */
QSC_API BaCL_LinkNode *BaCL_LinkList_NextNode(BaCL_LinkList *list, const BaCL_LinkNode *node);

/** Ends a walk; the last one frees the deleted nodes. @retval 14 there is no walk */
QSC_API uint32_t BaCL_LinkList_LeaveWalk(BaCL_LinkList *list);

/*
 * ---- Deleting and counting. ----
 */

/** Deletes a node, and frees it once no thread walks the list. @retval 14 already deleted */
QSC_API uint32_t BaCL_LinkList_Delete(BaCL_LinkList *list, BaCL_LinkNode *node);
QSC_API uint32_t BaCL_LinkList_Delete_WM(BaCL_LinkList *list, BaCL_LinkNode *node, int32_t takeMutex);

/** Deletes all nodes, and frees them once no thread walks the list. @return 0, 22 or the pthread error */
QSC_API uint32_t BaCL_LinkList_DeleteAll(BaCL_LinkList *list);
QSC_API uint32_t BaCL_LinkList_DeleteAll_WM(BaCL_LinkList *list, int32_t takeMutex);

/** Returns the number of nodes that are not deleted. */
QSC_API uint32_t BaCL_LinkList_GetCount(BaCL_LinkList *list);
QSC_API uint32_t BaCL_LinkList_GetCount_WM(BaCL_LinkList *list, int32_t takeMutex);

/** Returns the number of deleted nodes that are not yet freed. */
QSC_API uint32_t BaCL_LinkList_GetDeletedCount(BaCL_LinkList *list);

#ifdef __cplusplus
}
#endif

#endif

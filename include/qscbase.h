/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file
 * Commander messaging: messages with a fixed header over System V message queues, and helpers that management
 * front ends and dispatchers share. qsc_types.h states the conventions.
 *
 * The caller creates or opens the queues and passes their identifiers from msgget(). The layout of a message
 * in the caller's buffer is the same on every CPU, with all numbers little-endian:
 *
 *   0  type (8)        the sender's type in 4 bytes, then 4 bytes 0
 *   8  send time (4)   seconds of the monotonic clock (BaCL_GetTimestampSec())
 *  12  user value (4)  passed on unchanged
 *  16  0 (4)
 *  20  length (2)      of the payload, 0 to QSCBASE_PAYLOAD_MAX
 *  22  kind (1)        0 to 126
 *  23  0 (1)
 *  24  payload
 *
 * Any thread may use any queue. Functions also return the errno of the queue call, such as 11 (queue full),
 * 42 (no message), 43 (queue removed) or 7 (message larger than the buffer).
 */
#ifndef QSCBASE_H
#define QSCBASE_H

#include "qsc_types.h"

#ifdef __cplusplus
extern "C" {
#endif

#define QSCBASE_PAYLOAD_MAX 4096u
#define QSCBASE_HEADER_SIZE 24u     /**< type word and header */
#define QSCBASE_NO_QUEUE UINT32_MAX /**< rejected by all functions */

/**
 * Sends one message.
 *
 * @param[in] queue      from msgget()
 * @param[in] flags      of msgsnd(): 0 waits while the queue is full, IPC_NOWAIT does not
 * @param[in] type       above 0
 * @param[in] userValue  passed on unchanged
 * @param[in] payload    null only if length is 0
 * @param[in] length     of the payload in bytes, at most QSCBASE_PAYLOAD_MAX
 * @param[in] kind       0 to 126
 * @retval 0  sent
 * @retval 22 bad argument
 * @return otherwise the errno of msgsnd()
 */
QSC_API uint32_t QSCBase_Send(uint32_t queue, uint32_t flags, uint32_t type, uint32_t userValue,
                              const void *payload, uint16_t length, int8_t kind);

/**
 * Sends one message without blocking, except for pauses between attempts. Logs bad arguments.
 *
 * @param[in] attempts  maximum number of attempts; 0 sends nothing
 * @param[in] pauseMs   milliseconds between attempts while the queue is full
 * @retval 14 no attempts
 * @return like QSCBase_Send(); 11 if the queue is still full
 */
QSC_API uint32_t QSCBase_Send_NB(uint32_t queue, uint32_t type, uint32_t userValue, const void *payload,
                                 uint16_t length, int8_t kind, uint16_t attempts, uint16_t pauseMs);

/**
 * Receives one message.
 *
 * @param[in]  queue   from msgget()
 * @param[in]  flags   of msgrcv()
 * @param[in]  type    as in msgrcv(): 0 any message, above 0 this type, below 0 the lowest type up to its
 *                     magnitude
 * @param[out] buffer  the message; all `size` bytes are cleared first
 * @param[in]  size    size of `buffer` in bytes, at least QSCBASE_HEADER_SIZE
 * @retval 0  received
 * @retval 22 bad argument
 * @return otherwise the errno of msgrcv()
 */
QSC_API uint32_t QSCBase_Receive(uint32_t queue, uint32_t flags, int64_t type, void *buffer, uint16_t size);

/**
 * Receives one message without blocking, except for pauses between attempts.
 *
 * @param[in] attempts  maximum number of attempts; 0 receives nothing
 * @param[in] pauseMs   milliseconds between attempts while there is no message
 * @retval 14 no attempts
 * @return like QSCBase_Receive(); 42 if there was no message
 */
QSC_API uint32_t QSCBase_Receive_NB(uint32_t queue, int64_t type, void *buffer, uint16_t size,
                                    uint16_t attempts, uint16_t pauseMs);

/**
 * Chooses a message type. Not synchronised: threads that need distinct types must choose their own.
 *
 * @param[in] type  returned unchanged unless it is 0
 * @return `type`, or a random type
 */
QSC_API uint64_t QSCBase_CheckMsgType(uint64_t type);

/**
 * Sets the four numbers of the object "MsgHeader" in a JSON text, in place.
 *
 * @param[in,out] text  the text of a JSON object, terminated within `size`; unchanged on 12, on 22, and on 14
 *                      for a member that is not a number
 * @param[in]     size  size of the buffer in bytes, above 2
 * @retval 0  written; a text longer than `size` - 1 is truncated
 * @retval 12 no memory
 * @retval 14 a member of that name is not a number, or the new text is exactly `size` - 1 characters long
 * @retval 22 bad argument, not JSON, or the root or its "MsgHeader" is not an object
 */
QSC_API uint32_t QSCBase_ModifyMsgHeader(char *text, uint16_t size, uint32_t mainOper, uint32_t subOper,
                                         uint32_t owner, uint32_t flag);

/** Same as QSysCmdHal_GetCommanderName(). */
QSC_API const char *QSCBase_GetCommanderName(int32_t commander);

/**
 * Removes every member of a JSON object.
 *
 * @retval 0  removed
 * @retval 22 not an object
 */
QSC_API uint32_t QSCBase_DeleteallObjects(struct json_object *object);

/**
 * Initialises an instance record: 0 in all fields, -1 for the instance numbers.
 *
 * @retval 0  initialised
 * @retval 22 null record
 */
QSC_API uint32_t QSCBase_ParamId_Init(QSCBase_ParamId *record);

/** Does nothing: an instance record holds no resources. @return 0 */
QSC_API uint32_t QSCBase_ParamId_Close(QSCBase_ParamId *record);

#ifdef __cplusplus
}
#endif

#endif

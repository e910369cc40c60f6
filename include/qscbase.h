/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file
 * Commander messaging: messages with a fixed header over System V message queues, and what the management
 * front ends and the dispatchers share. qsc_types.h states the conventions.
 *
 * No queue is made, opened or kept here: the caller passes the identifier that msgget() gave it. A message in
 * a caller's buffer has the same bytes on every CPU, all numbers little-endian:
 *
 *   0  type (8)        4 bytes of the sender's type, 4 of 0
 *   8  send time (4)   seconds of the monotonic clock (BaCL_GetTimestampSec())
 *  12  user value (4)  carried unchanged
 *  16  0 (4)
 *  20  length (2)      of the payload, 0 to QSCBASE_PAYLOAD_MAX
 *  22  kind (1)        0 to 126
 *  23  0 (1)
 *  24  payload
 *
 * Queue calls may come from any thread. Further codes: the errno of the queue call, such as 11 (the queue is
 * full), 42 (no message), 43 (the queue is gone), 7 (the message is larger than the buffer).
 */
#ifndef QSCBASE_H
#define QSCBASE_H

#include "qsc_types.h"

#ifdef __cplusplus
extern "C" {
#endif

#define QSCBASE_PAYLOAD_MAX 4096u
#define QSCBASE_HEADER_SIZE 24u     /**< type word and header */
#define QSCBASE_NO_QUEUE UINT32_MAX /**< refused by every function */

/**
 * Sends one message.
 *
 * @param[in] queue      from msgget()
 * @param[in] flags      of msgsnd(): 0 waits while the queue is full, IPC_NOWAIT does not
 * @param[in] type       above 0
 * @param[in] userValue  carried unchanged
 * @param[in] payload    copied; null only if length is 0
 * @param[in] length     of the payload in bytes, at most QSCBASE_PAYLOAD_MAX
 * @param[in] kind       0 to 126
 * @retval 0  sent
 * @retval 22 bad argument
 * @return otherwise the errno of msgsnd()
 */
QSC_API uint32_t QSCBase_Send(uint32_t queue, uint32_t flags, uint32_t type, uint32_t userValue,
                              const void *payload, uint16_t length, int8_t kind);

/**
 * Sends one message, without waiting for more than its pauses. A bad argument is logged.
 *
 * @param[in] attempts  how often to send at most; 0 sends nothing
 * @param[in] pauseMs   milliseconds between attempts while the queue is full
 * @retval 14 no attempts
 * @return as QSCBase_Send(); 11 when the queue stayed full
 */
QSC_API uint32_t QSCBase_Send_NB(uint32_t queue, uint32_t type, uint32_t userValue, const void *payload,
                                 uint16_t length, int8_t kind, uint16_t attempts, uint16_t pauseMs);

/**
 * Receives one message.
 *
 * @param[in]  queue   from msgget()
 * @param[in]  flags   of msgrcv()
 * @param[in]  type    which message, as msgrcv() has it: 0 any, above 0 this type, below 0 the lowest up to
 * it
 * @param[out] buffer  the message; cleared first over its full size
 * @param[in]  size    of the buffer in bytes, at least QSCBASE_HEADER_SIZE
 * @retval 0  received
 * @retval 22 bad argument
 * @return otherwise the errno of msgrcv()
 */
QSC_API uint32_t QSCBase_Receive(uint32_t queue, uint32_t flags, int64_t type, void *buffer, uint16_t size);

/**
 * Receives one message, without waiting for more than its pauses.
 *
 * @param[in] attempts  how often to look at most; 0 does not look
 * @param[in] pauseMs   milliseconds between attempts while there is no message
 * @retval 14 no attempts
 * @return as QSCBase_Receive(); 42 when nothing came
 */
QSC_API uint32_t QSCBase_Receive_NB(uint32_t queue, int64_t type, void *buffer, uint16_t size,
                                    uint16_t attempts, uint16_t pauseMs);

/**
 * Chooses a message type. Two threads may get the same one when rand() fails both; give your own where that
 * matters.
 *
 * @param[in] type  returned unchanged if it is not 0
 * @return the type, else a random one
 */
QSC_API uint64_t QSCBase_CheckMsgType(uint64_t type);

/**
 * Writes the four numbers of the object "MsgHeader" into a JSON text, in place.
 *
 * @param[in,out] text  the text of a JSON object, ended within `size`; unchanged on 12, on 22 and on 14 for a
 *                      member that is no number
 * @param[in]     size  of the buffer in bytes, above 2
 * @retval 0  written; a text that is longer than `size` - 1 is cut
 * @retval 12 no memory
 * @retval 14 a member of that name is no number, or the new text is exactly `size` - 1 characters long
 * @retval 22 bad argument, not JSON, or the root or its "MsgHeader" is no object
 */
QSC_API uint32_t QSCBase_ModifyMsgHeader(char *text, uint16_t size, uint32_t mainOper, uint32_t subOper,
                                         uint32_t owner, uint32_t flag);

/** As QSysCmdHal_GetCommanderName(). */
QSC_API const char *QSCBase_GetCommanderName(int32_t commander);

/**
 * Removes every member of a JSON object.
 *
 * @retval 0  done
 * @retval 22 no object
 */
QSC_API uint32_t QSCBase_DeleteallObjects(struct json_object *object);

/**
 * Gives every field of an instance record its empty value: 0, and -1 for the instance numbers.
 *
 * @retval 0  done
 * @retval 22 no record
 */
QSC_API uint32_t QSCBase_ParamId_Init(QSCBase_ParamId *record);

/** Ends the use of an instance record; it holds nothing to release. @return 0 */
QSC_API uint32_t QSCBase_ParamId_Close(QSCBase_ParamId *record);

#ifdef __cplusplus
}
#endif

#endif

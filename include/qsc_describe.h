/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file
 * What the library serves, for tools that list, complete, document or check requests: the objects at the
 * paths, their parameters with types and limits, the instances that exist, who commits and restarts for whom,
 * and the sentence that says why a request was refused. qsc_types.h states the conventions.
 *
 * Every text that a description points to is a constant of the library. All functions may be called from any
 * thread, before QSysCmdHal_Init() as well.
 */
#ifndef QSC_DESCRIBE_H
#define QSC_DESCRIBE_H

#include "qsc_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Qsc_ParameterInfo::flags */
#define QSC_PARAM_LIST 0x1u    /**< several values, separated by commas */
#define QSC_PARAM_SECRET 0x2u  /**< reads as the empty text, and is in no record */
#define QSC_PARAM_NEEDED 0x4u  /**< is never empty; a new instance cannot be without it */
#define QSC_PARAM_OUTSIDE 0x8u /**< a set changes `outside`, which the configuration does not hold */
#define QSC_PARAM_FINAL 0x10u  /**< what a set does cannot be undone */

/** One parameter. */
typedef struct {
    const char *name;
    const char *type;    /**< as TR-181 names it, such as "boolean", "unsignedInt", "IPv4Address" */
    const char *units;   /**< such as "seconds"; empty: none */
    const char *values;  /**< "One|Two", or "least:most" of a number or a text's length; empty: any. Of an
                            action:  the members that may accompany "Action" */
    const char *outside; /**< the file that a set changes beside the configuration; empty: none */
    uint32_t access;     /**< QSC_OPER_GET and QSC_OPER_SET bits */
    uint32_t flags;      /**< QSC_PARAM_ bits */
} Qsc_ParameterInfo;

/** Qsc_ObjectInfo::flags */
#define QSC_OBJECT_INSTANCES 0x1u /**< its path ends in, or holds, an instance number */
#define QSC_OBJECT_GROWS 0x2u     /**< instances are added with X_QRN_Add and deleted with X_QRN_Delete */
#define QSC_OBJECT_ACTIONS 0x4u   /**< its parameters are actions, of which a request names one in "Action" */
#define QSC_OBJECT_ROWS 0x8u /**< a number or a MAC address may come after its path, for one of its rows */

/** One object: what a path leads to. */
typedef struct {
    const char *path; /**< exactly as requests name it; "{i}" stands for an instance number */
    const Qsc_CommandEntry *entry;
    const char *commit;   /**< path of the subtree that commits for it; empty: nothing does */
    const char *service;  /**< path of the subtree that restarts for it; empty: nothing does */
    const char *packages; /**< what that commit writes, separated by blanks; empty: the subtree knows */
    uint32_t parameters;  /**< how many it has; 0: it is not served by this library */
    uint32_t access;      /**< QSC_OPER_GET and QSC_OPER_SET bits that its dispatcher serves */
    uint32_t flags;       /**< QSC_OBJECT_ bits */
    const void *object;   /**< the library's own */
} Qsc_ObjectInfo;

/**
 * Describes the objects one by one, in the order of the command table.
 *
 * @param[in]  number  from 0
 * @param[out] object  the description; untouched unless 0 is returned
 * @retval 0  described
 * @retval 14 there are not so many
 * @retval 22 null `object`
 */
QSC_API uint32_t QSysCmdHal_DescribeObject(uint32_t number, Qsc_ObjectInfo *object);

/**
 * Describes the object that a path leads to, by the rules of the dispatchers.
 *
 * @param[in]  path    such as "Device.WiFi.SSID.2.Stats"
 * @param[out] object  the description; untouched unless 0 is returned
 * @retval 0  described
 * @retval 14 no entry of the command table serves it
 * @retval 22 null argument
 */
QSC_API uint32_t QSysCmdHal_FindObject(const char *path, Qsc_ObjectInfo *object);

/**
 * Describes the parameters of an object one by one, in the order in which they are served.
 *
 * @param[in]  object     from QSysCmdHal_DescribeObject() or QSysCmdHal_FindObject()
 * @param[in]  number     from 0
 * @param[out] parameter  the description; untouched unless 0 is returned
 * @retval 0  described
 * @retval 14 there are not so many
 * @retval 22 null argument
 */
QSC_API uint32_t QSysCmdHal_DescribeParameter(const Qsc_ObjectInfo *object, uint32_t number,
                                              Qsc_ParameterInfo *parameter);

/**
 * Tells which instances of an object exist now, rising.
 *
 * @param[in]  object   an object with QSC_OBJECT_INSTANCES
 * @param[out] numbers  their numbers; null with a `size` of 0
 * @param[in]  size     how many `numbers` has room for
 * @param[out] count    how many exist, which may be more than `size`
 * @retval 0  found
 * @retval 14 they cannot be found
 * @retval 22 null argument, or an object without instances
 */
QSC_API uint32_t QSysCmdHal_FindInstances(const Qsc_ObjectInfo *object, uint32_t *numbers, uint32_t size,
                                          uint32_t *count);

/**
 * Checks a set without doing it. Objects that are described whole judge every value; for the others a name
 * that the object does not have and a parameter that cannot be set are found, the values are not.
 *
 * @param[in]     path       as a set would name it
 * @param[in,out] request    as a set would send it; refused parameters get "ParamId"
 * @param[in]     commander  the commander's id
 * @retval 0  nothing speaks against it
 * @return otherwise the code that the set would end with; QSysCmdHal_LastError() says why
 */
QSC_API uint32_t QSysCmdHal_Check(const char *path, struct json_object *request, uint32_t commander);

/**
 * Says in one sentence why the last request of the calling thread was refused, such as
 * "Device.WiFi.Radio.2: OperatingChannelBandwidth: 9 is not 0 to 3". It never holds a secret.
 *
 * @return the sentence, empty after a request that succeeded; at most 511 bytes, valid until the thread's
 *         next request
 */
QSC_API const char *QSysCmdHal_LastError(void);

#ifdef __cplusplus
}
#endif

#endif

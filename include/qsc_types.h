/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file
 * Types that every header of the library shares.
 *
 * Conventions, for every function of the library unless its comment says otherwise:
 *
 * - Results are unsigned errno numbers. 0 is success; 22 (EINVAL) a bad argument, a missing object or
 *   value, or a bad instance; 12 (ENOMEM) no memory; 14 (EFAULT) an operation that is not served, a
 *   refused value, or a failed command or lookup. Other numbers are passed up from below unchanged.
 * - Every text is NUL-terminated. Null pointers are accepted everywhere and answered with a code.
 * - Sizes of buffers are in bytes and count the terminator.
 * - The caller owns what it passes in. The library keeps none of it beyond the call, but for the
 *   callback of QSysCmdHal_Init().
 * - The library takes no locks on the request path: requests may run on several threads as long as each
 *   has its own request object. Start and stop belong to one thread.
 */
#ifndef QSC_TYPES_H
#define QSC_TYPES_H

#include <stddef.h>
#include <stdint.h>

#if defined(__GNUC__)
#define QSC_API __attribute__((visibility("default")))
#define QSC_PRINTF(text, first) __attribute__((format(printf, text, first)))
#else
#define QSC_API
#define QSC_PRINTF(text, first)
#endif

#ifdef __cplusplus
extern "C" {
#endif

struct json_object; /* json-c */

/** The id of the entry that ends a command table, a parameter table and g_QscCmdList. */
#define QSC_TABLE_END 0xFFFFFFFFu

/** Operation bits that dispatchers act on; g_QscCmdList names all operations. */
#define QSC_OPER_GET 0x1u
#define QSC_OPER_SET 0x2u
#define QSC_OPER_COMMIT 0x40000u
#define QSC_OPER_SERVICE 0x80000u

/** Commander ids, one bit per front end; g_QSCCommander names them. */
#define QSC_COMMANDER_TR69 0x1u
#define QSC_COMMANDER_WEB 0x2u
#define QSC_COMMANDER_SERVD 0x4u
#define QSC_COMMANDER_CLI 0x8u
#define QSC_COMMANDER_POLLD 0x10u
#define QSC_COMMANDER_OTHER 0x20u
#define QSC_COMMANDER_VOIP 0x40u
#define QSC_COMMANDER_MQTT 0x80u
#define QSC_COMMANDER_DHCP 0x100u
#define QSC_COMMANDER_ORVANE_CLI 0x200u
#define QSC_COMMANDER_ORVANE_ACCPWD 0x400u

/**
 * Called for the library's events; see QSysCmdHal_Init() for the events.
 *
 * @param[in] event     0 to 4
 * @param[in] argument  always 0
 * @return ignored
 */
typedef uint64_t (*QSysCmdHal_Callback)(uint64_t event, uint64_t argument);

/**
 * The shape that dispatchers, parameter handlers and a subtree's commit share.
 *
 * @param[in]     name      dispatcher: the full requested path. Handler: that path, or the parameter's own
 *                          name in subtrees that have no instances. Null and empty are allowed; only
 *                          subtrees that read the path refuse them (22).
 * @param[in,out] value     dispatcher: the request, keyed by parameter name. Handler: the object under its
 *                          parameter's key. A get answers by setting "ParamValue" in it, a set takes
 *                          "ParamValue" from it; either way the result is left there as "ParamId". Owned by
 *                          the caller, with everything that is added to it.
 * @param[in]     oper      operation bits; get wins over set, set over commit, commit over service
 * @param[in]     argument  the commander's id
 * @param[in]     context   the caller's own value, handed on untouched
 * @param[in]     param     handler: the `param` of its table entry. Dispatcher: the caller's own value.
 * @retval 0  done
 * @retval 22 no object, not an object, or a dispatcher asked for an operation that it does not serve
 * @retval 14 a handler asked for an operation that it does not serve
 * @return otherwise the code of the first handler that failed
 */
typedef uint32_t Qsc_HandlerFunction(const char *name, struct json_object *value, uint32_t oper,
                                     uint32_t argument, int64_t context, uint64_t param);
typedef Qsc_HandlerFunction *Qsc_Handler;
typedef Qsc_Handler QSysCmdHal_Dispatcher;

/** Which instance a handler works on. QSCBase_ParamId_Init() gives every field its empty value. */
typedef struct {
    uint64_t context; /**< the context of the dispatcher's caller */
    int32_t index[2]; /**< instance numbers from 1, outermost first; -1: none */
    uint64_t value;   /**< 0 */
} QSCBase_ParamId;

/**
 * The shape of the routines that handle one instance of a list, such as one DHCP option.
 *
 * @param[in]     name      the instance's path; not read
 * @param[in,out] instance  its parameters. A get that names none is filled with all. Gets "ParamId".
 * @param[in]     oper      get or set; get wins
 * @param[in]     argument  the commander's id
 * @param[in]     context   the caller's own value, handed on untouched
 * @param[in]     param     not read
 * @param[in]     root      the object that holds the instance, or the instance itself; not read
 * @param[in]     record    its first index is the instance number; handed to each parameter's handler
 * @retval 0  done
 * @retval 12 no memory
 * @retval 14 neither get nor set
 * @retval 22 no instance object, no record, or an instance that does not exist
 * @retval 61 an instance without data
 * @return otherwise the code of the first parameter that failed; it is logged
 */
typedef uint32_t Qsc_IndexFunction(const char *name, struct json_object *instance, uint32_t oper,
                                   uint32_t argument, int64_t context, uint64_t param,
                                   struct json_object *root, QSCBase_ParamId *record);

/** One parameter of a subtree. A table of them ends with the id QSC_TABLE_END. */
typedef struct {
    uint32_t id;         /**< unique in its table */
    const char *name;    /**< the parameter's key in a request */
    Qsc_Handler handler; /**< null: skipped by every walk */
    uint64_t reserved;   /**< 0 */
    uint64_t param;      /**< handed to the handler */
} Qsc_ParamEntry;

/** One subtree. The table ends with the id QSC_TABLE_END. */
typedef struct {
    uint32_t id;                      /**< unique, not sorted */
    const char *path;                 /**< matched as a prefix of the requested path; first match wins */
    QSysCmdHal_Dispatcher dispatcher; /**< serves every path under `path` */
    const Qsc_ParamEntry *params;     /**< null: the dispatcher chooses its tables itself */
    uint64_t reserved; /**< 0; in the "version" row a host may put a Qsc_VersionRecord's address */
} Qsc_CommandEntry;

/** The name of one operation bit. */
typedef struct {
    uint32_t value;
    const char *name;
} Qsc_OperName;

/** The name of one commander. */
typedef struct {
    uint32_t id;
    const char *name;
} Qsc_CommanderName;

/** What the "version" command answers for its host; owned by the host, which keeps it while it is set. */
typedef struct {
    const char *fwver;   /**< firmware version; null or empty: not known */
    const char *progver; /**< program version; null or empty: not known */
} Qsc_VersionRecord;

#ifdef __cplusplus
}
#endif

#endif

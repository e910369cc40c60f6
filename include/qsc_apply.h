/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file
 * Changes that are seen before they are made, and made as one: requests to several objects are planned, and
 * then all take effect or none does. Everything here is beside the plain set, commit and service of the
 * dispatchers, which stay as they are. qsc_types.h states the conventions.
 *
 * What an apply changes is worked out on a private overlay of the configuration (qrnuci.h), where the same
 * functions serve the requests that always do: what others have staged is neither committed nor lost. There
 * is one apply at a time on the device, from QSysCmdHal_BeginApply() to QSysCmdHal_EndApply() or
 * QSysCmdHal_AbortApply(); its calls may come from different threads, one after the other. A plan, too, is
 * one.
 *
 * Before the first file is replaced, the old and the new texts of all of them lie on the flash in
 * /etc/qsyscmdhal/apply. Whatever ends the process or the power from then on, the change is finished by
 * QSysCmdHal_RecoverApply(); before that, nothing has changed.
 *
 * Options are a JSON object, whose members may all be missing:
 *
 * - "commander", a number: who asks, a QSC_COMMANDER_ bit; QSC_COMMANDER_OTHER if missing
 * - "id", a text of 1 to 64 letters, digits, ".", "-" and "_": what the apply is called; made if missing
 * - "peer", a text: who asks, in the front end's own words
 * - "hash", a text: that of a plan; the apply is refused when what it is about has changed since
 * - "sets_only", a boolean: a plan has nothing but what the sets alone would do, without commits and
 * services; an apply is refused with it
 *
 * Plans and reports are JSON objects, which the caller releases with json_object_put(). A secret value is
 * "***" in all of them. Their members:
 *
 * - "id" and "hash", texts
 * - "result", a number: 0, or the code with which it was, or would be, refused
 * - "changes", an array of {"path", "parameter", "value", "old"}: what was asked for; "old" where it is known
 * - "configuration", an array of {"package", "section", "type", "option", "kind", "old", "new"}: what differs
 *   in the packages; "kind" is "added", "deleted", "changed", "moved" or "renamed"; without "option" it is
 * the section itself
 * - "packages", an array of texts: the packages that are written
 * - "files", an array of {"path", "kind"}: other files that are "made", "changed" or "deleted"
 * - "commands", an array of {"step", "path", "command"}: what is run, in order; "step" is "set", "commit",
 *   "service" or "event"
 * - "skipped", an array of {"command", "why"}: what a plain service would have run
 * - "refused", an array of {"path", "parameter", "code", "error"}: all that speaks against it
 *
 * In a report "commands" is what was run. When its "result" is not 0, all is as it was before; where
 * "failed_back" is true, going back has failed as well, for what "failed" names.
 */
#ifndef QSC_APPLY_H
#define QSC_APPLY_H

#include "qsc_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Begins an apply. One that was interrupted is finished first.
 *
 * @param[in] options  see above; may be null
 * @retval 0  begun
 * @retval 14 the configuration library of the device has no overlays, or /etc/qsyscmdhal cannot be used
 * @retval 16 an apply is under way; QSysCmdHal_LastError() says whose
 * @retval 22 an option of another type, or a malformed id
 */
QSC_API uint32_t QSysCmdHal_BeginApply(struct json_object *options);

/**
 * Adds a set. It is judged, and seen by the sets after it, and nothing is started. One that is refused makes
 * the whole apply fail; others may be added all the same, so that all that is wrong is known at once.
 *
 * @param[in]     path     as a set would name it
 * @param[in,out] request  as a set would send it; parameters get "ParamId"
 * @retval 0  added
 * @retval 14 also what cannot be undone: an upgrade, a reset, a reboot, a speed test
 * @retval 22 no apply is under way, or null argument
 * @return or the code that the set would end with; QSysCmdHal_LastError() says why
 */
QSC_API uint32_t QSysCmdHal_ApplySet(const char *path, struct json_object *request);

/**
 * Adds a commit. Whatever a set has staged is committed anyway; this is for the packages that a request
 * names, and for what commits more than was set.
 *
 * @param[in] path     as a commit would name it
 * @param[in] request  as a commit would send it; kept until the apply ends
 * @retval 0  added
 * @retval 22 no apply is under way, or null argument
 */
QSC_API uint32_t QSysCmdHal_ApplyCommit(const char *path, struct json_object *request);

/**
 * Adds a service. The subtrees of all sets are served anyway, with "restart"; this is for another action.
 *
 * @param[in] path     as a service would name it
 * @param[in] request  as a service would send it, with "action"; kept until the apply ends
 * @retval 0  added
 * @retval 22 no apply is under way, or null argument
 */
QSC_API uint32_t QSysCmdHal_ApplyService(const char *path, struct json_object *request);

/**
 * Works out what QSysCmdHal_EndApply() would do now. Nothing is written, nothing is started, and more can be
 * added afterwards.
 *
 * @param[out] plan  the plan, also when it would be refused; null when there is none
 * @retval 0  it would be done
 * @retval 12 no memory
 * @retval 22 no apply is under way, or null argument
 * @return or the code with which it would be refused, which the plan has as well
 */
QSC_API uint32_t QSysCmdHal_PlanApply(struct json_object **plan);

/**
 * Makes all changes of the apply, or none, and ends it. What sets tell the drivers at once is told first;
 * then the packages and files are replaced, and the services follow: each once, those alone that have
 * anything to read anew, by "reload" where their init script has that. When anything fails, everything is put
 * back and the services follow once more.
 *
 * @param[out] report  what was done, also when it was refused; may be null
 * @retval 0  done
 * @retval 11 the configuration is not what was planned, or somebody has changed it meanwhile; nothing is
 * changed
 * @retval 22 no apply is under way
 * @retval 28 there is no space for the change and for going back; nothing is changed
 * @return or the code of what failed first; all is as it was, and QSysCmdHal_LastError() says why
 */
QSC_API uint32_t QSysCmdHal_EndApply(struct json_object **report);

/** Ends the apply and changes nothing. @retval 0 ended @retval 22 no apply is under way */
QSC_API uint32_t QSysCmdHal_AbortApply(void);

/**
 * Plans changes in one call.
 *
 * @param[in,out] changes  array of {"path": text, and one of "set", "commit", "service": the request}
 * @param[in]     options  as for QSysCmdHal_BeginApply()
 * @param[out]    plan     the plan, also when it would be refused; null when there is none
 * @return as QSysCmdHal_BeginApply() and QSysCmdHal_PlanApply(); 22 also when `changes` is no such array
 */
QSC_API uint32_t QSysCmdHal_Plan(struct json_object *changes, struct json_object *options,
                                 struct json_object **plan);

/**
 * Makes changes as one, in one call.
 *
 * @param[in,out] changes  as for QSysCmdHal_Plan()
 * @param[in]     options  as for QSysCmdHal_BeginApply()
 * @param[out]    report   what was done, also when it was refused; may be null
 * @return as QSysCmdHal_BeginApply() and QSysCmdHal_EndApply()
 */
QSC_API uint32_t QSysCmdHal_Apply(struct json_object *changes, struct json_object *options,
                                  struct json_object **report);

/**
 * Takes an earlier apply back, as an apply of its own, with an id and an entry in the journal of its own.
 * What that one has changed gets the values that it had before, in the packages and in other files; what was
 * changed elsewhere since then stays. The same services follow. What undoes the last 16 applies is kept, up
 * to 256 KiB of it.
 *
 * @param[in]  id       of the apply; of several with that id the newest
 * @param[in]  options  as for QSysCmdHal_BeginApply()
 * @param[out] report   what was done, also when it was refused; may be null
 * @retval 0  taken back
 * @retval 11 somebody has touched the same options or files since; "refused" of the report lists them,
 * nothing is changed
 * @retval 14 also when there is nothing to take back of that id
 * @return or as QSysCmdHal_EndApply()
 */
QSC_API uint32_t QSysCmdHal_Rollback(const char *id, struct json_object *options,
                                     struct json_object **report);

/**
 * Finishes an apply that a kill or a power failure has interrupted. To be called before the network starts,
 * and by whoever makes applies when it starts; it does nothing where nothing is to be done.
 *
 * @retval 0  nothing is left to do
 * @retval 16 an apply is under way
 * @return or the code of what could not be put in place; it is tried again by the next call
 */
QSC_API uint32_t QSysCmdHal_RecoverApply(void);

/** A stage of an apply: "accepted" comes once nothing speaks against it, before the services. */
typedef void (*QSysCmdHal_ApplyStage)(const char *stage, const char *id, void *context);

/**
 * Has a function told of the stages of the process's applies, on the thread that makes the apply.
 *
 * @param[in] stage    the function; null: none
 * @param[in] context  handed to it
 */
QSC_API void QSysCmdHal_WatchApply(QSysCmdHal_ApplyStage stage, void *context);

/*
 * A change that waits to be confirmed. The options of an apply ask for that:
 *   "confirm"  number: seconds in which it has to be confirmed, from when the last service has been
 * restarted, up to 604800 (a week); otherwise it is to be taken back "checks"   array of up to 8 texts: what
 * the device itself looks at: "gateway", "dns", "url:" and an address of HTTP, or a program with its
 * arguments, which is run without a shell. Without "confirm" they alone judge, within 300 seconds "retries"
 * number: how often the checks are tried again, up to 100; 0 if missing "user"     number: the user id of who
 * asks, for those who judge by it who may confirm
 *
 * What the change replaces lies on the flash, in /etc/qsyscmdhal/checkpoint, until it is confirmed or taken
 * back. Meanwhile sets, commits and applies of other commanders are refused with 16 (EBUSY). A further apply
 * of the same commander joins: the window is then its, and what is taken back is what was there before the
 * first. The functions below work in any process; qscd is the one that looks at the clock and runs the
 * checks.
 */

/**
 * Tells what waits.
 *
 * @param[out] window  a JSON object, which the caller releases with json_object_put(): "id", "commander",
 * "user", "peer", "state" ("applying", "open" or "returning"), "seconds", "left" (seconds until it is taken
 * back), "deadline" (milliseconds of CLOCK_BOOTTIME), "checks", "retries", "is_judged" (by the checks alone),
 * "why" (it is taken back), "is_of_this_boot"; and, also where nothing waits, "last" with "id" and "outcome"
 * ("confirmed", "restored" or "failed") of what waited last
 * @retval 0  told
 * @retval 14 the checkpoint cannot be read
 * @retval 22 null argument
 * @retval 61 nothing waits
 */
QSC_API uint32_t QSysCmdHal_GetWindow(struct json_object **window);

/**
 * Confirms the change that waits. Once this has returned, it stays, whatever happens to the power.
 *
 * @param[in] id  its id, that of the last apply; null: whichever it is
 * @retval 0  confirmed
 * @retval 16 it is still being applied, or is being taken back
 * @retval 22 another one waits
 * @retval 61 none waits
 * @return or the errno with which the flash could not be written; it waits on then
 */
QSC_API uint32_t QSysCmdHal_ConfirmWindow(const char *id);

/**
 * Gives the change that waits more time, or less.
 *
 * @param[in] id       as for QSysCmdHal_ConfirmWindow()
 * @param[in] seconds  counted from now, 1 to 604800
 * @return as QSysCmdHal_ConfirmWindow(); 22 also for another number of seconds
 */
QSC_API uint32_t QSysCmdHal_ExtendWindow(const char *id, uint32_t seconds);

/**
 * Takes the change that waits back, whoever's it is and whatever time it has. As much is put back as can be;
 * what cannot leaves the checkpoint as /etc/qsyscmdhal/checkpoint.failed, and is not tried again. A stage
 * "accepted" is told before services are restarted (QSysCmdHal_WatchApply()).
 *
 * @param[in]  why       a few words: why; kept and reported
 * @param[in]  services  0: no service is restarted, because none runs yet; otherwise those of the change are
 * @param[out] report    {"id", "why", "outcome": "restored" or "failed", "packages", "files", "services"},
 * the last three with what became of each by its name; the caller releases it. May be null
 * @retval 0  taken back
 * @retval 14 not everything could be put back, or the checkpoint cannot be read
 * @retval 61 none waits
 */
QSC_API uint32_t QSysCmdHal_RestoreCheckpoint(const char *why, uint32_t services,
                                              struct json_object **report);

/**
 * To be called by a daemon when it starts: others see again what waits. A checkpoint that cannot be read is
 * set aside.
 *
 * @retval 0  done, also where nothing waits
 * @retval 14 the checkpoint could not be read
 */
QSC_API uint32_t QSysCmdHal_ResumeWindow(void);

/**
 * Runs the checks of the change that waits, one after the other, for at most ten seconds each.
 *
 * @param[out] failed  the first that is not passed, cut where it does not fit; may be null
 * @param[in]  size    size of `failed`
 * @retval 0  all are passed, or there are none
 * @retval 14 one is not; QSysCmdHal_LastError() says why
 * @retval 16 it is still being applied, or is being taken back
 * @retval 61 none waits
 */
QSC_API uint32_t QSysCmdHal_TryChecks(char *failed, uint32_t size);

#ifdef __cplusplus
}
#endif

#endif

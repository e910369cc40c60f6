// SPDX-License-Identifier: Apache-2.0
// Changes that are made as one. What they make of packages and files are "texts", a JSON object that a
// write-ahead, a checkpoint and an undo file all have:
//   {"packages": {NAME: {"before": text, "after": text}}, "files": {PATH: {"before", "after", "mode",
//   "path"}}}
// where null stands for what is not there. "mode" is the new file's, and "path" the object that it belongs
// to.
#pragma once

#include <memory>

#include "base/FileDescriptor.h"
#include "base/Json.h"
#include "base/Text.h"
#include "core/Recorder.h"
#include "include/qsc_apply.h"
#include "include/qsc_describe.h"

namespace qsc::apply
{

/// The folder on the flash that all of this is kept in: the own user's, and nobody else's.
inline constexpr const char* kFolder = "/etc/qsyscmdhal";
inline constexpr const char* kWriteAhead = "/etc/qsyscmdhal/apply";
/// Where an apply has its overlay: not on the flash.
inline constexpr const char* kOverlay = "/var/run/qsyscmdhal.overlay";

/// One apply, from its begin to its end.
struct Session {
    FileDescriptor lock{-1}; ///< held from begin to end
    JsonRef options;
    u32 commander = 0;
    Text<64> id;

    Recorder recorder;
    JsonRef secrets; ///< values that no one may read in a plan
    JsonRef stems;   ///< names of options that hold such
    JsonRef sets;    ///< what was asked for, as it came: [[path, request]]
    JsonRef commits; ///< commits and services by their paths: the request
    JsonRef services;
    JsonRef chosen;  ///< those of the services that were asked for
    JsonRef outside; ///< files that tools change while sets are done, as they were: {PATH: {"text", "mode",
                     ///< "path"}}
    JsonRef changes; ///< of the plan
    JsonRef
        given; ///< texts that are put in place, instead of what sets come to; the "before" is what is there
    Text<64> undoes; ///< the apply that this one takes back
    JsonRef refused;
    u32 code = 0; ///< of the first refusal
    /// Init scripts with which services follow the old texts again, and drivers what those say: as
    /// Plan::runs.
    JsonRef back;
    bool is_live = false;        ///< drivers have been told what the sets tell them
    json_object* runs = nullptr; ///< init scripts that are still to be run, while services are
    bool is_accepted = false;    ///< who asks knows that nothing speaks against it
};

/// Puts a text into an object or an array. ENOMEM
[[nodiscard]] json_object* make_text(std::string_view text);
[[nodiscard]] u32 put_text(json_object* object, const char* name, std::string_view text);
[[nodiscard]] u32 append_to(json_object* array, json_object* value);
/// A member that is a text; empty: there is none.
[[nodiscard]] const char* member_text(json_object* object, const char* name);
/// Adds an empty array or object of that name. Null: no memory.
[[nodiscard]] json_object* put_array(json_object* object, const char* name);
[[nodiscard]] json_object* put_object(json_object* object, const char* name);

// Session.cpp
/// Frees a session.
struct EndSession {
    void operator()(Session* session) const;
};
using SessionRef = std::unique_ptr<Session, EndSession>;
[[nodiscard]] SessionRef new_session();
/// The overlay of the apply, for the scope; what is recorded goes to its recorder.
class InOverlay
{
  public:
    explicit InOverlay(Session& session);
    InOverlay(const InOverlay&) = delete;
    InOverlay& operator=(const InOverlay&) = delete;
    ~InOverlay() { (void)end(); }

    [[nodiscard]] u32 code() const { return code_; }
    /// Ends it early. @return 0, or EFAULT: what was staged is lost
    u32 end();

  private:
    RecordingScope scope_;
    u32 code_;
    bool is_begun_;
};
/// Removes the overlay's folder and what is in it.
void remove_overlay();
/// Begins one with options, which may be null.
[[nodiscard]] u32 begin(Session& session, json_object* options);
/// Adds changes, as QSysCmdHal_Plan() takes them.
[[nodiscard]] u32 add_changes(Session& session, json_object* changes);
[[nodiscard]] u32 add_set(Session& session, const char* path, json_object* request);
/// Whether it is a plan of the sets alone.
[[nodiscard]] bool is_of_sets_only(const Session& session);
/// Adds a commit or a service.
[[nodiscard]] u32 add_step(Session& session, const char* path, json_object* request, u32 operation);
/// Does the sets once more in a new overlay, with their commands for real.
[[nodiscard]] u32 set_live(Session& session);
/// Puts back what tools have changed while sets were done.
void put_back_outside(const Session& session);
/// Has all that was set committed, in the overlay.
[[nodiscard]] u32 commit_all(Session& session);
/// Notes that something speaks against the apply.
u32 add_refused(Session& session, const char* path, const char* parameter, u32 code);
/// Sends a request to the subtree that serves the path.
[[nodiscard]] u32 send(const Session& session, const char* path, json_object* request, u32 operation);
/// Takes the lock of the device; EBUSY: somebody has it, which is said.
[[nodiscard]] u32 take_lock(FileDescriptor& lock);

// Plan.cpp
/// What would be done, in the overlay that the thread is in. `report` gets all members of a plan, `texts`
/// what is to be replaced, and `runs` the init scripts: {"script action": action}.
struct Plan {
    JsonRef report;
    JsonRef texts;
    JsonRef order; ///< the services that are needed, in their order: [path]
    JsonRef runs;
    u32 switches = 0; ///< what the commits have left remembered for the services
};
[[nodiscard]] u32 make_plan(Session& session, Plan& plan);
/// The text of a package's file; null in `text`: there is none.
[[nodiscard]] u32 read_package(const char* name, JsonRef& text);

// Services.cpp
/// Has the services note what they would do: [{"path", "commands"}].
[[nodiscard]] JsonRef note_services(Session& session);
/// Works out which init scripts are needed and in which order, and adds the commands to the plan.
[[nodiscard]] u32 plan_services(Session& session, json_object* services, Plan& plan);
/// Runs them.
[[nodiscard]] u32 run_services(Session& session, const Plan& plan);
/// Tells who watches that nothing speaks against an apply, before its services are restarted.
void tell_accepted(const char* id);
/// Runs init scripts again after the texts have been put back: {"script action": action}. All of them.
u32 run_scripts(json_object* runs);

// Secrets.cpp
/// Remembers the values of a request's secret parameters.
[[nodiscard]] u32 note_secrets(Session& session, const Qsc_ObjectInfo& object, json_object* request);
/// Remembers the values of a package's secret options, which others may repeat.
[[nodiscard]] u32 note_stored_secrets(Session& session, const char* text);
[[nodiscard]] bool is_secret_parameter(const Qsc_ObjectInfo& object, const char* name);
/// The text with "***" for what is secret.
[[nodiscard]] JsonRef mask_text(const Session& session, std::string_view text);
/// Adds noted commands to those of a plan, without their secrets.
[[nodiscard]] u32 show_command(const Session& session, json_object* command, const char* text,
                               json_object* shown);
[[nodiscard]] JsonRef show_commands(const Session& session);
/// Whether an option's values are not to be shown.
[[nodiscard]] bool is_secret_option(const Session& session, const char* option, std::string_view before,
                                    std::string_view after);

// Replace.cpp
/// Replaces packages and files whole: all of them have the text before, or already the one after; and then
/// all have the one after, or are as they were. From its first step to finish_replacing(), recover() goes on
/// with it. `runs`: the init scripts that go with it, which recover() runs in the same boot; may be null.
/// EAGAIN: somebody else has changed one of them
[[nodiscard]] u32 replace_all(json_object* texts, json_object* runs, json_object* record = nullptr);
/// Puts all of it back: the same with before and after exchanged. What cannot be put back is passed over,
/// logged, and named in `failed` (an array, or null).
[[nodiscard]] u32 put_back_all(json_object* texts, json_object* runs, json_object* failed);
/// All is done: there is nothing to be recovered any more.
void finish_replacing();
/// The same texts with before and after exchanged.
[[nodiscard]] JsonRef reversed(json_object* texts);
/// ENOSPC: there is no space for making the changes and for going back.
[[nodiscard]] u32 reserve_space(json_object* texts);
void release_space();
/// Reads what replace_all() or a checkpoint has written; null: it is not there, or none.
[[nodiscard]] JsonRef read_json_file(const char* path);
/// Writes an object whole and durably.
[[nodiscard]] u32 write_json_file(const char* path, json_object* object);
[[nodiscard]] u32 recover();
/// What sets tell drivers at once is to be taken back by these init scripts, unless it comes to
/// replace_all().
[[nodiscard]] u32 note_live(json_object* runs);

// Window.cpp: the window in which a change is to be confirmed.
/// Whether these options may begin an apply now. EBUSY: an unconfirmed change of somebody else is open.
[[nodiscard]] u32 may_begin(const Session& session);
/// Whether it is to be confirmed, by somebody or by its checks.
[[nodiscard]] bool wants_window(const Session& session);
/// Keeps the texts before until they are confirmed, where the options want that ("confirm"). Called before
/// the first of them is replaced.
[[nodiscard]] u32 keep_checkpoint(const Session& session, json_object* texts);
/// The apply has ended, with the report's result.
void end_checkpoint(const Session& session, json_object* report);

// Rollback.cpp
/// Makes a new session one that takes back what `undo` is from. EAGAIN: others have gone on from there, which
/// the session's refusals list.
[[nodiscard]] u32 fill_rollback(Session& session, json_object* undo);

// Undo.cpp
/// Keeps what undoes an apply that has been made, with those of the applies before it.
void keep_undo(const char* id, json_object* services, json_object* texts);
/// What undoes the newest apply of that id; null: it is not kept.
[[nodiscard]] JsonRef read_undo(std::string_view id);

// Journal.cpp
/// What is to be recorded of an apply with the report's result: {"entry", "services"}; null: nothing.
[[nodiscard]] JsonRef make_record(const Session& session, json_object* report);
/// Puts it into the journal, and keeps the texts for undoing it.
void put_record(json_object* record, json_object* texts);

} // namespace qsc::apply

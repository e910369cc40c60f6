// SPDX-License-Identifier: Apache-2.0
// The one engine behind all dispatchers, and the description of a subtree that it works from.
#pragma once

#include <span>

#include "core/Object.h"

namespace qsc
{

/// What stands before " get" and so on in a subtree's log lines. A null label is the path form, which
/// starts with the request's path; an empty one stands for no label at all.
struct Labels {
    const char* get = nullptr;
    const char* set = nullptr;
    const char* commit = nullptr;
    const char* service = nullptr;
    const char* unsupported = nullptr;
};

/// One label for requests, another for commit and service.
constexpr Labels split_label(const char* text, const char* commit_and_service)
{
    return {text, text, commit_and_service, commit_and_service, text};
}

/// An object that a subtree serves instead of its main one for some paths.
struct ObjectChoice {
    enum Rule { kPathHolds, kPathIs } rule;
    const char* text;
    const Object* object;
};

/// Serves the service step of a subtree.
using ServiceStep = u32 (*)(const char* path, json_object* request);

/// The two routines of a list that has its own: one instance, and all of them.
struct ListRoutines {
    Qsc_Handler all;
    Qsc_IndexFunction* index;
};

/// One of the members that a subtree may leave out.
union SubtreeCell {
    const char* text;
    const Labels* labels;
    const ObjectChoice* choices;
    Qsc_Handler commit;
    ServiceStep service;
    const ListRoutines* routines;
    Qsc_ParamEntry* actions;
};

/// In `served`: without an instance number in the path, a get answers all instances, as children of the
/// request, named by their paths.
inline constexpr u8 kGetsAll = 0x80;

/// A row of the command table as it is written down: all that its dispatcher differs in from the next. Which
/// object serves a path, and who commits and restarts for it, is said here alone.
struct SubtreeDescription {
    const char* name;               ///< the dispatcher's
    u16 line;                       ///< where it is defined, for log lines
    const char* label = nullptr;    ///< of every line; null: the path form
    const Labels* labels = nullptr; ///< where the lines differ in it
    const Object* object;
    /// The first that fits the path wins over `object`.
    // NOLINTNEXTLINE(readability-redundant-member-init): otherwise every row would have to name it
    std::span<const ObjectChoice> choices{};
    u8 served = QSC_OPER_GET | QSC_OPER_SET;
    /// What a commit writes, in order, with blanks between them; with `applied_by`: what that commits for it.
    const char* packages = nullptr;
    const char* scripts = nullptr; ///< the init scripts of a service, in order, with blanks between them
    Qsc_Handler commit = nullptr;  ///< commits in place of the engine
    ServiceStep service = nullptr; ///< serves in place of the engine
    const char* after_service = nullptr; ///< shell command started after a successful service
    const char* applied_by = nullptr;    ///< path of the subtree that commits and restarts in its place

    /// Of a list in the indexed form: the path up to the instance number. Without routines its object is a
    /// growing list.
    const char* list = nullptr;
    const ListRoutines* routines = nullptr;

    /// Of the action form: the table whose entry a request names in "Action". The entry's `param` is the only
    /// way to hand the request on to a handler of the common shape, so it is written there.
    Qsc_ParamEntry* actions = nullptr;

    using Cell = SubtreeCell;
    enum Part : u16 {
        kLabel = 0x1,
        kLabels = 0x2,
        kChoices = 0x4,
        kPackages = 0x8,
        kScripts = 0x10,
        kCommit = 0x20,
        kService = 0x40,
        kAfterService = 0x80,
        kAppliedBy = 0x100,
        kList = 0x200,
        kRoutines = 0x400,
        kActions = 0x800,
    };
    template <typename Use>
    constexpr void for_each_cell(Use use) const
    {
        use_member(use, kLabel, label, Cell{.text = label});
        use_member(use, kLabels, labels, Cell{.labels = labels});
        use_member(use, kChoices, choices.data(), Cell{.choices = choices.data()});
        use_member(use, kPackages, packages, Cell{.text = packages});
        use_member(use, kScripts, scripts, Cell{.text = scripts});
        use_member(use, kCommit, commit, Cell{.commit = commit});
        use_member(use, kService, service, Cell{.service = service});
        use_member(use, kAfterService, after_service, Cell{.text = after_service});
        use_member(use, kAppliedBy, applied_by, Cell{.text = applied_by});
        use_member(use, kList, list, Cell{.text = list});
        use_member(use, kRoutines, routines, Cell{.routines = routines});
        use_member(use, kActions, actions, Cell{.actions = actions});
    }
};

/// A subtree as the library keeps it.
class Subtree : Sparse<SubtreeCell, u16>
{
    using Row = SubtreeDescription;

    u8 choice_count_ = 0; // first, where it fits in

  public:
    constexpr Subtree() = default;
    constexpr Subtree(const Row& row, const SubtreeCell* cells)
        : Sparse(row, cells), choice_count_(static_cast<u8>(row.choices.size())), served(row.served),
          line(row.line), name(row.name), object(row.object)
    {
    }

    u8 served = 0;
    u16 line = 0;
    const char* name = nullptr;
    const Object* object = nullptr;

    [[nodiscard]] const char* label() const { return at<&SubtreeCell::text>(Row::kLabel); }
    [[nodiscard]] const Labels* labels() const { return at<&SubtreeCell::labels>(Row::kLabels); }
    [[nodiscard]] std::span<const ObjectChoice> choices() const
    {
        return {at<&SubtreeCell::choices>(Row::kChoices), choice_count_};
    }
    [[nodiscard]] const char* packages() const { return at<&SubtreeCell::text>(Row::kPackages); }
    [[nodiscard]] const char* scripts() const { return at<&SubtreeCell::text>(Row::kScripts); }
    [[nodiscard]] Qsc_Handler commit() const { return at<&SubtreeCell::commit>(Row::kCommit); }
    [[nodiscard]] ServiceStep service() const { return at<&SubtreeCell::service>(Row::kService); }
    [[nodiscard]] const char* after_service() const { return at<&SubtreeCell::text>(Row::kAfterService); }
    [[nodiscard]] const char* applied_by() const { return at<&SubtreeCell::text>(Row::kAppliedBy); }
    [[nodiscard]] const char* list() const { return at<&SubtreeCell::text>(Row::kList); }
    [[nodiscard]] const ListRoutines* routines() const { return at<&SubtreeCell::routines>(Row::kRoutines); }
    [[nodiscard]] Qsc_ParamEntry* actions() const { return at<&SubtreeCell::actions>(Row::kActions); }
};
static_assert(sizeof(Subtree) <= 3 * sizeof(void*) + 8);

/// Serves a request to a subtree, or to the one of that number. It comes last, so that the arguments of a
/// dispatcher stay where they came in.
u32 dispatch(const char* path, json_object* object, u32 oper, u32 argument, i64 context, u64 value,
             const Subtree& subtree);
u32 dispatch(const char* path, json_object* object, u32 oper, u32 argument, i64 context, u64 value,
             std::size_t number);

/// The subtrees, in the order of the command table.
[[nodiscard]] std::span<const Subtree> subtrees();

/// The object that a path of the subtree leads to.
[[nodiscard]] const Object& object_at(const Subtree& subtree, const char* path);

/// Judges a set without doing it. @return the code that it would end with
u32 check_only(const Subtree& subtree, const char* path, json_object* object, u32 argument);

} // namespace qsc

// SPDX-License-Identifier: Apache-2.0
#include "core/SetJournal.h"

#include <algorithm>
#include <atomic>
#include <cstring>

#include <json-c/json.h>
#include <strings.h>

#include "base/Recording.h"
#include "base/Text.h"
#include "base/Utf8.h"
#include "include/qsc_describe.h"
#include "include/qsc_journal.h"
#include "include/qsyscmdhal.h"

namespace qsc
{

namespace
{

constexpr const char* kSecretShown = "***";

constinit std::atomic<bool> g_wanted{false};

constinit thread_local char t_peer[64] = "";

/// The library's own commands, in small letters, set nothing on the device.
bool is_of_device(const char* path)
{
    return path != nullptr && !(*path >= 'a' && *path <= 'z');
}

bool sounds_secret(std::string_view name)
{
    constexpr const char* kWords[] = {"password", "passphrase", "passwd", "secret",
                                      "psk",      "key",        "token",  "community"};
    Text<126> whole;
    whole.append(name);
    return std::ranges::any_of(kWords,
                               [&](const char* word) { return strcasestr(whole.c_str(), word) != nullptr; });
}

/// Rows know; of what a plain handler serves, the name has to tell.
bool is_secret(const PackedRow* row, std::string_view name)
{
    if (row == nullptr || row->place == Place::kHandler) {
        return sounds_secret(name) || (row != nullptr && (row->marks & kSecret) != 0);
    }
    return (row->marks & kSecret) != 0 || row->kind == Kind::kLines;
}

bool is_readable(const Subtree& subtree, const PackedRow* row)
{
    return subtree.actions() == nullptr &&
           (row == nullptr || (row->access != Access::kWrite && row->place != Place::kInstance));
}

/// What becomes of the request is no more the journal's. Null: no memory.
JsonRef copy_value(json_object* value)
{
    json_object* copy = nullptr;
    (void)json_object_deep_copy(value, &copy, nullptr);
    return JsonRef{copy};
}

/// Collects what a set names.
class Collection
{
  public:
    Collection(const Subtree& subtree, const char* path)
        : subtree_(subtree), path_(or_empty(path)), changes(json_object_new_array()),
          before(json_object_new_object()), leaves_(json_object_new_array())
    {
    }

    /// Takes a request, or an instance in one that holds several. Each change has a place in a get's request
    /// that looks the same.
    void take(json_object* request, json_object* get, const char* instance = nullptr)
    {
        json_object_object_foreach(request, name, value)
        {
            if (!is_object(value)) {
                continue;
            }
            const PackedRow* const row = find_row(object_at(subtree_, path_), name);
            json_object* new_value = nullptr;
            const bool is_parameter = find_member(value, "ParamValue", new_value) || row != nullptr;
            if (is_parameter) {
                take_parameter(row, name, new_value, get, instance);
            } else if (instance == nullptr && subtree_.list() != nullptr) {
                json_object* const inside = json_object_new_object();
                take(value, inside, name);
                is_whole = is_whole && add_member(get, name, inside) == 0;
            }
        }
    }

    /// Takes over what the get has answered.
    void take_old_values()
    {
        for (std::size_t i = 0; i < json_object_array_length(changes.get()); ++i) {
            json_object* old = nullptr;
            json_object* const leaf = json_object_array_get_idx(leaves_.get(), i);
            if (leaf != nullptr && find_member(leaf, "ParamValue", old)) {
                put(json_object_array_get_idx(changes.get(), i), "old", copy_value(old));
            }
        }
    }

    [[nodiscard]] bool has_memory() const
    {
        return changes != nullptr && before != nullptr && leaves_ != nullptr;
    }

  private:
    void put(json_object* object, const char* name, JsonRef value)
    {
        is_whole = is_whole && add_named_member(object, name, value.release()) == 0;
    }

    void take_parameter(const PackedRow* row, const char* name, json_object* value, json_object* get,
                        const char* instance)
    {
        JsonRef change{json_object_new_object()};
        // Instances in a request are named by their whole paths.
        std::string_view path{instance != nullptr ? instance : path_};
        path.remove_suffix(path.ends_with('.') ? 1 : 0);
        const bool is_hidden = is_secret(row, name);
        json_object* const leaf =
            !is_hidden && is_readable(subtree_, row) ? json_object_new_object() : nullptr;
        if (change == nullptr) {
            is_whole = false;
            return;
        }
        put(change.get(), "path",
            JsonRef{json_object_new_string_len(path.data(), static_cast<int>(path.size()))});
        put(change.get(), "parameter", JsonRef{json_object_new_string(name)});
        if (is_hidden) {
            put(change.get(), "old", JsonRef{json_object_new_string(kSecretShown)});
            put(change.get(), "new", JsonRef{json_object_new_string(kSecretShown)});
        } else if (value != nullptr) {
            put(change.get(), "new", copy_value(value));
        }
        has_leaf = has_leaf || leaf != nullptr;
        is_whole = is_whole && (leaf == nullptr || add_member(get, name, json_object_get(leaf)) == 0) &&
                   json_object_array_add(leaves_.get(), leaf) == 0 &&
                   json_object_array_add(changes.get(), change.release()) == 0;
    }

    const Subtree& subtree_;
    const char* path_;

  public:
    JsonRef changes;
    JsonRef before; ///< the get's request
    bool has_leaf = false;
    bool is_whole = true;

  private:
    JsonRef leaves_; ///< by the numbers of the changes: where the get answers; null: it cannot
};

/// Has gets start nothing: a set that is recorded does to the device what it does otherwise. What a tool
/// would have to tell is not known then.
class WithoutTools : public Recording
{
  public:
    WithoutTools()
    {
        starts = [](Recording& self, const char* const*, u32& code) { return self_of(self).pass(code); };
        runs = [](Recording& self, const char*, u32& code) { return self_of(self).pass(code); };
        writes = [](Recording&, const char*, const std::string_view*, mode_t, u32&) { return false; };
        reads = [](Recording&, const char*, FileText&, u32&) { return false; };
        tells = [](Recording&, const EventSource&, std::string_view) { return false; };
    }

    bool was_asked = false; ///< a tool would have been started

  private:
    static WithoutTools& self_of(Recording& self) { return static_cast<WithoutTools&>(self); }

    bool pass(u32& code)
    {
        was_asked = true;
        code = 0;
        return true;
    }
};

/// Forgets what was answered below a leaf.
void forget_answers(json_object* leaf)
{
    if (!is_object(leaf)) {
        return;
    }
    json_object_object_del(leaf, "ParamValue");
    json_object_object_foreach(leaf, name, inside)
    {
        (void)name;
        forget_answers(inside);
    }
}

/// Gets everything at once; where something is refused, which hides what comes after it, or a tool would have
/// to be asked, one by one.
void get_all(json_object* before, SetJournal::Get get, void* context)
{
    WithoutTools tools;
    const RecordingScope scope{&tools};
    if (get(context, before) == 0 && !tools.was_asked) {
        return;
    }
    const bool is_doubtful = tools.was_asked;
    json_object_object_foreach(before, name, leaf)
    {
        json_object* known = nullptr;
        const JsonRef single{json_object_new_object()};
        if (!is_object(leaf) || (!is_doubtful && find_member(leaf, "ParamId", known))) {
            continue;
        }
        forget_answers(leaf);
        tools.was_asked = false;
        if (add_member(single.get(), name, json_object_get(leaf)) == 0) {
            (void)get(context, single.get());
        }
        if (tools.was_asked) {
            forget_answers(leaf);
        }
    }
}

} // namespace

SetJournal::SetJournal(const Subtree& subtree, const char* path, json_object* request, u32 oper, Get get,
                       void* context)
{
    // Changes that are made as one are recorded as one.
    if (!g_wanted.load(std::memory_order_relaxed) || t_recording != nullptr || (oper & QSC_OPER_GET) != 0 ||
        (oper & QSC_OPER_SET) == 0 || !is_object(request) || !is_of_device(path)) {
        return;
    }
    Collection collection{subtree, path};
    if (!collection.has_memory()) {
        return;
    }
    collection.take(request, collection.before.get());
    if (collection.has_leaf && collection.is_whole) {
        get_all(collection.before.get(), get, context);
        collection.take_old_values();
    }
    if (json_object_array_length(collection.changes.get()) != 0) {
        changes_ = std::move(collection.changes);
    }
}

void SetJournal::finish(u32 commander, u32 code)
{
    JsonRef entry{changes_ != nullptr ? json_object_new_object() : nullptr};
    if (entry == nullptr) {
        return;
    }
    const auto put_text = [&](const char* name, const char* text) {
        (void)add_named_member(entry.get(), name, json_object_new_string(text));
    };
    put_text("kind", "set");
    put_text("commander", QSysCmdHal_GetCommanderName(static_cast<i32>(commander)));
    if (t_peer[0] != '\0') {
        put_text("peer", t_peer);
    }
    (void)add_named_member(entry.get(), "result", json_object_new_int64(code));
    if (code != 0) {
        put_text("error", QSysCmdHal_LastError());
    }
    (void)add_named_member(entry.get(), "changes", changes_.release());
    (void)QSysCmdHal_JournalAdd(entry.get()); // it has logged that it failed, which is no reason to fail
}

void want_journal(bool wanted)
{
    g_wanted = wanted;
}

} // namespace qsc

void QSysCmdHal_SetPeer(const char* peer)
{
    const std::string_view text{qsc::or_empty(peer)};
    const std::size_t size = std::min(text.size(), sizeof qsc::t_peer - 1);
    qsc::t_peer[text.copy(qsc::t_peer, qsc::size_of_whole_characters({text.data(), size}))] = '\0';
}

// SPDX-License-Identifier: Apache-2.0
#include "core/Counters.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <span>

#include <json-c/json.h>

#include "base/Json.h"
#include "base/Text.h"
#include "base/ToolTime.h"
#include "base/Utf8.h"
#include "core/Dispatch.h"
#include "include/qsc_describe.h"
#include "include/qsc_stats.h"
#include "include/qsyscmdhal.h"

namespace qsc
{

namespace
{

constexpr std::size_t kMostTools = 64;

constexpr auto kRelaxed = std::memory_order_relaxed;

/// A sum of nanoseconds, of two halves: not every processor has 64 bits in one step. Who reads between the
/// two steps of a carry sees four seconds less.
class Sum
{
  public:
    void add(u64 number)
    {
        const u64 low = u64{low_.fetch_add(static_cast<u32>(number), kRelaxed)} + static_cast<u32>(number);
        if (const auto carry = static_cast<u32>((low >> 32) + (number >> 32))) {
            high_.fetch_add(carry, kRelaxed);
        }
    }
    [[nodiscard]] u64 value() const { return u64{high_.load(kRelaxed)} << 32 | low_.load(kRelaxed); }

  private:
    std::atomic<u32> low_{0};
    std::atomic<u32> high_{0};
};

struct Counter {
    std::atomic<u32> calls{0};
    std::atomic<u32> failures{0};
    std::atomic<u32> code{0}; ///< of the last failure
    std::atomic<u32> longest_us{0};
    Sum total_ns;

    void add(u64 took_ns, u32 result)
    {
        calls.fetch_add(1, kRelaxed);
        total_ns.add(took_ns);
        const auto us = static_cast<u32>(std::min<u64>(took_ns / 1000, UINT32_MAX));
        for (u32 longest = longest_us.load(kRelaxed);
             us > longest && !longest_us.compare_exchange_weak(longest, us, kRelaxed);) {
        }
        if (result != 0) {
            failures.fetch_add(1, kRelaxed);
            code.store(result, kRelaxed);
        }
    }
};

/// Keeps out whoever else looks at the texts. No one waits for it without end: a forked child may find it
/// taken by a thread that it does not have.
class Turn
{
  public:
    explicit Turn(std::atomic<bool>& taken) : taken_(taken)
    {
        constexpr int kTries = 1000;
        for (int i = 0; i < kTries && !has_; ++i) {
            has_ = !taken.exchange(true, std::memory_order_acquire);
        }
    }
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;
    ~Turn()
    {
        if (has_) {
            taken_.store(false, std::memory_order_release);
        }
    }
    [[nodiscard]] bool is_mine() const { return has_; }

  private:
    std::atomic<bool>& taken_;
    bool has_ = false;
};

struct SubtreeCounter {
    Counter counter;
    char error[160] = ""; ///< of the last failure
};

struct ToolCounter {
    Counter counter;
    std::atomic<const char*> why{nullptr};
    char program[64] = ""; ///< written once, before `tool_count` counts it
};

} // namespace

struct Counters {
    explicit Counters(SubtreeCounter* own) : subtrees(own) {}

    SubtreeCounter* subtrees;
    std::atomic<bool> is_taken{false}; ///< the texts
    std::atomic<u32> tool_count{0};
    ToolCounter tools[kMostTools];
};

namespace
{

/// What is counted into; null: nothing is counted.
constinit std::atomic<Counters*> g_counting{nullptr};
/// The same, also when it is no more counted.
constinit std::atomic<Counters*> g_counters{nullptr};

/// Whether a tool of the thread's request was put off.
constinit thread_local bool t_is_put_off = false;

void copy_sentence(char* to, std::size_t size, std::string_view sentence)
{
    const std::size_t length =
        size_of_whole_characters({sentence.data(), std::min(sentence.size(), size - 1)});
    to[sentence.copy(to, length)] = '\0';
}

ToolCounter* find_tool(Counters& counters, std::string_view program)
{
    const auto find = [&](u32 from) -> ToolCounter* {
        const u32 count = counters.tool_count.load(std::memory_order_acquire);
        for (u32 i = from; i < count; ++i) {
            if (program == counters.tools[i].program) {
                return &counters.tools[i];
            }
        }
        return nullptr;
    };
    program = {program.data(), std::min(program.size(), sizeof ToolCounter::program - 1)};
    ToolCounter* found = find(0);
    if (found != nullptr) {
        return found;
    }
    const Turn turn{counters.is_taken};
    const u32 count = counters.tool_count;
    if (!turn.is_mine() || count == kMostTools) {
        return count == kMostTools ? &counters.tools[kMostTools - 1] : nullptr;
    }
    found = find(0); // another thread may have been first
    if (found == nullptr) {
        found = &counters.tools[count];
        copy_sentence(found->program, sizeof found->program,
                      count == kMostTools - 1 ? std::string_view{"others"} : program);
        counters.tool_count.store(count + 1, std::memory_order_release);
    }
    return found;
}

void count_tool(const EndedTool& tool)
{
    if (tool.code == ECANCELED) {
        t_is_put_off = true;
        return;
    }
    Counters* const counters = g_counting.load(std::memory_order_acquire);
    ToolCounter* const found = counters != nullptr ? find_tool(*counters, tool.program) : nullptr;
    if (found == nullptr) {
        return;
    }
    found->counter.add(tool.took_ns, tool.code);
    if (tool.code != 0) {
        found->why.store(tool.why, kRelaxed);
    }
}

Counters* make_counters()
{
    const std::size_t count = subtrees().size();
    void* const memory = std::calloc(1, sizeof(Counters) + count * sizeof(SubtreeCounter));
    if (memory == nullptr) {
        return nullptr;
    }
    auto* const rows = reinterpret_cast<SubtreeCounter*>(static_cast<char*>(memory) + sizeof(Counters));
    for (std::size_t i = 0; i < count; ++i) {
        new (rows + i) SubtreeCounter;
    }
    auto* made = new (memory) Counters{rows};
    Counters* first = nullptr;
    if (!g_counters.compare_exchange_strong(first, made)) {
        std::free(memory);
        made = first; // another thread's
    }
    return made;
}

bool add_number(json_object* object, const char* name, u64 number)
{
    return add_named_member(object, name, json_object_new_int64(static_cast<i64>(number))) == 0;
}

/// Adds a line to one of the two lists. False: no memory.
bool add_line(json_object* list, const char* key, const char* name, const Counter& counter,
              std::string_view error)
{
    JsonRef line{json_object_new_object()};
    const u32 failures = counter.failures.load(kRelaxed);
    const bool is_whole =
        line != nullptr && add_named_member(line.get(), key, json_object_new_string(name)) == 0 &&
        add_number(line.get(), "calls", counter.calls.load(kRelaxed)) &&
        add_number(line.get(), "failures", failures) &&
        add_number(line.get(), "total", counter.total_ns.value() / 1000) &&
        add_number(line.get(), "longest", counter.longest_us.load(kRelaxed)) &&
        (failures == 0 ||
         (add_number(line.get(), "code", counter.code.load(kRelaxed)) &&
          add_named_member(line.get(), "error",
                           json_object_new_string_len(error.data(), static_cast<int>(error.size()))) == 0));
    return is_whole && json_object_array_add(list, line.release()) == 0;
}

bool add_subtrees(Counters& counters, json_object* list)
{
    for (std::size_t i = 0; i < subtrees().size(); ++i) {
        const SubtreeCounter& each = counters.subtrees[i];
        char error[sizeof each.error] = "";
        if (const Turn turn{counters.is_taken}; turn.is_mine()) {
            std::ranges::copy(each.error, error);
        }
        if (each.counter.calls != 0 &&
            !add_line(list, "path", g_QSysCmdHalCmd[i].path, each.counter, error)) {
            return false;
        }
    }
    return true;
}

bool add_tools(const Counters& counters, json_object* list)
{
    const u32 count = counters.tool_count.load(std::memory_order_acquire);
    for (const ToolCounter& each : std::span{counters.tools}.first(count)) {
        const char* const why = each.why.load(kRelaxed);
        char error[64];
        (void)(why != nullptr
                   ? std::snprintf(error, sizeof error, "%s", why)
                   : std::snprintf(error, sizeof error, "ended with code %u", each.counter.code.load()));
        if (!add_line(list, "program", each.program, each.counter, error)) {
            return false;
        }
    }
    return true;
}

} // namespace

RequestCount::RequestCount() : counters_(g_counting.load(std::memory_order_acquire))
{
    if (counters_ != nullptr) {
        t_is_put_off = false;
        begun_ns_ = monotonic_ns();
    }
}

void RequestCount::count(u32 subtree, u32 code) const
{
    if (t_is_put_off || subtree >= subtrees().size()) {
        return;
    }
    SubtreeCounter& found = counters_->subtrees[subtree];
    found.counter.add(monotonic_ns() - begun_ns_, code);
    if (code == 0) {
        return;
    }
    if (const Turn turn{counters_->is_taken}; turn.is_mine()) {
        copy_sentence(found.error, sizeof found.error, QSysCmdHal_LastError());
    }
}

} // namespace qsc

using namespace qsc;

uint32_t QSysCmdHal_CountStats(uint32_t on)
{
    Counters* counters = g_counters;
    if (on != 0 && counters == nullptr) {
        counters = make_counters();
        if (counters == nullptr) {
            return ENOMEM;
        }
    }
    g_counting = on != 0 ? counters : nullptr;
    g_count_tool = on != 0 ? count_tool : nullptr;
    return 0;
}

uint32_t QSysCmdHal_GetStats(struct json_object** stats)
{
    Counters* const counters = g_counters;
    if (stats == nullptr || counters == nullptr) {
        return stats == nullptr ? EINVAL : EFAULT;
    }
    JsonRef answer{json_object_new_object()};
    JsonRef rows{json_object_new_array()};
    JsonRef tools{json_object_new_array()};
    if (answer == nullptr || rows == nullptr || tools == nullptr || !add_subtrees(*counters, rows.get()) ||
        !add_tools(*counters, tools.get()) ||
        add_named_member(answer.get(), "subtrees", rows.release()) != 0 ||
        add_named_member(answer.get(), "tools", tools.release()) != 0) {
        return ENOMEM;
    }
    *stats = answer.release();
    return 0;
}

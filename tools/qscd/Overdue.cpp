// SPDX-License-Identifier: Apache-2.0
// Requests that take too long: the warning, the end of their tools, and what their clients are answered.
#include <cinttypes>

#include <json-c/json.h>

#include "include/bacl.h"
#include "tools/qscd/Server.h"

using namespace qsc;

namespace qscd
{

/// Writes the error of a request that was ended, in the place of its answer.
void Server::write_late(const Call& call, Answer& answer) const
{
    if (is_ending_) {
        answer.fail(kEnding, sentence_of(kEnding));
        return;
    }
    Text<254> sentence;
    Answer data;
    data.text().append(R"({"tool":)");
    data.append_text(call.late_tool);
    data.text().append(R"(,"cwmp":9002,"usp":7003})");
    if (call.late_tool[0] != '\0') {
        sentence.append("the request took too long; the tool ").append(call.late_tool).append(" was ended");
    } else {
        sentence.append("the request took too long");
    }
    answer.fail(kDeadline, sentence.view(), data.line());
}

void Server::warn_overdue(void* server, Call& call)
{
    char tool[64];
    copy_tool(call.run, tool);
    static_cast<Server*>(server)->log_.add("warning: overdue: %s %s runs %s for %" PRIu64 " ms",
                                           call.method->name, call.items[0].place.object.c_str(),
                                           tool[0] != '\0' ? tool : "no tool",
                                           BaCL_GetTimestampMSHQ() - call.started);
}

void Server::end_late(void* server, Call& call)
{
    auto& self = *static_cast<Server*>(server);
    ++self.counters_.late;
    self.log_.add("warning: deadline: %s %s was ended, and with it %s", call.method->name,
                  call.items[0].place.object.c_str(), call.late_tool[0] != '\0' ? call.late_tool : "no tool");
}

void Server::give_up(void* server, Call& call)
{
    auto& self = *static_cast<Server*>(server);
    self.log_.add("warning: %s %s does not come back", call.method->name, call.items[0].place.object.c_str());
    if (call.queue != nullptr || call.is_notification ||
        (self.client_of(call) == nullptr && call.ubus == nullptr)) {
        return;
    }
    // The call's own answer is still its worker's.
    json_object* id = nullptr;
    (void)json_object_object_get_ex(call.message.get(), "id", &id);
    Answer answer;
    (void)answer.begin(id);
    self.write_late(call, answer);
    if (call.ubus != nullptr) {
        self.ubus_.answer(call.ubus, answer.line());
    } else {
        self.send(call.slot, answer.line());
        self.update_events(call.slot);
    }
}

} // namespace qscd

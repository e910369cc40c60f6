// SPDX-License-Identifier: Apache-2.0
// Lines of clients: parsed, judged and served as the daemon does it, on a fake device. The first byte says
// who asks and where the line is cut.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include <json-c/json.h>
#include <sys/socket.h>

#include "fuzz/support/FuzzDevice.h"
#include "tools/qscd/Client.h"
#include "tools/qscd/Methods.h"

using namespace qscd;

namespace
{

json_tokener* tokener()
{
    static json_tokener* const made = [] {
        json_tokener* const fresh = json_tokener_new_ex(32);
        json_tokener_set_flags(fresh, JSON_TOKENER_STRICT | JSON_TOKENER_VALIDATE_UTF8);
        return fresh;
    }();
    return made;
}

void check(bool holds)
{
    if (!holds) {
        std::abort();
    }
}

/// Every answer is one line of valid JSON.
void check_answer(std::string_view line)
{
    check(line.ends_with('\n') && line.find('\n') == line.size() - 1 && line.size() <= kLongestLine);
    json_tokener_reset(tokener());
    json_object* const parsed =
        json_tokener_parse_ex(tokener(), line.data(), static_cast<int>(line.size() - 1));
    check(json_object_is_type(parsed, json_type_object) != 0);
    json_object_put(parsed);
}

void serve(std::string_view line, bool is_root)
{
    static const qsc::access::Table table{0};
    qsc::access::Peer peer;
    peer.user = is_root ? 0 : 1000;
    Call* const call = new_call();
    const std::unique_ptr<Call, DeleteCall> owner{call};
    json_tokener_reset(tokener());
    call->message.reset(json_tokener_parse_ex(tokener(), line.data(), static_cast<int>(line.size())));
    if (json_tokener_get_error(tokener()) != json_tokener_success ||
        json_object_is_type(call->message.get(), json_type_object) == 0) {
        return;
    }
    call->answer.begin();
    if (!prepare(*call, {table, peer})) {
        check_answer(call->answer.line());
        return;
    }
    check(is_root || call->item_count == 0); // without a rule no one gets as far as a path
    if (call->method->execute != nullptr) {
        call->method->execute(*call);
        if (call->method->execute != execute_sample) {
            check_answer(call->answer.line());
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzz::reset_device();
    if (size == 0) {
        return 0;
    }
    const std::string text{reinterpret_cast<const char*>(data) + 1, size - 1};
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, ends) != 0) {
        return 0;
    }
    Client client;
    client.open(ends[0], 1, {});
    const size_t cut = text.size() * (data[0] >> 1) / 128;
    for (const std::string& part : {text.substr(0, cut), text.substr(cut)}) {
        (void)!send(ends[1], part.data(), part.size(), MSG_DONTWAIT);
        (void)client.read();
        std::string_view line;
        while (client.next_line(line) == Client::Line::kWhole) {
            serve(line, (data[0] & 1) != 0);
        }
        client.forget_lines();
    }
    client.close();
    close(ends[1]);
    return 0;
}

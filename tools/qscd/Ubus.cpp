// SPDX-License-Identifier: Apache-2.0
#include "tools/qscd/Ubus.h"

#include <cstdlib>
#include <iterator>
#include <span>
#include <utility>

#include <json-c/json.h>

extern "C" {
#include <libubox/blobmsg_json.h>
#include <libubus.h>
}

#include "base/Json.h"
#include "tools/qscd/Answer.h"
#include "tools/qscd/UbusMessage.h"
#include "tools/qscd/Values.h"

using namespace qsc;

namespace qscd
{

namespace
{

/// What a message on ubus may have.
constexpr std::size_t kLongestMessage = std::size_t{1024} * 1024;
constexpr std::size_t kEnvelope = 256;
constexpr u64 kPause = 1000;

/// The status of an error, for callers that look at nothing else.
int status_of(json_object* error)
{
    switch (json_object_get_int(member(error, "code"))) {
    case kBadParams:
    case kInvalidRequest:
    case kParseError:
        return UBUS_STATUS_INVALID_ARGUMENT;
    case kNoSuchMethod:
        return UBUS_STATUS_METHOD_NOT_FOUND;
    case kDenied:
        return UBUS_STATUS_PERMISSION_DENIED;
    case kDeadline:
        return UBUS_STATUS_TIMEOUT;
    default:
        return UBUS_STATUS_UNKNOWN_ERROR;
    }
}

int handle_request(ubus_context* context, ubus_object* object, ubus_request_data* request, const char* method,
                   blob_attr* message);

// What "ubus -v list qsc" shows; the methods themselves judge what they are given.
constexpr blobmsg_policy kPath{"path", BLOBMSG_TYPE_STRING};
constexpr blobmsg_policy kPaths{"paths", BLOBMSG_TYPE_ARRAY};
constexpr blobmsg_policy kCommander{"commander", BLOBMSG_TYPE_STRING};
constexpr blobmsg_policy kOfGet[] = {kPath,
                                     kPaths,
                                     {"depth", BLOBMSG_TYPE_INT32},
                                     {"types", BLOBMSG_TYPE_BOOL},
                                     {"limit", BLOBMSG_TYPE_INT32},
                                     {"from", BLOBMSG_TYPE_STRING},
                                     kCommander};
constexpr blobmsg_policy kOfSet[] = {{"values", BLOBMSG_TYPE_TABLE}, kCommander};
constexpr blobmsg_policy kOfCommit[] = {kPath, {"packages", BLOBMSG_TYPE_ARRAY}, kCommander};
constexpr blobmsg_policy kOfService[] = {kPath, {"action", BLOBMSG_TYPE_STRING}, kCommander};
constexpr blobmsg_policy kValues{"values", BLOBMSG_TYPE_TABLE};
constexpr blobmsg_policy kChanges{"changes", BLOBMSG_TYPE_ARRAY};
constexpr blobmsg_policy kId{"id", BLOBMSG_TYPE_STRING};
constexpr blobmsg_policy kHash{"hash", BLOBMSG_TYPE_STRING};
constexpr blobmsg_policy kConfirm{"confirm", BLOBMSG_TYPE_INT32};
constexpr blobmsg_policy kChecks{"checks", BLOBMSG_TYPE_ARRAY};
constexpr blobmsg_policy kRetries{"retries", BLOBMSG_TYPE_INT32};
constexpr blobmsg_policy kLimit{"limit", BLOBMSG_TYPE_INT32};
constexpr blobmsg_policy kOfPlan[] = {kValues, kChanges, kId, {"sets_only", BLOBMSG_TYPE_BOOL}, kCommander};
constexpr blobmsg_policy kOfApply[] = {kValues,  kChanges, kId,      kHash,
                                       kConfirm, kChecks,  kRetries, kCommander};
constexpr blobmsg_policy kOfRollback[] = {
    {"undo", BLOBMSG_TYPE_STRING}, kId, kHash, kConfirm, kChecks, kRetries, kCommander};
constexpr blobmsg_policy kOfDecision[] = {kId, kCommander};
constexpr blobmsg_policy kOfExtend[] = {kId, {"seconds", BLOBMSG_TYPE_INT32}, kCommander};
constexpr blobmsg_policy kOfHistory[] = {kLimit};
constexpr blobmsg_policy kOfAudit[] = {kPath, kLimit};
constexpr blobmsg_policy kOfShow[] = {kId, kLimit};
constexpr blobmsg_policy kOfList[] = {kPath};
constexpr blobmsg_policy kOfLog[] = {{"level", BLOBMSG_TYPE_INT32}, {"properties", BLOBMSG_TYPE_INT32}};

constexpr ubus_method method_named(const char* name, std::span<const blobmsg_policy> parameters = {})
{
    ubus_method method{};
    method.name = name;
    method.handler = handle_request;
    method.policy = parameters.data();
    method.n_policy = static_cast<int>(parameters.size());
    return method;
}

ubus_method g_methods[] = {method_named("get", kOfGet),
                           method_named("set", kOfSet),
                           method_named("commit", kOfCommit),
                           method_named("service", kOfService),
                           method_named("plan", kOfPlan),
                           method_named("apply", kOfApply),
                           method_named("rollback", kOfRollback),
                           method_named("confirm", kOfDecision),
                           method_named("extend", kOfExtend),
                           method_named("cancel", kOfDecision),
                           method_named("pending"),
                           method_named("history", kOfHistory),
                           method_named("audit", kOfAudit),
                           method_named("show", kOfShow),
                           method_named("list", kOfList),
                           method_named("log", kOfLog),
                           method_named("stats")};

} // namespace

struct UbusRequest {
    ubus_request_data data;
    u64 connection; ///< to the bus, that it came over
};

struct Ubus::Bus {
    ubus_context context; // the first member: handlers are given its address
    Ubus* owner;
    const char* path;
    ubus_object_type type;
    ubus_object object;
    bool is_joined;
    bool has_changed;
    u64 connection; ///< counts them
    u64 next_try;
};

namespace
{

Ubus* owner_of(ubus_context* context);

/// The names of a peer are the bus's word; the groups are the user database's.
access::Peer peer_of(const ubus_request_data& request)
{
    access::Peer peer;
    if (request.acl.user == nullptr || !access::peer_of_user(request.acl.user, peer)) {
        peer = {};
    }
    return peer;
}

int handle_request(ubus_context* context, ubus_object*, ubus_request_data* request, const char* method,
                   blob_attr* message)
{
    JsonRef parameters = parameters_of(message);
    if (parameters == nullptr) {
        return UBUS_STATUS_INVALID_ARGUMENT;
    }
    auto* const kept = static_cast<UbusRequest*>(std::malloc(sizeof(UbusRequest)));
    if (kept == nullptr) {
        return UBUS_STATUS_UNKNOWN_ERROR;
    }
    const access::Peer peer = peer_of(*request);
    kept->connection = owner_of(context)->connection();
    ubus_defer_request(context, request, &kept->data);
    owner_of(context)->take(method, std::move(parameters), peer, kept);
    return 0;
}

} // namespace

/// Set while the bus hands requests out; there is one in a process.
static Ubus* g_ubus = nullptr;
static bool g_is_lost = false;

namespace
{

Ubus* owner_of(ubus_context*)
{
    return g_ubus;
}

void note_lost(ubus_context*)
{
    g_is_lost = true;
}

} // namespace

Ubus::~Ubus()
{
    if (bus_ != nullptr && bus_->is_joined) {
        ubus_shutdown(&bus_->context);
    }
    std::free(bus_);
}

void Ubus::open(const char* path)
{
    bus_ = static_cast<Bus*>(std::calloc(1, sizeof(Bus)));
    if (bus_ != nullptr) {
        g_ubus = this;
        bus_->path = path;
        bus_->type.name = "qsc";
        bus_->type.methods = g_methods;
        bus_->type.n_methods = static_cast<int>(std::size(g_methods));
        (void)look(0);
    }
}

u64 Ubus::connection() const
{
    return bus_->connection;
}

int Ubus::descriptor() const
{
    return bus_ != nullptr && bus_->is_joined ? bus_->context.sock.fd : -1;
}

void Ubus::handle(bool has_hung_up)
{
    ubus_handle_event(&bus_->context);
    if (std::exchange(g_is_lost, false) || has_hung_up) {
        ubus_shutdown(&bus_->context);
        bus_->is_joined = false;
    }
}

int Ubus::look(u64 now)
{
    if (bus_ == nullptr || bus_->is_joined) {
        return -1;
    }
    if (now >= bus_->next_try) {
        bus_->next_try = now + kPause;
        bus_->context = {};
        bus_->object = {};
        bus_->type.id = 0; // was the lost bus's own
        bus_->object.name = "qsc";
        bus_->object.type = &bus_->type;
        bus_->object.methods = g_methods;
        bus_->object.n_methods = bus_->type.n_methods;
        if (ubus_connect_ctx(&bus_->context, bus_->path) == 0) {
            ++bus_->connection;
            bus_->context.connection_lost = note_lost;
            bus_->is_joined = ubus_add_object(&bus_->context, &bus_->object) == 0;
            bus_->has_changed = bus_->is_joined;
            if (!bus_->is_joined) {
                ubus_shutdown(&bus_->context);
            }
        }
    }
    return bus_->is_joined ? -1 : static_cast<int>(kPause);
}

bool Ubus::take_descriptor_changed()
{
    return bus_ != nullptr && std::exchange(bus_->has_changed, false);
}

void Ubus::answer(UbusRequest* request, std::string_view line)
{
    if (bus_ != nullptr && bus_->is_joined && request->connection == bus_->connection) {
        json_tokener* const tokener = json_tokener_new();
        const JsonRef parsed{json_tokener_parse_ex(tokener, line.data(), static_cast<int>(line.size()))};
        json_tokener_free(tokener);
        json_object* const error = member(parsed.get(), "error");
        json_object* const result = member(parsed.get(), "result");
        int status = error != nullptr ? status_of(error) : 0;
        blob_buf buffer{};
        (void)blob_buf_init(&buffer, 0);
        if (error != nullptr) {
            const JsonRef holder{json_object_new_object()};
            json_object_object_add(holder.get(), "error", json_object_get(error));
            (void)blobmsg_add_object(&buffer, holder.get());
        } else {
            (void)blobmsg_add_object(&buffer, result);
        }
        if (blob_raw_len(buffer.head) + kEnvelope > kLongestMessage) {
            (void)blob_buf_init(&buffer, 0);
            void* const table = blobmsg_open_table(&buffer, "error");
            (void)blobmsg_add_u32(&buffer, "code", static_cast<u32>(kTooLong));
            (void)blobmsg_add_string(
                &buffer, "message",
                "the answer is longer than ubus's limit of 1 MiB; ask for less, or with \"limit\"");
            blobmsg_close_table(&buffer, table);
            status = UBUS_STATUS_UNKNOWN_ERROR;
        }
        (void)ubus_send_reply(&bus_->context, &request->data, buffer.head);
        ubus_complete_deferred_request(&bus_->context, &request->data, status);
        blob_buf_free(&buffer);
    }
    std::free(request);
}

} // namespace qscd

// SPDX-License-Identifier: Apache-2.0
// Memory that fails: every allocation that a request makes, in json-c, libc or the library, is refused once,
// one after the other. Each time the answer is a code, nothing leaks, and the request works when memory is
// back.
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include <gtest/gtest.h>
#include <json-c/json.h>
#include <syslog.h>
#include <zlog.h>

#include "bacl_ring_buffer.h"
#include "base/SafeFile.h"
#include "qrnuci.h"
#include "qscbase.h"
#include "qslog.h"
#include "qsyscmdhal.h"

namespace
{

bool g_is_armed = false;
long g_until_failure = -1; ///< allocations that still succeed while armed; negative: all
bool g_has_failed = false;
long g_balance = 0;   ///< what is allocated and not freed
char g_record[32768]; ///< the last event record

bool may_allocate()
{
    if (!g_is_armed) {
        return true;
    }
    if (g_until_failure == 0) {
        g_until_failure = -1;
        g_has_failed = true;
        errno = ENOMEM;
        return false;
    }
    g_until_failure -= g_until_failure > 0 ? 1 : 0;
    return true;
}

void* counted(void* memory)
{
    g_balance += memory != nullptr ? 1 : 0;
    return memory;
}

} // namespace

// glibc's own allocator, behind the names that this program takes over. The outside is faked without memory.
extern "C" {

void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* memory, size_t size);
void __libc_free(void* memory);

void* malloc(size_t size)
{
    return may_allocate() ? counted(__libc_malloc(size)) : nullptr;
}

void* calloc(size_t count, size_t size)
{
    return may_allocate() ? counted(__libc_calloc(count, size)) : nullptr;
}

void* realloc(void* memory, size_t size)
{
    if (!may_allocate()) {
        return nullptr;
    }
    g_balance += memory == nullptr ? 1 : 0;
    return __libc_realloc(memory, size);
}

void free(void* memory)
{
    g_balance -= memory != nullptr ? 1 : 0;
    __libc_free(memory);
}

FILE* popen(const char*, const char*)
{
    return fopen("/proc/self/comm", "r");
}

int pclose(FILE* pipe)
{
    return fclose(pipe);
}

int system(const char*)
{
    return 0;
}

void sync(void) {}
void syslog(int, const char*, ...) {}

void zlog(zlog_category_t*, const char*, size_t, const char*, size_t, long, int, const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(g_record, sizeof g_record, format, arguments);
    va_end(arguments);
}

uint32_t QrnUci_GetString(const char* key, char* buffer, uint32_t size)
{
    const char* const value = std::strstr(key, "country") != nullptr ? "US"
                              : std::strstr(key, "band") != nullptr  ? "0"
                                                                     : "1";
    return std::snprintf(buffer, size, "%s", value) < 0 ? EFAULT : 0;
}

uint32_t QrnUci_GetListItem(const char* key, uint32_t index, char* buffer, uint32_t size)
{
    return index < 2 ? QrnUci_GetString(key, buffer, size) : uint32_t{EFAULT};
}

uint32_t QrnUci_SetNewString(const char*, const char*, uint32_t, uint32_t)
{
    return 0;
}

uint32_t QrnUci_SetListItem(const char*, uint32_t, const char*)
{
    return 0;
}

uint32_t QrnUci_CommitPackage(const char*)
{
    return 0;
}

} // extern "C"

namespace
{

uint32_t request(const char* path, uint32_t oper, json_object* object)
{
    const Qsc_CommandEntry* entry = QSysCmdHal_GetFunList();
    while (std::strncmp(path, entry->path, std::strlen(entry->path)) != 0) {
        ++entry;
    }
    return entry->dispatcher(path, object, oper, QSC_COMMANDER_CLI, 0, 0);
}

/// Memory fails, as it is planned, until this goes out of scope.
class Armed
{
  public:
    Armed() { g_is_armed = true; }
    Armed(const Armed&) = delete;
    Armed& operator=(const Armed&) = delete;
    ~Armed() { g_is_armed = false; }
};

/// Runs work() with the first allocation failing that it makes while armed, then the second, and so on until
/// it runs whole. Work makes and releases all that it needs.
template <typename Work>
void with_every_allocation_failing(const char* what, Work work)
{
    for (long allocation = 0;; ++allocation) {
        const auto run = [&] {
            g_until_failure = allocation;
            g_has_failed = false;
            return work();
        };
        (void)run(); // libc keeps some of what it reads: what is kept once is no leak, what is kept again is
        const long before = g_balance;
        const uint32_t code = run();
        ASSERT_EQ(g_balance, before) << what << " leaks when allocation " << allocation << " fails";
        if (!g_has_failed) {
            EXPECT_EQ(code, 0u) << what;
            EXPECT_GT(allocation, 0) << what << " allocates nothing: nothing was tested";
            return;
        }
        // What only serves the log or a command's pipe need not stop the request.
        ASSERT_TRUE(code == 0 || code == 12 || code == 14 || code == 22) << what << ": " << code;
    }
}

} // namespace

class FailingMemory : public testing::Test
{
  protected:
    void SetUp() override
    {
        Qslog_SubProperty(QSLOG_STDERR);
        Qsc_Dbg_SetEnableFlag(1);
    }
};

TEST_F(FailingMemory, RequestsAnswerACodeAndLeakNothing)
{
    const struct {
        const char* path;
        uint32_t oper;
        const char* object;
    } requests[] = {
        {"help", QSC_OPER_GET, R"({})"},
        {"version", QSC_OPER_GET, R"({})"},
        {"syslog", QSC_OPER_GET, R"({})"},
        {"syslog", QSC_OPER_SET, R"({"level":{"ParamValue":5}})"},
        {"Device.X_QRN_RemoteLog", QSC_OPER_GET, R"({})"},
        {"Device.X_QRN_RemoteLog", QSC_OPER_SET, R"({"Port":{"ParamValue":514}})"},
        {"Device.Time", QSC_OPER_GET, R"({})"},
        {"Device.Time", QSC_OPER_SET,
         R"({"NTPServer1":{"ParamValue":"a"},"CurrentLocalTime":{"ParamValue":"x"}})"},
        {"Device.Time", QSC_OPER_COMMIT, R"({})"},
        {"Device.Time", QSC_OPER_SERVICE, R"({"action":"restart"})"},
        {"Device.DHCPv4.Client.1", QSC_OPER_COMMIT, R"({"package":[]})"},
        {"Device.DHCPv4.Client.1.SentOption.", QSC_OPER_GET, R"({})"},
        {"Device.DHCPv4.Client.1.SentOption.1", QSC_OPER_GET, R"({})"},
        {"Device.DHCPv4.Client.1.SentOption.1", QSC_OPER_SET, R"({"Value":{"ParamValue":"v"}})"},
        // Not all of them: json-c loses a name when an object of more than eleven members cannot grow.
        {"Device.WiFi.Radio.1", QSC_OPER_GET,
         R"({"OperatingStandards":{},"PossibleChannels":{},"Channel":{}})"},
        {"Device.WiFi.Radio.1", QSC_OPER_SET,
         R"({"Channel":{"ParamValue":6},"OperatingStandards":{"ParamValue":"b,g"}})"},
        {"Device.WiFi.SSID.1", QSC_OPER_SET, R"({"LowerLayers":{"ParamValue":null}})"},
    };
    for (const auto& [path, oper, object] : requests) {
        with_every_allocation_failing(path, [&, path = path, oper = oper, object = object]() -> uint32_t {
            json_object* const value = json_tokener_parse(object);
            uint32_t code = 0;
            {
                const Armed armed;
                code = request(path, oper, value);
            }
            json_object_put(value);
            EXPECT_NE(code, uint32_t{EINVAL}) << path << ": nothing is wrong with the request";
            return code;
        });
    }
}

TEST_F(FailingMemory, HostServicesAnswerACodeAndLeakNothing)
{
    with_every_allocation_failing("header", []() -> uint32_t {
        // No member: json-c's own parser does not survive a failure while it copies a name.
        char text[256] = "{}";
        const Armed armed;
        const uint32_t code = QSCBase_ModifyMsgHeader(text, sizeof text, 1, 2, 3, 4);
        EXPECT_TRUE(code == 0 || std::strcmp(text, "{}") == 0) << "unchanged";
        return code;
    });
    with_every_allocation_failing("ring", []() -> uint32_t {
        const Armed armed;
        BaCL_RingBuffer ring;
        uint32_t code = BaCL_RingBuf_Init(&ring);
        code |= BaCL_RingBuf_AllocateBuffer(&ring, 64);
        EXPECT_EQ(ring.BufferSize, code == 0 ? 64u : 0u);
        EXPECT_TRUE(code == 0 || code == ENOMEM) << code;
        BaCL_RingBuf_Close(&ring, 0);
        return code;
    });
    with_every_allocation_failing("file", []() -> uint32_t {
        const Armed armed;
        qsc::FileText text;
        const uint32_t code = qsc::read_safe_file("/proc/self/status", text);
        EXPECT_TRUE(code == 0 ? text.view().size() > 256 : code == ENOMEM && text.view().empty()) << code;
        return code;
    });
    with_every_allocation_failing("text", []() -> uint32_t {
        const Armed armed;
        qsc::FileText text;
        return text.append("abc") && text.append("def") ? 0 : ENOMEM;
    });
    with_every_allocation_failing("event", []() -> uint32_t {
        char message[4096] = {};
        std::memset(message, 1, sizeof message - 1);
        g_PtrZlCategory = reinterpret_cast<zlog_category_t*>(g_record);
        {
            const Armed armed;
            QEvtLog_Log("", 1, "", 1, 1, 'n', "%s", message);
        }
        g_PtrZlCategory = nullptr;
        const std::string_view record{g_record};
        EXPECT_TRUE(record.ends_with("\\u0001\"")) << "truncated between characters";
        const std::size_t escapes = record.size() - std::strlen(R"("Status":"n","Msg":"")");
        EXPECT_EQ(escapes, g_has_failed ? 4095 / 6 * 6 : 4095 * 6);
        return 0;
    });
    with_every_allocation_failing("print", []() -> uint32_t {
        json_object* const value = json_tokener_parse(R"({"a":[1,2]})");
        uint32_t code = 0;
        {
            const Armed armed;
            code = Qsc_PrintJObj(value);
        }
        json_object_put(value);
        return code;
    });
}

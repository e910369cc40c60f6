// SPDX-License-Identifier: Apache-2.0
// Descriptors that the library, libc and zlog open in a host without standard streams must be above 2, or
// what the host prints would be written to them.
#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <syslog.h>
#include <unistd.h>
#include <zlog.h>

#include "bacl.h"
#include "qslog.h"
#include "support/ClosedStdio.h"
#include "support/TemporaryFolder.h"

using namespace test;

namespace
{

std::vector<int> g_opened;

/// Opens a descriptor, as the real function may.
void open_something()
{
    const int descriptor = open("/dev/null", O_RDWR | O_CLOEXEC);
    g_opened.push_back(descriptor);
    close(descriptor);
}

bool are_above_stdio(std::size_t count)
{
    return g_opened.size() == count && *std::ranges::min_element(g_opened) > STDERR_FILENO &&
           is_stdio_closed();
}

} // namespace

extern "C" {

void openlog(const char*, int, int)
{
    open_something();
}

void syslog(int, const char*, ...)
{
    open_something();
}

int zlog_init(const char*)
{
    open_something();
    return 0;
}

zlog_category_t* zlog_get_category(const char*)
{
    return reinterpret_cast<zlog_category_t*>(&g_opened);
}

int zlog_put_mdc(const char*, const char*)
{
    return 0;
}

void zlog_fini(void) {}

void zlog(zlog_category_t*, const char*, size_t, const char*, size_t, long, int, const char*, ...)
{
    open_something();
}

FILE* popen(const char* command, const char* mode)
{
    static auto* const next = reinterpret_cast<decltype(popen)*>(dlsym(RTLD_NEXT, "popen"));
    FILE* const stream = next(command, mode);
    g_opened.push_back(fileno(stream));
    return stream;
}

} // extern "C"

TEST(ClosedStdio, Logs)
{
    EXPECT_TRUE(holds_without_stdio([] {
        Qslog_Open("test", 8, 8);
        Qslog_Log(3, "M", 1, "f", "error\n");
        QEvtLog_Init(nullptr, nullptr, nullptr);
        QEvtLog_Log("", 1, "", 1, 1, 'n', "event");
        return are_above_stdio(4);
    }));
}

TEST(ClosedStdio, Commands)
{
    EXPECT_TRUE(holds_without_stdio([] {
        char output[8];
        QrnPClose(QrnPOpen("cat", "w"));
        return QrnExeCmdSimple("true") == 0 && QrnExeCmdSimpleGet("echo x", output, sizeof output) == 0 &&
               std::string{output} == "x\n" && are_above_stdio(3);
    }));
}

TEST(ClosedStdio, Copies)
{
    const TemporaryFolder folder;
    const std::string from = folder / "from";
    const std::string to = folder / "to";
    write_file(from, "text");
    EXPECT_TRUE(holds_without_stdio(
        [&] { return BaCL_CopyFile(from.c_str(), to.c_str()) == 0 && is_stdio_closed(); }));
    EXPECT_EQ(read_file(to), "text");
}

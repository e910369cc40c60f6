// SPDX-License-Identifier: Apache-2.0
#include "support/Outside.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <stdio_ext.h>
#include <syslog.h>

#include <json-c/json.h>
#include <zlog.h>

#include "qrnuci.h"
#include "qslog.h"
#include "qsyscmdhal.h"

namespace
{

std::map<FILE*, std::string>& open_pipes()
{
    static std::map<FILE*, std::string> pipes;
    return pipes;
}

std::string format(const char* text, va_list arguments)
{
    va_list again;
    va_copy(again, arguments);
    std::string result(static_cast<size_t>(vsnprintf(nullptr, 0, text, again)), '\0');
    va_end(again);
    vsnprintf(result.data(), result.size() + 1, text, arguments);
    return result;
}

uint32_t failure_of(const std::string& step)
{
    const auto& codes = test::outside().uci_codes;
    const auto found = codes.find(step.substr(0, step.find('=')));
    return found == codes.end() ? 0 : found->second;
}

uint32_t code_of(const std::string& step)
{
    test::outside().done.push_back(step);
    return failure_of(step);
}

int status_of(const std::string& command)
{
    const auto& statuses = test::outside().wait_statuses;
    const auto found = statuses.find(command);
    return found == statuses.end() ? 0 : found->second;
}

} // namespace

namespace test
{

Outside& outside()
{
    static Outside world;
    return world;
}

std::string list_item(const char* key, uint32_t index)
{
    return std::string{key} + "[" + std::to_string(index) + "]";
}

Lines Outside::commands() const
{
    Lines result;
    for (const std::string& step : done) {
        if (step.starts_with("popen ") || step.starts_with("system ")) {
            result.push_back(step);
        }
    }
    return result;
}

void OutsideTest::SetUp()
{
    QSysCmdHal_Close();
    g_QSysCmdHalCb = nullptr;
    g_PtrZlCategory = reinterpret_cast<zlog_category_t*>(&outside());
    Qslog_SetLogLevel(5);
    Qslog_SetProperty(1);
    outside() = Outside{};
}

void OutsideTest::TearDown()
{
    EXPECT_TRUE(open_pipes().empty()) << "a pipe was left open";
    g_QSysCmdHalCb = nullptr;
    QEvtLog_Close();
    QSysCmdHal_Close();
}

std::string OutsideTest::call(Qsc_Handler handler, uint32_t oper, const char* object, uint64_t param)
{
    const Json value{object};
    const uint32_t code = handler("name", value.get(), oper, 0x8, 0, param);
    return std::to_string(code) + " " + value.text();
}

std::string OutsideTest::send(const std::string& path, uint32_t oper, const char* object, uint32_t commander)
{
    const Json value{object};
    const uint32_t code = request(path.c_str(), oper, value.get(), commander);
    return std::to_string(code) + " " + value.text();
}

std::string OutsideTest::event(const std::string& message)
{
    return R"("Status":"n","Msg":")" + message + "\"";
}

Json::Json(const char* text) : value_(json_tokener_parse(text))
{
    if (value_ == nullptr && std::strcmp(text, "null") != 0) {
        ADD_FAILURE() << "not JSON: " << text;
    }
}

Json::~Json()
{
    json_object_put(value_);
}

std::string Json::text() const
{
    return json_object_to_json_string_ext(value_, JSON_C_TO_STRING_PLAIN | JSON_C_TO_STRING_NOSLASHESCAPE);
}

uint32_t request(const char* path, uint32_t oper, json_object* object, uint32_t commander)
{
    for (const Qsc_CommandEntry* entry = g_QSysCmdHalCmd; entry->id != QSC_TABLE_END; ++entry) {
        if (std::strncmp(path, entry->path, std::strlen(entry->path)) == 0) {
            return entry->dispatcher(path, object, oper, commander, 0, 0);
        }
    }
    ADD_FAILURE() << "no command serves " << path;
    return UINT32_MAX;
}

} // namespace test

using test::outside;

extern "C" {

// Taking the place of the library's functions and tables is what this program is for.
const char* __asan_default_options();
const char* __asan_default_options()
{
    return "detect_odr_violation=0";
}

FILE* popen(const char* command, const char* mode)
{
    outside().done.push_back(std::string{"popen "} + command);
    if (status_of(command) == -1) {
        return nullptr;
    }
    FILE* const pipe = tmpfile();
    if (*mode == 'r') {
        fputs(outside().outputs[command].c_str(), pipe);
        rewind(pipe);
    }
    open_pipes()[pipe] = command;
    return pipe;
}

int pclose(FILE* pipe)
{
    const auto found = open_pipes().find(pipe);
    if (found == open_pipes().end()) {
        ADD_FAILURE() << "closed a pipe that is not open";
        return -1;
    }
    const int status = status_of(found->second);
    open_pipes().erase(found);
    outside().pipe_memory = __fbufsize(pipe);
    fclose(pipe);
    return status;
}

int system(const char* command)
{
    outside().done.push_back(std::string{"system "} + command);
    if (outside().on_system) {
        outside().on_system(command);
    }
    return status_of(command);
}

void sync(void)
{
    outside().done.emplace_back("sync");
}

void openlog(const char* ident, int options, int facility)
{
    outside().done.push_back(std::string{"openlog "} + ident + " " + std::to_string(options) + " " +
                             std::to_string(facility));
}

void closelog(void)
{
    outside().done.emplace_back("closelog");
}

int setlogmask(int mask)
{
    outside().done.push_back("setlogmask " + std::to_string(mask));
    return 0;
}

void syslog(int priority, const char* text, ...)
{
    EXPECT_STREQ(text, "%s") << "a line must never be a format itself";
    va_list arguments;
    va_start(arguments, text);
    outside().logs.push_back({priority, format(text, arguments)});
    va_end(arguments);
}

int zlog_init(const char* config)
{
    outside().done.push_back(std::string{"zlog_init "} + config);
    return outside().zlog_init_result;
}

zlog_category_t* zlog_get_category(const char* name)
{
    outside().done.push_back(std::string{"zlog_get_category "} + name);
    return outside().zlog_has_category ? reinterpret_cast<zlog_category_t*>(&outside()) : nullptr;
}

int zlog_put_mdc(const char* key, const char* value)
{
    outside().done.push_back(std::string{"zlog_put_mdc "} + key + "=" + value);
    return 0;
}

void zlog_fini(void)
{
    outside().done.emplace_back("zlog_fini");
}

void zlog(zlog_category_t*, const char* file, size_t file_length, const char* function,
          size_t function_length, long, int level, const char* text, ...)
{
    EXPECT_EQ(std::strlen(file), file_length);
    EXPECT_EQ(std::strlen(function), function_length);
    EXPECT_EQ(level, 60);
    va_list arguments;
    va_start(arguments, text);
    outside().events.push_back(format(text, arguments));
    va_end(arguments);
}

uint32_t QrnUci_Init(void)
{
    return code_of("uci init");
}

uint32_t QrnUci_Close(void)
{
    return code_of("uci close");
}

uint32_t QrnUci_GetString(const char* key, char* buffer, uint32_t size)
{
    outside().read.emplace_back(key);
    if (const uint32_t code = failure_of(std::string{"get "} + key)) {
        return code;
    }
    const auto found = outside().uci.find(key);
    if (found == outside().uci.end() || found->second.size() >= size) {
        return EFAULT;
    }
    std::strcpy(buffer, found->second.c_str());
    return 0;
}

uint32_t QrnUci_SetNewString(const char* key, const char* value, uint32_t reserved, uint32_t mark)
{
    EXPECT_EQ(reserved, 0u);
    EXPECT_EQ(mark, 1u);
    const uint32_t code = code_of(std::string{"set "} + key + "=" + value);
    if (code == 0) {
        outside().uci[key] = value;
    }
    return code;
}

uint32_t QrnUci_GetListItem(const char* key, uint32_t index, char* buffer, uint32_t size)
{
    return QrnUci_GetString(test::list_item(key, index).c_str(), buffer, size);
}

uint32_t QrnUci_SetListItem(const char* key, uint32_t index, const char* value)
{
    return QrnUci_SetNewString(test::list_item(key, index).c_str(), value, 0, 1);
}

uint32_t QrnUci_CommitPackage(const char* package)
{
    return code_of(std::string{"commit "} + package);
}

} // extern "C"

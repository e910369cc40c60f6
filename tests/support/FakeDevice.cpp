// SPDX-License-Identifier: Apache-2.0
#include "support/FakeDevice.h"

#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <linux/magic.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <syslog.h>
#include <unistd.h>

#include <zlog.h>

#include "qrnuci.h"

using test::outside;

namespace
{

/// Whether the program has folders of its own in the place of the host's.
bool has_private_files()
{
    struct statfs status {
    };
    return outside().has_private_files || (statfs("/etc", &status) == 0 && status.f_type == TMPFS_MAGIC);
}

/// Whether a path is one of this host, which tests do not change.
bool is_kept_from_tests(std::string_view path)
{
    for (const std::string_view place :
         {"/etc/", "/overlay/", "/root/", "/sys/", "/tmp/qrn_", "/usr/", "/var/"}) {
        if (path.starts_with(place) && !has_private_files()) {
            errno = EROFS;
            return true;
        }
    }
    return false;
}

/// Ends the program: the library did what it must never do.
[[noreturn]] void fault(const char* what, const char* text)
{
    std::fprintf(stderr, "%s: %s\n", what, text);
    std::abort();
}

/// The definition that this program's own hides.
template <typename Function>
Function* real(const char* name)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

/// What the real configuration library answers; a fuzzer has none, as a device whose own is older.
template <typename Function, typename... Arguments>
uint32_t call_real(Function* next, Arguments... arguments)
{
    return next != nullptr ? next(arguments...) : uint32_t{EFAULT};
}

struct Pipe {
    FILE* stream;
    int status;
};

std::vector<Pipe>& pipes()
{
    static std::vector<Pipe> open;
    return open;
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

/// Adds words and a text to what was done.
void record(const char* words, const std::string& text = {})
{
    if (outside().keeps_records) {
        outside().done.push_back(words + text);
    }
}

uint32_t failure_of(const std::string& step)
{
    const auto& codes = outside().uci_codes;
    const auto found = codes.find(step.substr(0, step.find('=')));
    return found == codes.end() ? 0 : found->second;
}

/// Records a step and answers its code.
uint32_t code_of(const std::string& step)
{
    record("", step);
    return failure_of(step);
}

/// Records a command, does what it would do, and answers how it ends.
int run(const char* words, const char* command)
{
    if (outside().keeps_records) {
        record(words, command);
    }
    if (outside().on_command) {
        outside().on_command(command);
    }
    const auto& statuses = outside().wait_statuses;
    const auto found = statuses.empty() ? statuses.end() : statuses.find(std::string_view{command});
    return found == statuses.end() ? 0 : found->second;
}

const std::string& output_of(const char* command)
{
    const auto& outputs = outside().outputs;
    const auto found = outputs.empty() ? outputs.end() : outputs.find(std::string_view{command});
    return found == outputs.end() ? outside().any_output : found->second;
}

/// A pipe that holds its text already, or a file where it does not fit into one.
FILE* hold(const std::string& text, const char* mode)
{
    constexpr std::size_t kRoom = 65536;
    std::array<int, 2> ends{};
    if (*mode != 'r' || text.size() > kRoom || pipe2(ends.data(), O_CLOEXEC) != 0) {
        FILE* const file = tmpfile();
        fputs(text.c_str(), file);
        rewind(file);
        return file;
    }
    if (!text.empty() && write(ends[1], text.data(), text.size()) < 0) {
        fault("a pipe takes nothing", text.c_str());
    }
    close(ends[1]);
    return fdopen(ends[0], mode);
}

void record_read(const char* key, bool is_item, uint32_t index, uint32_t size)
{
    if (outside().keeps_records) {
        outside().reads.push_back({key, is_item, index, size, outside().commands().size()});
    }
}

uint32_t read(const std::string& key, char* buffer, uint32_t size)
{
    const auto& uci = outside().uci;
    const auto found = uci.find(key);
    if (const uint32_t code = failure_of("get " + key)) {
        return code;
    }
    if (found == uci.end() || found->second.size() >= size) {
        return EFAULT;
    }
    std::strcpy(buffer, found->second.c_str());
    return 0;
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

std::size_t open_pipes()
{
    return pipes().size();
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

Lines Outside::keys() const
{
    Lines result;
    for (const Read& read : reads) {
        result.push_back(read.is_item ? list_item(read.key.c_str(), read.index) : read.key);
    }
    return result;
}

} // namespace test

extern "C" {

// Taking the place of the library's functions and tables is what this program is for.
const char* __asan_default_options();
const char* __asan_default_options()
{
    return "detect_odr_violation=0";
}

FILE* popen(const char* command, const char* mode)
{
    static auto* const next = real<FILE*(const char*, const char*)>("popen");
    if (outside().has_real_commands) {
        return next(command, mode);
    }
    const int status = run("popen ", command);
    if (status == -1) {
        return nullptr;
    }
    FILE* const stream = hold(*mode == 'r' ? output_of(command) : std::string{}, mode);
    pipes().push_back({stream, status});
    return stream;
}

int pclose(FILE* stream)
{
    static auto* const next = real<int(FILE*)>("pclose");
    if (outside().has_real_commands) {
        return next(stream);
    }
    for (std::size_t i = 0; i < pipes().size(); ++i) {
        if (pipes()[i].stream == stream) {
            const int status = pipes()[i].status;
            pipes().erase(pipes().begin() + static_cast<std::ptrdiff_t>(i));
            fclose(stream);
            return outside().loses_children ? -1 : status;
        }
    }
    fault("closed a pipe that is not open", "");
}

int system(const char* command)
{
    return run("system ", command);
}

/// Programs of this machine are none of the device's: a test that sets everything must not change its
/// passwords.
int posix_spawnp(pid_t* pid, const char* file, const posix_spawn_file_actions_t* actions,
                 const posix_spawnattr_t* attributes, char* const arguments[], char* const environment[])
{
    static auto* const next = real<decltype(posix_spawnp)>("posix_spawnp");
    if (outside().has_real_commands) {
        return next(pid, file, actions, attributes, arguments, environment);
    }
    const auto program = outside().programs.find(std::string_view{file});
    if (program == outside().programs.end()) {
        return ENOENT;
    }
    const bool is_script = arguments[1] != nullptr && std::strcmp(arguments[1], "-c") == 0;
    std::vector<char*> words{const_cast<char*>("sh"), const_cast<char*>("-c"), program->second.data()};
    std::string line = file;
    for (int i = 0; arguments[i] != nullptr; ++i) {
        words.push_back(arguments[i]);
        line += i == 0 || (is_script && i < 3) ? "" : std::string{" "} + arguments[i];
    }
    words.push_back(nullptr);
    record("run ", line);
    return next(pid, "/bin/sh", actions, attributes, words.data(), environment);
}

/// What can be run is what posix_spawnp() finds.
int access(const char* path, int mode)
{
    static auto* const next = real<decltype(access)>("access");
    return mode == X_OK && !outside().has_real_commands
               ? outside().programs.find(std::string_view{path}) != outside().programs.end() ? 0 : -1
               : next(path, mode);
}

/// Nor are its files: accounts, keys, lights, what it does by the clock.
int rename(const char* from, const char* to)
{
    static auto* const next = real<decltype(rename)>("rename");
    return is_kept_from_tests(to) ? -1 : next(from, to);
}

int mkdir(const char* path, mode_t mode)
{
    static auto* const next = real<decltype(mkdir)>("mkdir");
    return is_kept_from_tests(path) ? -1 : next(path, mode);
}

int open(const char* path, int flags, ...)
{
    static auto* const next = real<int(const char*, int, mode_t)>("open64");
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    // What the library has left on this host is none of the tests' business either.
    const bool is_kept =
        (flags & (O_CREAT | O_WRONLY | O_RDWR)) != 0 || std::string_view{path}.starts_with("/tmp/qrn_");
    return is_kept && is_kept_from_tests(path) ? -1 : next(path, flags, mode);
}

/// Which ports, lights and the like this host has makes no difference to a test.
int scandir(const char* path, dirent*** entries, int (*filter)(const dirent*),
            int (*compare)(const dirent**, const dirent**))
{
    static auto* const next = real<decltype(scandir)>("scandir64");
    return std::string_view{path}.starts_with("/sys/") && !has_private_files()
               ? 0
               : next(path, entries, filter, compare);
}

void sync(void)
{
    record("sync");
}

void openlog(const char* ident, int options, int facility)
{
    record("openlog ", std::string{ident} + " " + std::to_string(options) + " " + std::to_string(facility));
}

void closelog(void)
{
    record("closelog");
}

int setlogmask(int mask)
{
    record("setlogmask ", std::to_string(mask));
    return 0;
}

void syslog(int priority, const char* text, ...)
{
    if (std::strcmp(text, "%s") != 0) {
        fault("a line is a format itself", text);
    }
    if (outside().keeps_records) {
        va_list arguments;
        va_start(arguments, text);
        outside().logs.push_back({priority, format(text, arguments)});
        va_end(arguments);
    }
}

int zlog_init(const char* config)
{
    record("zlog_init ", config);
    return outside().zlog_init_result;
}

zlog_category_t* zlog_get_category(const char* name)
{
    record("zlog_get_category ", name);
    return outside().zlog_has_category ? reinterpret_cast<zlog_category_t*>(&outside()) : nullptr;
}

int zlog_put_mdc(const char* key, const char* value)
{
    record("zlog_put_mdc ", std::string{key} + "=" + value);
    return 0;
}

void zlog_fini(void)
{
    record("zlog_fini");
}

void zlog(zlog_category_t*, const char* file, size_t file_length, const char* function,
          size_t function_length, long line, int level, const char* text, ...)
{
    if (std::strlen(file) != file_length || std::strlen(function) != function_length || level != 60) {
        fault("an event of the wrong place or level", function);
    }
    if (outside().keeps_records) {
        va_list arguments;
        va_start(arguments, text);
        outside().events.push_back(format(text, arguments));
        outside().event_places.push_back(std::string{file} + ":" + std::to_string(line) + "(" + function +
                                         ")");
        va_end(arguments);
    }
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
    static auto* const next = real<uint32_t(const char*, char*, uint32_t)>("QrnUci_GetString");
    record_read(key, false, 0, size);
    return outside().has_real_uci ? next(key, buffer, size) : read(key, buffer, size);
}

uint32_t QrnUci_GetListItem(const char* key, uint32_t index, char* buffer, uint32_t size)
{
    static auto* const next = real<uint32_t(const char*, uint32_t, char*, uint32_t)>("QrnUci_GetListItem");
    record_read(key, true, index, size);
    return outside().has_real_uci ? next(key, index, buffer, size)
                                  : read(test::list_item(key, index), buffer, size);
}

uint32_t QrnUci_SetNewString(const char* key, const char* value, uint32_t reserved, uint32_t mark)
{
    if (reserved != 0 || mark != 1) {
        fault("a value is stored otherwise than with 0 and 1", key);
    }
    const uint32_t code = code_of(std::string{"set "} + key + "=" + value);
    static auto* const next =
        real<uint32_t(const char*, const char*, uint32_t, uint32_t)>("QrnUci_SetNewString");
    if (code == 0 && outside().has_real_uci) {
        return next(key, value, reserved, mark);
    }
    if (code == 0) {
        outside().uci[key] = value;
    }
    return code;
}

uint32_t QrnUci_SetListItem(const char* key, uint32_t index, const char* value)
{
    const std::string item = test::list_item(key, index);
    static auto* const next = real<uint32_t(const char*, uint32_t, const char*)>("QrnUci_SetListItem");
    if (!outside().has_real_uci) {
        return QrnUci_SetNewString(item.c_str(), value, 0, 1);
    }
    const uint32_t code = code_of("set " + item + "=" + value);
    return code == 0 ? next(key, index, value) : code;
}

uint32_t QrnUci_BeginView(void)
{
    static auto* const next = real<uint32_t()>("QrnUci_BeginView");
    ++outside().views;
    return next != nullptr ? next() : 0; // a fuzzer has no real one
}

uint32_t QrnUci_EndView(void)
{
    static auto* const next = real<uint32_t()>("QrnUci_EndView");
    --outside().views;
    return next != nullptr ? next() : 0; // a fuzzer has no real one
}

uint32_t QrnUci_RenewView(void)
{
    static auto* const next = real<uint32_t()>("QrnUci_RenewView");
    ++outside().renewals;
    return next != nullptr ? next() : 0; // a fuzzer has no real one
}

uint32_t QrnUci_CommitPackage(const char* package)
{
    static auto* const next = real<uint32_t(const char*)>("QrnUci_CommitPackage");
    const uint32_t code = code_of(std::string{"commit "} + package);
    return code == 0 && outside().has_real_uci ? next(package) : code;
}

// Lists are always those of the real library.
uint32_t QrnUci_SetList(const char* key, const char* const* items, uint32_t count)
{
    static auto* const next = real<uint32_t(const char*, const char* const*, uint32_t)>("QrnUci_SetList");
    std::string step = std::string{"set "} + key + "=";
    for (uint32_t i = 0; i < count; ++i) {
        step += std::string{"["} + items[i] + "]";
    }
    const uint32_t code = code_of(step);
    return code == 0 ? call_real(next, key, items, count) : code;
}

uint32_t QrnUci_AddSection(const char* package, const char* type, const char* name, char* buffer,
                           uint32_t size)
{
    static auto* const next =
        real<uint32_t(const char*, const char*, const char*, char*, uint32_t)>("QrnUci_AddSection");
    const uint32_t code = code_of(std::string{"add "} + package + " " + type);
    return code == 0 ? call_real(next, package, type, name, buffer, size) : code;
}

uint32_t QrnUci_DeleteSection(const char* key)
{
    static auto* const next = real<uint32_t(const char*)>("QrnUci_DeleteSection");
    const uint32_t code = code_of(std::string{"delete "} + key);
    return code == 0 ? call_real(next, key) : code;
}

uint32_t QrnUci_BeginChange(const char* package)
{
    static auto* const next = real<uint32_t(const char*)>("QrnUci_BeginChange");
    const uint32_t code = code_of(std::string{"begin "} + package);
    return code == 0 ? call_real(next, package) : code;
}

uint32_t QrnUci_EndChange(uint32_t keep)
{
    static auto* const next = real<uint32_t(uint32_t)>("QrnUci_EndChange");
    const uint32_t failure = code_of(keep != 0 ? "keep" : "forget");
    const uint32_t code = call_real(next, failure == 0 ? keep : 0);
    return failure != 0 ? failure : code;
}

} // extern "C"

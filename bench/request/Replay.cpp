// SPDX-License-Identifier: Apache-2.0
#include "bench/request/Replay.h"

#include <array>
#include <cstdio>
#include <ctime>

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "include/qrnuci.h"

namespace bench
{

void use_device()
{
    test::outside() = test::Outside{};
    test::outside().keeps_records = false;
    test::outside().has_real_uci = true;
    test::outside().any_output = "36\n";
    test::outside().programs[kStationTool] = std::string{"exec cat "} + kStationTable;
}

void add_answer(Recording& recording, json_object* request)
{
    json_object_object_foreach(request, parameter, object)
    {
        json_object_object_foreach(object, member, value)
        {
            const bool is_text = json_object_is_type(value, json_type_string) != 0;
            const std::string text = json_object_get_string(value);
            const std::shared_ptr<json_object> list{
                text.starts_with("[{") ? json_tokener_parse(text.c_str()) : nullptr, json_object_put};
            recording.answer.push_back(
                {parameter, member, is_text, text, json_object_get_int64(value), list});
        }
    }
}

namespace
{

/// Makes the text of a list as json-c makes it from one object a row.
json_object* make_list(json_object* rows)
{
    json_object* const list = json_object_new_array();
    for (std::size_t i = 0; i < json_object_array_length(rows); ++i) {
        json_object* const row = json_object_new_object();
        json_object_object_foreach(json_object_array_get_idx(rows, i), name, value)
        {
            json_object_object_add(row, name,
                                   json_object_is_type(value, json_type_string) != 0
                                       ? json_object_new_string(json_object_get_string(value))
                                       : json_object_new_int64(json_object_get_int64(value)));
        }
        json_object_array_add(list, row);
    }
    json_object* const text =
        json_object_new_string(json_object_to_json_string_ext(list, JSON_C_TO_STRING_PLAIN));
    json_object_put(list);
    return text;
}

json_object* make_value(const Answered& each)
{
    return each.list != nullptr ? make_list(each.list.get())
           : each.is_text       ? json_object_new_string(each.text.c_str())
                                : json_object_new_int64(each.number);
}

void make_answer(const std::vector<Answered>& answer)
{
    json_object* const request = json_object_new_object();
    json_object* object = nullptr;
    const std::string* parameter = nullptr;
    for (const Answered& each : answer) {
        if (parameter == nullptr || *parameter != each.parameter) {
            parameter = &each.parameter;
            object = json_object_new_object();
            json_object_object_add(request, parameter->c_str(), object);
        }
        json_object_object_add(object, each.member.c_str(), make_value(each));
    }
    json_object_put(request);
}

void run(const std::string& command)
{
    std::array<char, 4096> text;
    FILE* const pipe = popen(command.c_str(), "r");
    while (std::fgets(text.data(), text.size(), pipe) != nullptr) {
    }
    benchmark::DoNotOptimize(pclose(pipe));
    sync();
}

void read_file(const char* path)
{
    std::array<char, 256> text;
    struct stat status {
    };
    const int file = open(path, O_RDONLY | O_CLOEXEC);
    if (fstat(file, &status) == 0) {
        while (read(file, text.data(), text.size()) > 0) {
        }
    }
    close(file);
}

/// Reads what the station tool prints, from a process of its own.
void run_tool()
{
    std::array<char, 4096> text;
    std::array<int, 2> ends{};
    posix_spawn_file_actions_t actions;
    const char* const arguments[] = {kStationTool, "-l", nullptr};
    pid_t process = 0;
    int status = 0;
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
        return;
    }
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    posix_spawnp(&process, arguments[0], &actions, nullptr, const_cast<char* const*>(arguments), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
    while (read(ends[0], text.data(), text.size()) > 0) {
    }
    close(ends[0]);
    waitpid(process, &status, 0);
}

void read_clock()
{
    const time_t now = time(nullptr);
    std::tm local{};
    tzset();
    benchmark::DoNotOptimize(localtime_r(&now, &local));
}

} // namespace

void replay(const Recording& recording)
{
    std::array<char, 4096> text;
    std::size_t done = 0;
    const auto run_up_to = [&](std::size_t count) {
        for (; done < count; ++done) {
            run(recording.commands[done]);
            QrnUci_RenewView();
        }
    };
    QrnUci_BeginView();
    for (const test::Read& read : recording.reads) {
        run_up_to(read.commands_before);
        benchmark::DoNotOptimize(
            read.is_item ? QrnUci_GetListItem(read.key.c_str(), read.index, text.data(), read.size)
                         : QrnUci_GetString(read.key.c_str(), text.data(), read.size));
    }
    run_up_to(recording.commands.size());
    QrnUci_EndView();
    if (recording.has_tool) {
        run_tool();
    }
    if (!recording.file.empty()) {
        read_file(recording.file.c_str());
    }
    if (recording.has_clock) {
        read_clock();
    }
    make_answer(recording.answer);
}

} // namespace bench

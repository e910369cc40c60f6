// SPDX-License-Identifier: Apache-2.0
#include "bench/request/Replay.h"

#include <array>
#include <cstdio>

#include <benchmark/benchmark.h>
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
}

void add_answer(Recording& recording, json_object* request)
{
    json_object_object_foreach(request, parameter, object)
    {
        json_object_object_foreach(object, member, value)
        {
            const bool is_text = json_object_is_type(value, json_type_string) != 0;
            recording.answer.push_back(
                {parameter, member, is_text, json_object_get_string(value), json_object_get_int64(value)});
        }
    }
}

namespace
{

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
        json_object_object_add(object, each.member.c_str(),
                               each.is_text ? json_object_new_string(each.text.c_str())
                                            : json_object_new_int64(each.number));
    }
    json_object_put(request);
}

} // namespace

void replay(const Recording& recording)
{
    std::array<char, 4096> text;
    QrnUci_BeginView();
    for (const test::Read& read : recording.reads) {
        benchmark::DoNotOptimize(
            read.is_item ? QrnUci_GetListItem(read.key.c_str(), read.index, text.data(), read.size)
                         : QrnUci_GetString(read.key.c_str(), text.data(), read.size));
    }
    QrnUci_EndView();
    make_answer(recording.answer);
    for (const std::string& command : recording.commands) {
        FILE* const pipe = popen(command.c_str(), "r");
        while (std::fgets(text.data(), text.size(), pipe) != nullptr) {
        }
        benchmark::DoNotOptimize(pclose(pipe));
        sync();
    }
}

} // namespace bench

// SPDX-License-Identifier: Apache-2.0
// What a request asked of the device, to be asked for again without the library.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <json-c/json.h>

#include "support/FakeDevice.h"

namespace bench
{

/// One member of a parameter's object in an answer.
struct Answered {
    std::string parameter;
    std::string member;
    bool is_text;
    std::string text;
    std::int64_t number;
    std::shared_ptr<json_object> list; ///< that the text is; null: it is none
};

struct Recording {
    std::vector<test::Read> reads;
    std::vector<std::string> commands;
    std::vector<Answered> answer;
    std::string file = {};  ///< that it reads besides; empty: none
    bool has_clock = false; ///< it needs the local time
    bool has_tool = false;  ///< it asks the station tool
};

/// Commands are faked and the configuration is real; nothing is recorded.
void use_device();

/// Runs this and records what it asks for.
template <typename Work>
Recording record(Work work)
{
    test::outside().keeps_records = true;
    work();
    Recording recording{test::outside().reads, {}, {}};
    for (const std::string& step : test::outside().commands()) {
        recording.commands.push_back(step.substr(step.find(' ') + 1));
    }
    use_device();
    return recording;
}

/// Adds what a request was answered with.
void add_answer(Recording& recording, json_object* request);

/// The tool that lists the stations of an access point, and where the fake one has its table.
inline constexpr const char* kStationTool = "/usr/bin/qrnstainfo";
inline constexpr const char* kStationTable = "/tmp/stations";

/// Asks for it again: the reads in views that end with each command, whose pipe is read to its end, then the
/// station tool, the file and the clock, and the json-c calls that make the answer; those of a list in it as
/// well.
void replay(const Recording& recording);

} // namespace bench

// SPDX-License-Identifier: Apache-2.0
#include "support/Outside.h"

#include <cstring>

#include <json-c/json.h>
#include <zlog.h>

#include "qslog.h"

namespace test
{

namespace
{

std::string text_of_json(json_object* value)
{
    return json_object_to_json_string_ext(value, JSON_C_TO_STRING_PLAIN | JSON_C_TO_STRING_NOSLASHESCAPE);
}

} // namespace

std::string Answer::member(const char* name) const
{
    const Json whole{json};
    json_object* found = nullptr;
    return json_object_object_get_ex(whole.get(), name, &found) != 0 ? text_of_json(found) : "";
}

std::string Answer::value(const char* parameter) const
{
    return Answer{code, member(parameter)}.member("ParamValue");
}

void PrintTo(Code code, std::ostream* out)
{
    const char* const name = strerrorname_np(static_cast<int>(code.number));
    *out << (name != nullptr ? name : std::to_string(code.number));
}

void PrintTo(const Answer& answer, std::ostream* out)
{
    PrintTo(Code{answer.code}, out);
    *out << " " << answer.json;
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
    EXPECT_EQ(open_pipes(), 0u) << "a pipe was left open";
    g_QSysCmdHalCb = nullptr;
    QEvtLog_Close();
    QSysCmdHal_Close();
}

Answer OutsideTest::call(Qsc_Handler handler, uint32_t oper, const std::string& object, uint64_t param)
{
    const Json value{object};
    const uint32_t code = handler("name", value.get(), oper, QSC_COMMANDER_CLI, 0, param);
    return {code, value.text()};
}

Answer OutsideTest::send(const std::string& path, uint32_t oper, const std::string& object,
                         uint32_t commander)
{
    const Json value{object};
    const uint32_t code = request(path.c_str(), oper, value.get(), commander);
    return {code, value.text()};
}

Answer OutsideTest::get(const std::string& path, const std::string& name, uint32_t commander)
{
    return send(path, kGet, "{\"" + name + "\":{}}", commander);
}

Answer OutsideTest::set(const std::string& path, const std::string& name, const std::string& value,
                        uint32_t commander)
{
    return send(path, kSet, "{\"" + name + "\":" + value_of(value) + "}", commander);
}

Answer OutsideTest::read(const std::string& path, const std::string& name, uint32_t commander)
{
    const Answer answer = get(path, name, commander);
    return {answer.code, answer.code == 0 ? answer.value(name.c_str()) : ""};
}

void OutsideTest::expect_each_failure_to_end(const std::function<void()>& prepare,
                                             const std::function<Answer()>& change)
{
    const auto steps_of_change = [&](Code code) {
        outside().done.clear();
        EXPECT_EQ(change(), code);
        std::erase(outside().done, "sync");
        return outside().done;
    };
    prepare();
    const Lines steps = steps_of_change(Succeeds());
    for (size_t i = 0; i < steps.size(); ++i) {
        const std::string& step = steps[i];
        SCOPED_TRACE(step);
        prepare();
        Code code = Fails(EIO);
        if (step.starts_with("set ") || step.starts_with("commit ")) {
            outside().uci_codes[step.substr(0, step.find('='))] = code.number;
        } else if (step.starts_with("popen ") || step.starts_with("system echo ")) {
            outside().wait_statuses[step.substr(step.find(' ') + 1)] = 3 << 8;
            code = Fails(step.starts_with("popen ") ? EFAULT : 3);
        } else {
            continue; // "ifconfig up": whether that works shows in what follows
        }
        EXPECT_EQ(steps_of_change(code), Lines(steps.begin(), steps.begin() + static_cast<ptrdiff_t>(i) + 1));
        EXPECT_EQ(outside().events, Lines{});
    }
    prepare();
}

std::string OutsideTest::event(const std::string& message)
{
    return R"("Status":"n","Msg":")" + message + "\"";
}

std::string value_of(const std::string& value)
{
    return "{\"ParamValue\":" + value + "}";
}

std::string text_of(std::size_t length, char character)
{
    return "\"" + std::string(length, character) + "\"";
}

Json::Json(const std::string& text) : value_(json_tokener_parse(text.c_str()))
{
    if (value_ == nullptr && text != "null") {
        ADD_FAILURE() << "not JSON: " << text;
    }
}

Json::~Json()
{
    json_object_put(value_);
}

std::string Json::text() const
{
    return text_of_json(value_);
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

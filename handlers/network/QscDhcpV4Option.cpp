// SPDX-License-Identifier: Apache-2.0
// The options of the DHCPv4 client: fixed slots, one option tag and one section each.
#include <cstring>

#include "base/Parse.h"
#include "base/Recording.h"
#include "core/Instances.h"
#include "core/Objects.h"
#include "core/UciAccess.h"
#include "handlers/network/DhcpV4Options.h"
#include "include/bacl.h"
#include "include/qsc_dhcpv4_client.h"

using namespace qsc;

namespace
{

QSC_MODULE("QscDhcpV4Client");

using OptionText = Text<510>;

enum class OptionList { kRequested, kSent, kRelay, kSubcode };

/// A slot: where its state is stored, and the target that the DHCP client reads.
struct Slot {
    OptionList object;
    i32 instance;
    const char* tag;
    const char* subcode; ///< null: not a sub-option
    const char* input;
    const char* enable;
    const char* update;
    const char* instr;
    const char* outputtype;
    const char* section; ///< the target's section
    const char* target;  ///< null: the tag is in the list of requested options, or not
};

/// A text member of a slot.
using SlotText = decltype(&Slot::tag);

#define SLOT_KEYS(SECTION)                                                                                   \
    SECTION ".input", SECTION ".enable", SECTION ".update", SECTION ".instr", SECTION ".outputtype"

constexpr Slot kSlots[] = {
    {OptionList::kRequested, 1, "43", nullptr, SLOT_KEYS("qrndhcpopts.req43"), "network.wan", nullptr},
    {OptionList::kSent, 1, "60", nullptr, SLOT_KEYS("qrndhcpopts.sent60"), "network.wan",
     "network.wan.vendorid"},
    {OptionList::kSent, 2, "61", nullptr, SLOT_KEYS("qrndhcpopts.sent61"), "network.wan",
     "network.wan.clientid"},
    {OptionList::kRelay, 1, "82", nullptr, SLOT_KEYS("qrndhcpopts.relays82"), "qrndhcpopts.relays82",
     "qrndhcpopts.relays82.output"},
    {OptionList::kSubcode, 1, "82", "1", SLOT_KEYS("qrndhcpopts.dorelay82sc1"), "qrndhcpopts.dorelay82sc1",
     "qrndhcpopts.dorelay82sc1.output"},
    {OptionList::kSubcode, 2, "82", "1", SLOT_KEYS("qrndhcpopts.dorelay82sc2"), "qrndhcpopts.dorelay82sc2",
     "qrndhcpopts.dorelay82sc2.output"},
};

constexpr i32 count_slots(OptionList object)
{
    i32 count = 0;
    for (const Slot& slot : kSlots) {
        count += slot.object == object ? 1 : 0;
    }
    return count;
}

constexpr const char* kRequestedTags = "network.wan.reqopts";

/// A slot has changed since the last commit.
constinit RememberedSwitch g_has_changes{1};

const Slot* find_slot(OptionList object, i32 instance)
{
    for (const Slot& slot : kSlots) {
        if (slot.object == object && slot.instance == instance) {
            return &slot;
        }
    }
    return nullptr;
}

/// An object's name in event records.
constexpr const char* words_of(OptionList object)
{
    switch (object) {
    case OptionList::kRequested:
        return "request option";
    case OptionList::kSent:
        return "sent option";
    case OptionList::kRelay:
        return "relay sent option";
    default:
        return "relay sent option subcode";
    }
}

/// Serves a parameter of the call's slot.
template <typename Serve>
u32 with_slot(const Call& call, OptionList object, Serve serve_slot)
{
    return with_instance(
        call, [&](const Call&) { return find_slot(object, instance_of(call)); }, serve_slot);
}

/// Serves a constant of the slot.
u32 option_constant(const Call& call, OptionList object, SlotText text)
{
    return with_slot(call, object, [&](const Slot& slot) {
        return serve_get(call, [&] { return answer_text(call.value, slot.*text); });
    });
}

/// A parameter that is one of the slot's stored options.
struct Field {
    SlotText key;
    const char* words;
    bool is_switch; ///< only "1" and "0"
};

constexpr Field kValue{&Slot::input, "value", false};
constexpr Field kEnable{&Slot::enable, "enable", true};
constexpr Field kValueString{&Slot::instr, "value string", false};

/// Stores a value and marks the slot, unless the same value is stored. A value that cannot be read is not the
/// same.
u32 store(const Slot& slot, const char* key, const OptionText& value)
{
    OptionText stored;
    if (uci_read_whole(key, stored) == 0 && stored.view() == value.view()) {
        return 0;
    }
    if (const u32 code = uci_write(key, value.c_str())) {
        return code;
    }
    g_has_changes = true;
    return uci_write(slot.update, "1");
}

u32 set_option(const Call& call, const Slot& slot, const Field& field)
{
    OptionText value;
    if (const u32 code = take_value(call, value)) {
        return code;
    }
    if (field.is_switch && value.view() != "1" && value.view() != "0") {
        return refuse(EFAULT, "'%.60s' is neither 0 nor 1", value.c_str());
    }
    if (const u32 code = store(slot, slot.*field.key, value)) {
        return code;
    }
    QSC_EVENT(call, "set DHCPv4 client %s [%d] %s %s by %s", words_of(slot.object), slot.instance,
              field.words, shown(value.c_str()), commander(call));
    return 0;
}

u32 option_field(const Call& call, OptionList object, const Field& field)
{
    return with_slot(call, object, [&](const Slot& slot) {
        return serve(
            call, [&] { return uci_answer_text<OptionText>(call, slot.*field.key); },
            [&] { return set_option(call, slot, field); });
    });
}

using Output = Text<1022>;

/// Encodes the slot's value as the DHCP client sends it.
u32 encode(const Slot& slot, Output& output)
{
    bool is_string = false;
    bool is_hex = false;
    if (const u32 code = uci_compare(slot.outputtype, "string", is_string)) {
        return code;
    }
    if (const u32 code = uci_compare(slot.outputtype, "hex", is_hex)) {
        return code;
    }
    if (!is_hex) {
        return uci_read_whole(is_string ? slot.instr : slot.input, output);
    }
    OptionText text;
    if (const u32 code = uci_read_whole(slot.instr, text)) {
        return code;
    }
    return output.fill([&](char* digits, std::size_t size) {
        return BaCL_Binary2HexString(digits, static_cast<int32_t>(size),
                                     reinterpret_cast<const uint8_t*>(text.c_str()),
                                     static_cast<int32_t>(text.view().size()));
    });
}

/// Adds a tag to the list of requested options, or removes it; the others keep their order.
u32 request_tag(std::string_view tag, bool is_wanted)
{
    Text<2046> tags;
    Text<2046> changed;
    if (const u32 code = uci_read_whole(kRequestedTags, tags)) {
        QSC_LOG(kLogError, "%s not read whole, error %d\n", kRequestedTags, static_cast<i32>(code));
        return refuse(code, "the list of requested options could not be read");
    }
    const auto add = [&](std::string_view one) {
        changed.append(changed.view().empty() ? "" : " ").append(one);
    };
    bool is_there = false;
    for (std::string_view rest = tags.view(); !rest.empty();) {
        const std::size_t length = std::min(rest.find(' '), rest.size());
        const std::string_view one{rest.data(), length};
        is_there = is_there || one == tag;
        if (!one.empty() && (is_wanted || one != tag)) {
            add(one);
        }
        rest.remove_prefix(std::min(length + 1, rest.size()));
    }
    if (is_there == is_wanted) {
        return 0;
    }
    if (is_wanted) {
        add(tag);
    }
    return changed.fits() ? uci_write(kRequestedTags, changed.c_str())
                          : refuse(EFAULT, "the list of requested options is full");
}

u32 update_target(const Slot& slot)
{
    bool is_enabled = false;
    if (const u32 code = uci_compare(slot.enable, "1", is_enabled)) {
        return code;
    }
    if (slot.target == nullptr) {
        return request_tag(slot.tag, is_enabled);
    }
    Output output;
    if (is_enabled) {
        if (const u32 code = encode(slot, output)) {
            return code;
        }
    }
    return uci_write(slot.target, output.c_str());
}

/// Updates the target of a slot if it is marked.
u32 update_slot(const Slot& slot, bool is_forced)
{
    bool is_marked = is_forced;
    if (!is_forced) {
        if (const u32 code = uci_compare(slot.update, "1", is_marked)) {
            return code;
        }
    }
    if (!is_marked) {
        return 0;
    }
    const u32 code = update_target(slot);
    return code != 0 ? code : uci_write(slot.update, "0");
}

u32 update(OptionList object, bool is_forced)
{
    if (!is_forced && !g_has_changes) {
        return 0;
    }
    for (const Slot& slot : kSlots) {
        const u32 code = slot.object == object ? update_slot(slot, is_forced) : 0;
        if (code != 0) {
            return code;
        }
    }
    return 0;
}

} // namespace

QSC_HANDLER(Qsc_DhcpV4ClientSentOption_Do_Tag, option_constant(call, OptionList::kSent, &Slot::tag))
QSC_HANDLER(Qsc_DhcpV4ClientSentOption_Do_Value, option_field(call, OptionList::kSent, kValue))
QSC_HANDLER(Qsc_DhcpV4ClientSentOption_Do_Enable, option_field(call, OptionList::kSent, kEnable))
QSC_HANDLER(Qsc_DhcpV4ClientSentOption_Do_XQrnValueStr, option_field(call, OptionList::kSent, kValueString))
QSC_INSTANCE_HANDLERS(Qsc_DhcpV4ClientSentOption_Do_Index, Qsc_DhcpV4ClientSentOption_Do_All,
                      objects::kDhcpV4SentOption)

QSC_HANDLER(Qsc_DhcpV4ClientReqOption_Do_Tag, option_constant(call, OptionList::kRequested, &Slot::tag))
QSC_HANDLER(Qsc_DhcpV4ClientReqOption_Do_Value, option_field(call, OptionList::kRequested, kValue))
QSC_HANDLER(Qsc_DhcpV4ClientReqOption_Do_Enable, option_field(call, OptionList::kRequested, kEnable))
QSC_INSTANCE_HANDLERS(Qsc_DhcpV4ClientReqOption_Do_Index, Qsc_DhcpV4ClientReqOption_Do_All,
                      objects::kDhcpV4ReqOption)

QSC_HANDLER(Qsc_DhcpV4ClientXQrnRelaySentOption_Do_Tag, option_constant(call, OptionList::kRelay, &Slot::tag))
QSC_HANDLER(Qsc_DhcpV4ClientXQrnRelaySentOption_Do_Enable, option_field(call, OptionList::kRelay, kEnable))
QSC_HANDLER(Qsc_DhcpV4ClientXQrnRelaySentOption_Do_Value, option_field(call, OptionList::kRelay, kValue))
QSC_HANDLER(Qsc_DhcpV4ClientXQrnRelaySentOption_Do_XQrnValueStr,
            option_field(call, OptionList::kRelay, kValueString))
QSC_INSTANCE_HANDLERS(Qsc_DhcpV4ClientXQrnRelaySentOption_Do_Index,
                      Qsc_DhcpV4ClientXQrnRelaySentOption_Do_All, objects::kDhcpV4RelaySentOption)

QSC_HANDLER(Qsc_DhcpV4ClientXQrnRelaySentOption1Subcode_Do_Subcode,
            option_constant(call, OptionList::kSubcode, &Slot::subcode))
QSC_HANDLER(Qsc_DhcpV4ClientXQrnRelaySentOption1Subcode_Do_Tag,
            option_constant(call, OptionList::kSubcode, &Slot::tag))
QSC_HANDLER(Qsc_DhcpV4ClientXQrnRelaySentOption1Subcode_Do_Enable,
            option_field(call, OptionList::kSubcode, kEnable))
QSC_HANDLER(Qsc_DhcpV4ClientXQrnRelaySentOption1Subcode_Do_Value,
            option_field(call, OptionList::kSubcode, kValue))
QSC_HANDLER(Qsc_DhcpV4ClientXQrnRelaySentOption1Subcode_Do_XQrnValueStr,
            option_field(call, OptionList::kSubcode, kValueString))
QSC_INSTANCE_HANDLERS(Qsc_DhcpV4ClientXQrnRelaySentOption1Subcode_Do_Index,
                      Qsc_DhcpV4ClientXQrnRelaySentOption1Subcode_Do_All,
                      objects::kDhcpV4RelaySentOptionSubcode)

uint32_t _Qsc_DhcpV4ClientSentOption_CheckExist(uint32_t instance, uint32_t mode)
{
    const Slot* const slot =
        instance <= INT32_MAX ? find_slot(OptionList::kSent, static_cast<i32>(instance)) : nullptr;
    if (slot == nullptr) {
        return 0;
    }
    OptionText text;
    if (mode == 0) {
        CommandText command;
        command.append("/sbin/uci -q get ").append(slot->section);
        (void)text.fill([&](char* buffer, std::size_t size) {
            return QrnExeCmdSimpleGet(command.c_str(), buffer, static_cast<u32>(size));
        });
        (void)text.edit([](char* line) { return BaCL_RemoveLineFeed(line, 512); });
    } else if (mode == 2) {
        (void)uci_peek(slot->instr, text);
    }
    return text.view().empty() ? 0 : 1;
}

uint32_t _Qsc_DhcpV4ClientSentOption_Update(uint32_t force)
{
    return update(OptionList::kSent, force != 0);
}

uint32_t _Qsc_DhcpV4ClientReqOption_Update(uint32_t force)
{
    return update(OptionList::kRequested, force != 0);
}

uint32_t _Qsc_DhcpV4ClientRelaySentOption_Update(uint32_t force)
{
    return update(OptionList::kRelay, force != 0);
}

uint32_t _Qsc_DhcpV4ClientRelaySentOptionSubcode_Update(uint32_t force)
{
    return update(OptionList::kSubcode, force != 0);
}

u32 qsc::update_dhcp_options()
{
    for (const OptionList object :
         {OptionList::kRequested, OptionList::kSent, OptionList::kRelay, OptionList::kSubcode}) {
        if (const u32 code = update(object, false)) {
            return code;
        }
    }
    g_has_changes = false;
    return 0;
}

namespace
{

constexpr Row kSentRows[] = {
    handled("Tag", Kind::kText, Access::kRead, Qsc_DhcpV4ClientSentOption_Do_Tag),
    handled("Value", Kind::kText, Access::kReadWrite, Qsc_DhcpV4ClientSentOption_Do_Value, ":510"),
    handled("Enable", Kind::kBoolean, Access::kReadWrite, Qsc_DhcpV4ClientSentOption_Do_Enable),
    handled("XQrnValueStr", Kind::kText, Access::kReadWrite, Qsc_DhcpV4ClientSentOption_Do_XQrnValueStr,
            ":510"),
};

} // namespace

QSC_DESCRIBED_OBJECT(kDhcpV4SentOption, "Device.DHCPv4.Client.1.SentOption.{i}",
                     g_QscDhcpV4ClientSentOptionCmd, kSentRows, .area = "Device_DHCPv4 Client 1 Sent Option",
                     .instances = count_slots(OptionList::kSent))

namespace
{

constexpr Row kRequestedRows[] = {
    handled("Tag", Kind::kText, Access::kRead, Qsc_DhcpV4ClientReqOption_Do_Tag),
    handled("Value", Kind::kText, Access::kReadWrite, Qsc_DhcpV4ClientReqOption_Do_Value, ":510"),
    handled("Enable", Kind::kBoolean, Access::kReadWrite, Qsc_DhcpV4ClientReqOption_Do_Enable),
};

} // namespace

QSC_DESCRIBED_OBJECT(kDhcpV4ReqOption, "Device.DHCPv4.Client.1.ReqOption.{i}", g_QscDhcpV4ClientReqOptionCmd,
                     kRequestedRows, .area = "Device_DHCPv4 Client 1 Req Option",
                     .instances = count_slots(OptionList::kRequested))

namespace
{

constexpr Row kRelayRows[] = {
    handled("Tag", Kind::kText, Access::kRead, Qsc_DhcpV4ClientXQrnRelaySentOption_Do_Tag),
    handled("Enable", Kind::kBoolean, Access::kReadWrite, Qsc_DhcpV4ClientXQrnRelaySentOption_Do_Enable),
    handled("Value", Kind::kText, Access::kReadWrite, Qsc_DhcpV4ClientXQrnRelaySentOption_Do_Value, ":510"),
    handled("XQrnValueStr", Kind::kText, Access::kReadWrite,
            Qsc_DhcpV4ClientXQrnRelaySentOption_Do_XQrnValueStr, ":510"),
};

} // namespace

QSC_DESCRIBED_OBJECT(kDhcpV4RelaySentOption, "Device.DHCPv4.Client.1.X_QRN_RelaySentOption.{i}",
                     g_QscDhcpV4ClientXQrnRelaySentOptionCmd, kRelayRows,
                     .area = "Device_DHCPv4 Client 1 Relay Sent Option",
                     .instances = count_slots(OptionList::kRelay))

namespace
{

constexpr Row kSubcodeRows[] = {
    handled("Subcode", Kind::kText, Access::kRead, Qsc_DhcpV4ClientXQrnRelaySentOption1Subcode_Do_Subcode),
    handled("Tag", Kind::kText, Access::kRead, Qsc_DhcpV4ClientXQrnRelaySentOption1Subcode_Do_Tag),
    handled("Enable", Kind::kBoolean, Access::kReadWrite,
            Qsc_DhcpV4ClientXQrnRelaySentOption1Subcode_Do_Enable),
    handled("Value", Kind::kText, Access::kReadWrite, Qsc_DhcpV4ClientXQrnRelaySentOption1Subcode_Do_Value,
            ":510"),
    handled("XQrnValueStr", Kind::kText, Access::kReadWrite,
            Qsc_DhcpV4ClientXQrnRelaySentOption1Subcode_Do_XQrnValueStr, ":510"),
};

} // namespace

QSC_DESCRIBED_OBJECT(kDhcpV4RelaySentOptionSubcode,
                     "Device.DHCPv4.Client.1.X_QRN_RelaySentOption.1.Subcode.{i}",
                     g_QscDhcpV4ClientXQrnRelaySentOption1SubcodeCmd, kSubcodeRows,
                     .area = "Device_DHCPv4 Client 1 Relay Sent Option Subcode",
                     .instances = count_slots(OptionList::kSubcode))

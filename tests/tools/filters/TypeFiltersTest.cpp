#include <gtest/gtest.h>

#include "support/ChainProbe.hpp"

namespace varnolex::testing {
namespace {

using Bytes = std::vector<std::uint8_t>;

struct Case {
    PipeToolType type;
    /// Settings, by key.
    std::vector<std::pair<std::string_view, int>> settings;
    std::vector<Bytes> passing;
    std::vector<Bytes> blocked;
};

const Bytes noteOn{0x92, 60, 100}, noteOff{0x82, 60, 0}, aftertouch{0xA2, 60, 1}, controller{0xB2, 7, 1},
    program{0xC2, 1}, pressure{0xD2, 1}, bend{0xE2, 0, 64}, sysEx{0xF0, 1, 2, 0xF7}, quarterFrame{0xF1, 1},
    songPosition{0xF2, 1, 1}, songSelect{0xF3, 1}, tune{0xF6}, clockTick{0xF8}, start{0xFA}, resume{0xFB}, halt{0xFC},
    sensing{0xFE}, reset{0xFF};

const std::vector<Bytes> withoutABit{{0xF4}, {0xF5}, {0xF7}, {0xF9}, {0xFD}};
const std::vector<Bytes> everything{noteOn,    noteOff,      aftertouch, controller, program, pressure,
                                    bend,      sysEx,        tune,       songSelect, start,   resume,
                                    clockTick, quarterFrame, halt,       sensing,    reset,   songPosition,
                                    {0xF4},    {0xF5},       {0xF7},     {0xF9},     {0xFD}};

const std::vector<Case> cases{
    {PipeToolType::filter, {}, everything, {}},
    {PipeToolType::filter,
     {{"valChannel", 3}},
     everything,
     {{0x93, 60, 100}, {0x83, 60, 0}, {0xA0, 1, 1}, {0xBF, 1, 1}, {0xC4, 1}, {0xD4, 1}, {0xE4, 0, 0}}},
    {PipeToolType::filter, {{"valVoiceMessages", 0x3E}}, {aftertouch, controller, program, bend}, {noteOn, noteOff}},
    {PipeToolType::filter,
     {{"valVoiceMessages", 0x15}},
     {noteOn, noteOff, controller, pressure},
     {aftertouch, program, bend}},
    {PipeToolType::filter,
     {{"valSystemCommon", 0x05}},
     {quarterFrame, songSelect, sysEx, clockTick},
     {songPosition, tune}},
    {PipeToolType::filter, {{"valSystemExclusive", 0}}, {noteOn, tune, clockTick}, {sysEx}},
    {PipeToolType::filter, {{"valRealTime", 0x15}}, {clockTick, resume, sensing}, {start, halt, reset}},
    {PipeToolType::filter, {{"valRealTime", 0}, {"valSystemCommon", 0}}, withoutABit, {clockTick, reset, tune}},
    {PipeToolType::voiceFilter,
     {{"valChannel", 3}, {"valVoiceMessages", 0x01}, {"valSystemExclusive", 0}},
     {noteOn, noteOff, quarterFrame, tune, clockTick, reset},
     {{0x91, 60, 1}, controller, sysEx}},
    {PipeToolType::sysCommonFilter,
     {{"valSystemCommon", 0}},
     {noteOn, sysEx, clockTick, reset, {0xF4}, {0xF7}},
     {quarterFrame, songPosition, songSelect, tune}},
    {PipeToolType::realTimeFilter,
     {{"valRealTime", 0}},
     {noteOn, sysEx, tune, songPosition, {0xF9}, {0xFD}},
     {clockTick, start, resume, halt, sensing, reset}},
};

TEST(TypeFilters, passWhatTheirMasksAllowAndKeepTheEndOfTheBatch) {
    for (const Case& one : cases) {
        ChainProbe probe(one.type);
        for (const auto& [key, value] : one.settings) probe.set(key, value);
        SCOPED_TRACE(static_cast<int>(one.type));
        for (const Bytes& bytes : one.passing) {
            probe.taken();
            probe.send(bytes);
            ASSERT_EQ(probe.exited.size(), 1u) << std::hex << int{bytes[0]};
            EXPECT_EQ(probe.exited[0].bytes, bytes);
            EXPECT_TRUE(probe.exited[0].isLastInBatch);
        }
        for (const Bytes& bytes : one.blocked) {
            EXPECT_EQ(probe.answer(bytes), std::vector<std::string>{"- |"}) << std::hex << int{bytes[0]};
            EXPECT_EQ(probe.answer(bytes, false), std::vector<std::string>{}) << std::hex << int{bytes[0]};
        }
    }
}

TEST(TypeFilters, readAnEmptyRecordAsSilenceButStartWithEverythingOpen) {
    ChainProbe probe(PipeToolType::filter);
    EXPECT_EQ(parameterOf(*probe.tool, "valRealTime"), ParameterValue(std::int64_t{0xFF}));
    probe.tool->editSettings(SettingsBase::silence, [](void*) {});
    EXPECT_EQ(parameterOf(*probe.tool, "valRealTime"), ParameterValue(std::int64_t{63}));
    EXPECT_EQ(parameterOf(*probe.tool, "valSystemCommon"), ParameterValue(std::int64_t{15}));
}

}  // namespace
}  // namespace varnolex::testing

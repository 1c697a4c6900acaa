#include "tools/Dialogue.hpp"
#include "tools/notes/TuningPreset.hpp"

namespace varnolex::testing {
namespace {

using Integers = std::vector<std::int64_t>;

TEST(MicroTunerTool, bendsTheNotesOfATunedPitchClass) {
    ChainProbe probe(PipeToolType::microTuner);
    probe.set("tuningCents", ParameterValue(Integers{50}));
    expectDialogue(probe, {{{0x93, 60, 100}, "E3 00 50, 93 3C 64 |"},
                           {{0x83, 60, 0}, "83 3C 00 |"},
                           {{0x93, 60, 0}, "93 3C 00 |"},
                           {{0x93, 61, 100}, "93 3D 64 |"},
                           {{0xE3, 1, 2}, "E3 01 02 |"}});
}

TEST(MicroTunerTool, truncatesTowardsTheCentreAndStaysInTheWheelsRange) {
    struct Case {
        std::int64_t cents;
        std::int64_t range;
        const char* bend;
    };
    constexpr std::int64_t huge = std::numeric_limits<std::int64_t>::max();
    for (const Case& one : {Case{-100, 1, "E0 00 00"}, Case{100, 1, "E0 7F 7F"}, Case{1, 96, "E0 00 40"},
                            Case{-1, 96, "E0 00 40"}, Case{-1, 2, "E0 58 3F"}, Case{1, 2, "E0 28 40"},
                            Case{-100, -5, "E0 00 00"}, Case{huge, huge, "E0 7F 7F"}, Case{-huge, 96, "E0 00 00"}}) {
        ChainProbe probe(PipeToolType::microTuner);
        probe.set("tuningCents", ParameterValue(Integers{one.cents}));
        probe.set("bendRange", ParameterValue(one.range));
        probe.send({0x90, 60, 1});
        EXPECT_EQ(takenText(probe), one.bend + std::string(", 90 3C 01 |")) << one.cents << " in " << one.range;
    }
}

TEST(MicroTunerTool, followsALiveBendRange) {
    ChainProbe probe(PipeToolType::microTuner);
    probe.set("tuningCents", ParameterValue(Integers{0, 0, -100}));
    probe.tool->setLiveValue(0.2, "bendRange");
    expectDialogue(probe, {{{0x90, 62, 1}, "E0 00 00, 90 3E 01 |"}});
    probe.tool->setLiveValue(std::nullopt, "bendRange");
    expectDialogue(probe, {{{0x90, 62, 1}, "E0 00 20, 90 3E 01 |"}});
}

TEST(MicroTunerTool, takesItsPresets) {
    ChainProbe probe(PipeToolType::microTuner);
    for (const TuningPreset& preset : tuningPresets) {
        const Integers cents(preset.tuningCents.begin(), preset.tuningCents.end());
        probe.set("tuningCents", ParameterValue(cents));
        EXPECT_EQ(std::get<Integers>(parameterOf(*probe.tool, "tuningCents")), cents) << preset.label;
    }
}

}  // namespace
}  // namespace varnolex::testing

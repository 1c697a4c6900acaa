#include <cmath>

#include "conformance/EveryKind.hpp"

namespace varnolex::testing {
namespace {

class SettingsConformance : public EveryKind {
protected:
    using Record = std::vector<ParameterValue>;

    static Record recordOf(const PipeTool& tool, SettingsBase base = SettingsBase::current) {
        Record values;
        tool.viewSettings(base, [&](const void* settings) {
            for (const Parameter* row : recordRows(tool)) values.push_back(row->read(settings));
        });
        return values;
    }

    static void adopt(PipeTool& tool, const Record& values) {
        tool.editSettings(SettingsBase::silence, [&](void* settings) {
            const auto rows = recordRows(tool);
            for (std::size_t index = 0; index < rows.size(); ++index)
                rows[index]->write(settings, values[index], *rows[index]);
        });
    }

    /// Two values that aren't numbers count as the same.
    static bool isSame(const ParameterValue& one, const ParameterValue& other) {
        const auto* real = std::get_if<double>(&one);
        const auto* otherReal = std::get_if<double>(&other);
        if (real && otherReal && std::isnan(*real) && std::isnan(*otherReal)) return true;
        return one == other;
    }

    static void expectSame(const PipeTool& tool, const Record& one, const Record& other) {
        const auto rows = recordRows(tool);
        ASSERT_EQ(one.size(), other.size());
        for (std::size_t index = 0; index < rows.size(); ++index)
            EXPECT_TRUE(isSame(one[index], other[index])) << rows[index]->key;
    }
};

TEST_P(SettingsConformance, keepsARecordAsItIsRead) {
    ChainProbe probe(type());
    const auto other = makeTool(type());
    SeededDraws draws(7);
    for (int round = 0; round < 30; ++round) {
        drawSettings(*probe.tool, draws);
        drawLiveValues(*other, draws);
        const Record record = recordOf(*probe.tool);
        adopt(*other, record);
        expectSame(*other, recordOf(*other), record);
    }
}

TEST_P(SettingsConformance, setsNothingButTheParameterThatIsMeant) {
    ChainProbe probe(type());
    PipeTool& tool = *probe.tool;
    SeededDraws draws(8);
    const auto rows = recordRows(tool);
    for (std::size_t index = 0; index < rows.size(); ++index) {
        bool hasChanged = false;
        for (int round = 0; round < 30; ++round) {
            Record before = recordOf(tool);
            try {
                setParameter(tool, rows[index]->key, drawValue(*rows[index], draws));
            } catch (const ParameterError&) {
                expectSame(tool, recordOf(tool), before);
                continue;
            }
            const Record after = recordOf(tool);
            hasChanged = hasChanged || !isSame(before[index], after[index]);
            before[index] = after[index];
            expectSame(tool, after, before);
        }
        // An older form's key is read once and never written back.
        if (rows[index]->key != "isVirtual") {
            EXPECT_TRUE(hasChanged) << rows[index]->key;
        }
    }
}

TEST_P(SettingsConformance, startsFreshAndKnowsWhatSilenceMeans) {
    ChainProbe probe(type());
    const Record fresh = recordOf(*probe.tool, SettingsBase::fresh);
    const Record silence = recordOf(*probe.tool, SettingsBase::silence);
    expectSame(*probe.tool, recordOf(*probe.tool), fresh);
    SeededDraws draws(9);
    drawSettings(*probe.tool, draws);
    expectSame(*probe.tool, recordOf(*probe.tool, SettingsBase::fresh), fresh);
    probe.tool->editSettings(SettingsBase::silence, [](void*) {});
    expectSame(*probe.tool, recordOf(*probe.tool), silence);
}

TEST_P(SettingsConformance, changesNothingWhenAnEditFails) {
    ChainProbe probe(type());
    const auto rows = recordRows(*probe.tool);
    if (rows.empty()) return;
    const Record before = recordOf(*probe.tool);
    SeededDraws draws(10);
    const ParameterValue value = drawValue(*rows[0], draws);
    const std::vector<ParameterAssignment> assignments{{rows[0]->key, value}, {"no such key", value}};
    EXPECT_THROW(setParameters(*probe.tool, assignments), ParameterError);
    expectSame(*probe.tool, recordOf(*probe.tool), before);
}

TEST_P(SettingsConformance, leavesTheStoredSettingsToTheirOwnerWhenItIsRidden) {
    ChainProbe probe(type());
    if (probe.tool->valueReceiver()) return;
    const Record before = recordOf(*probe.tool);
    SeededDraws draws(11);
    for (int round = 0; round < 30; ++round) {
        drawLiveValues(*probe.tool, draws);
        probe.tool->setLiveValue(1, "no such key");
    }
    expectSame(*probe.tool, recordOf(*probe.tool), before);
}

INSTANTIATE_TEST_SUITE_P(All, SettingsConformance, ::testing::ValuesIn(allToolKinds()), nameOfKind);

}  // namespace
}  // namespace varnolex::testing

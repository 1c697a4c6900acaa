#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "language/CompiledPatchJSON.hpp"
#include "language/DSLCompiler.hpp"

namespace varnolex {
namespace {

/// The graph in short: kinds in their order, then cables, then value cables.
std::string shape(std::string_view text) {
    DSLCompiler program;
    program.compile(text);
    std::string row;
    for (const auto& node : program.nodes) row += (row.empty() ? "" : " ") + node.toolType;
    for (const auto& cable : program.connections) {
        row += " " + std::to_string(cable.from) + "-" + std::to_string(cable.to);
    }
    for (const auto& cable : program.valueConnections) {
        row += " " + std::to_string(cable.from) + "=" + std::to_string(cable.to) + cable.portID;
    }
    return row;
}

TEST(Programs, compileToGraphs) {
    const struct {
        std::string_view text;
        std::string_view graph;
    } cases[] = {
        {"", ""},
        {" \t\n\\n\n", ""},
        {"in -> out", "MidiIn MidiOut 0-1"},
        {"IN -> Out", "MidiIn MidiOut 0-1"},
        {"\xEF\xBB\xBFin -> out\r\nin\r\n", "MidiIn MidiOut MidiIn 0-1"},
        {"in -> out\\nkeyboard -> out", "MidiIn MidiOut Keyboard MidiOut 0-1 2-3"},
        {"in ->  -> out", "MidiIn MidiOut 0-1"},
        {"in -> transpose(5)) -> out", "MidiIn Transpose MidiOut 0-1 1-2"},
        {"in -> transpose(5 -> out", "MidiIn Transpose 0-1"},
        {"generator(x) {\n cc(1, random(0,127))\n note(60)\n} -> out", "MidiGenerator MidiOut 0-1"},

        {"in -> [transpose(12), transpose(-12)] -> out", "MidiIn Transpose Transpose MidiOut 0-1 0-2"},
        {"in -> [delay(5) -> out, [latch -> out, out], ]",
         "MidiIn Delay MidiOut Latch MidiOut MidiOut 0-1 1-2 0-3 3-4 0-5"},
        {"[in -> out, keyboard -> out]", "MidiIn MidiOut Keyboard MidiOut 0-1 2-3"},
        {"in -> [] -> out", "MidiIn MidiOut"},

        {"split(C4)", ""},
        {"split", "Split"},
        {"in -> split(C4) -> out", "MidiIn MidiOut"},
        {"in -> split(C4) {", "MidiIn"},
        {"in -> split {\nlow: out\n}", "MidiIn Split Split ChannelFilter MidiOut 0-1 1-2 2-3 3-4"},
        {"in -> Split(C4) {\nlow: delay(5)\n -> out\nhigh: -> out\n} -> keyboard", "throws -> out"},
        {"in -> split(C4) {\n lost -> out\n low: transpose(12) ->\n out\n} -> keyboard",
         "MidiIn Split Split ChannelFilter Transpose MidiOut Keyboard 0-1 1-2 2-3 3-4 4-5"},
        {"split(C4) {\nlow: split(C2) {\nlow: out\nhigh: latch\n}\nhigh: out\n}",
         "Split Split ChannelFilter Split Split ChannelFilter MidiOut ChannelFilter Latch ChannelFilter MidiOut "
         "0-1 1-2 2-3 3-4 4-5 5-6 4-7 7-8 1-9 9-10"},

        {"in -> gate($CC(1) > 64) {\n on: latch -> out\n off: out\n}",
         "MidiIn DataReader Logic Logic VelocityMod Latch MidiOut VelocityMod MidiOut "
         "0-1 0-4 4-5 5-6 0-7 7-8 1=2inputA 1=3inputA 2=4scalePercent 3=7scalePercent"},
        {"gate($counter(0,3) < 2) {\n off: out\n on:\n}",
         "Counter Logic Logic VelocityMod MidiOut 3-4 0=1inputA 0=2inputA 2=3scalePercent"},
        {"in -> gate($vel > 3) -> out", "MidiIn MidiOut"},

        {"clock\nin -> arp -> out", "TimingClock MidiIn Arp MidiOut 1-2 2-3 0-2"},
        {"clock -> arp\nclock\narp", "TimingClock Arp TimingClock Arp 0-1 0-3 2-1 2-3"},
        {"nrpn_asm -> out", "NRPNAssembler MidiOut NRPNDisassembler 0-2 2-1"},
        {"nrpn_asm -> [out, delay -> out, out]",
         "NRPNAssembler MidiOut Delay MidiOut MidiOut NRPNDisassembler NRPNDisassembler 0-5 0-2 2-3 0-6 5-1 6-4"},
    };
    for (const auto& [text, graph] : cases) {
        try {
            EXPECT_EQ(shape(text), graph) << text;
        } catch (const DSLCompiler::CompilerError& error) {
            EXPECT_EQ("throws " + error.name(), graph) << text;
        }
    }
}

TEST(Programs, emptyTheListsOfTheOneBefore) {
    DSLCompiler program;
    program.compile("in -> velmod($vel) -> out");
    program.compile("");
    EXPECT_TRUE(program.nodes.empty() && program.connections.empty() && program.valueConnections.empty());
}

TEST(UnknownNames, endTheCompilationAsTheyStandInTheText) {
    const struct {
        std::string_view text;
        std::string_view name;
    } cases[] = {
        {"in->out", "in->out"},
        {"in -> Reverb(5) -> out", "Reverb"},
        {"in ->", "in ->"},
        {"(5)", ""},
        {"in -> [out, dataReader($vel)]", "dataReader"},
        {"split(C4) {\nlow: looper\n}", "looper"},
        {"gate($vel > 1) {\non: nothing\n}", "nothing"},
        {"in -> \xFF\xFE", "\xFF\xFE"},
        {"cc(1,2)", "cc"},
    };
    for (const auto& [text, name] : cases) {
        DSLCompiler program;
        try {
            program.compile(text);
            FAIL() << text;
        } catch (const DSLCompiler::CompilerError& error) {
            EXPECT_EQ(error.name(), name);
            EXPECT_EQ(error.what(),
                      "Unknown node '" + std::string(name) + "' — only use nodes listed in the DSL reference.");
        }
    }
}

TEST(SplitBlocks, sendEachHalfOnItsChannel) {
    const struct {
        std::string_view text;
        std::string_view configs;
    } cases[] = {
        {"split(C4) {\nlow: out\nhigh: out\n}",
         R"({"isHigh":false,"outputChannel":0,"splitKey":60} {"isHigh":true,"outputChannel":1,"splitKey":60} )"
         R"({"channelMask":1} {"channelMask":2} )"},
        {"split(72) {\nLow(ch:3): out\nhigh (ch:20): out\non: out\n}",
         R"({"isHigh":false,"outputChannel":3,"splitKey":72} {"isHigh":true,"outputChannel":20,"splitKey":72} )"
         R"({"channelMask":8} {"channelMask":0} {"channelMask":1} )"},
        {"split(nowhere) {\nlow(ch:x): out\nhigh(ch:-2): out\n}",
         R"({"isHigh":false,"outputChannel":0,"splitKey":60} {"isHigh":true,"outputChannel":1,"splitKey":60} )"
         R"({"channelMask":1} {"channelMask":2} )"},
    };
    for (const auto& [text, configs] : cases) {
        DSLCompiler program;
        program.compile(text);
        std::string found;
        for (const auto& node : program.nodes) {
            if (node.toolType != "MidiOut") found += compiledConfigJSON(node.config) + " ";
        }
        EXPECT_EQ(found, configs) << text;
    }
}

TEST(GateBlocks, openOneBranchWhileTheyCloseTheOther) {
    DSLCompiler program;
    program.compile("gate($vel < 40) {\noff: out\n}");
    ASSERT_EQ(program.nodes.size(), 5u);
    EXPECT_EQ(compiledConfigJSON(program.nodes[1].config),
              R"({"falseValue":0.0,"operation":"A < Threshold","threshold":40.0,"trueValue":100.0})");
    EXPECT_EQ(compiledConfigJSON(program.nodes[2].config),
              R"({"falseValue":100.0,"operation":"A < Threshold","threshold":40.0,"trueValue":0.0})");
}

TEST(ClockedLFOs, runInStepWithTheClock) {
    DSLCompiler program;
    program.compile("clock -> lfo(CC1, sync:false)\nlfo(CC2)");
    EXPECT_EQ(compiledConfigJSON(program.nodes[1].config),
              R"({"rateHz":1.0,"syncToMidiClock":true,"targetCC":1,"waveform":0})");
    EXPECT_FALSE(program.nodes[2].config.contains("syncToMidiClock"));
}

std::string repeated(std::string_view text, std::size_t count) {
    std::string all;
    all.reserve(text.size() * count);
    for (std::size_t index = 0; index < count; ++index) all += text;
    return all;
}

TEST(HostileTexts, neitherCrashNorHang) {
    constexpr std::size_t many = 10'000;
    const std::vector<std::string> texts{
        repeated("[", many) + repeated("]", many),
        repeated("[", many),
        repeated("(", many),
        "delay" + repeated("(", many) + repeated(")", many),
        repeated("split(C4) {\nlow: ", many / 10) + repeated("\n}", many / 10),
        repeated("gate($vel > 1) {\non: ", many),
        repeated("gate($vel > 1) {\non: ", 1000) + "out" + repeated("\n}", 1000),
        repeated("in -> ", many) + "out",
        repeated("clock\narp\n", many / 4),
        "randomizer(note:" + repeated("1", many) + repeated("-", many) + ")",
        "velmod($vel" + repeated(" * 1", many) + ")",
        "velmod(" + repeated("$counter(", many) + ")",
        "transpose(" + repeated("9", many) + ")",
        "set(note:C" + repeated("9", 18) + ")",
        "[" + repeated("out,", many) + "]",
        "split(C4) {" + repeated("\nlow: out", many) + "\n}",
        std::string("in -> out\0", 10),
    };
    for (const auto& text : texts) {
        DSLCompiler program;
        try {
            program.compile(text);
        } catch (const DSLCompiler::CompilerError&) {
            continue;
        }
        const auto outside = [&](const DSLConnection& cable) {
            return std::max(cable.from, cable.to) >= program.nodes.size();
        };
        EXPECT_TRUE(std::ranges::none_of(program.connections, outside)) << text.substr(0, 40);
        EXPECT_LE(program.connections.size(), 2 * many + 1'000'000) << text.substr(0, 40);
    }
}

TEST(DeepNesting, addsNothingBeyondALimitThatNobodyReaches) {
    EXPECT_EQ(shape(repeated("[", 64) + "out" + repeated("]", 64)), "MidiOut");
    EXPECT_EQ(shape(repeated("[", 1000) + "out" + repeated("]", 1000)), "");
}

TEST(PatchJSON, standsOnOneLineWithItsKeysInOrder) {
    DSLCompiler program;
    program.compile("in -> transpose($vel)");
    EXPECT_EQ(compiledPatchJSON(program),
              R"({"nodes":[{"toolType":"MidiIn","config":{}},)"
              R"({"toolType":"DataReader","config":{"field":"dataByte2","filter":"noteOn"}},)"
              R"({"toolType":"Transpose","config":{}}],)"
              R"("connections":[[0,1],[0,2]],"valueConnections":[[1,2,"semitones"]]})");
    EXPECT_EQ(compiledConfigJSON({{"text", std::string("a\xFF")}}), "{\"text\":\"a\xEF\xBF\xBD\"}");
}

}  // namespace
}  // namespace varnolex
